#pragma once

// Inbox: the way of requests from the transport's threads to the loop's. What is posted runs on the
// loop's thread, in order of posting.
//
// Ending the transport waits for its threads, which may be waiting for an answer of the loop. So it
// ends on a thread of its own while the loop's thread stays with the inbox (serveWhile).

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "host/loop/EventLoop.h"

namespace Routing::Host {

class Inbox {
 public:
  using Job = std::function<void()>;

  explicit Inbox(EventLoop& loop);

  // From any thread.
  void post(Job job);
  // On the loop's thread: runs the work on another thread, and here what is posted until the work
  // is done and nothing is left.
  void serveWhile(const Job& work);

 private:
  // Outlives the inbox when the loop has still to come for it.
  struct Box {
    std::mutex mutex;
    std::condition_variable filled;
    // Guarded by mutex.
    std::vector<Job> jobs;

    void serve();
  };

  EventLoop& loop_;
  std::shared_ptr<Box> box_;
};

}  // namespace Routing::Host
