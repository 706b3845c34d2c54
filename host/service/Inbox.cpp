#include "host/service/Inbox.h"

#include <thread>
#include <utility>

namespace Routing::Host {

Inbox::Inbox(EventLoop& loop) : loop_(loop), box_(std::make_shared<Box>()) {}

void Inbox::Box::serve() {
  std::vector<Job> taken;
  {
    const std::lock_guard lock(mutex);
    taken.swap(jobs);
  }
  for (const Job& job : taken) {
    job();
  }
}

void Inbox::post(Job job) {
  {
    const std::lock_guard lock(box_->mutex);
    box_->jobs.push_back(std::move(job));
    box_->filled.notify_one();
    if (box_->jobs.size() > 1) {
      return;  // The loop knows of the first of them.
    }
  }
  loop_.post([box = box_] { box->serve(); });
}

void Inbox::serveWhile(const Job& work) {
  bool done = false;
  std::thread worker([this, &work, &done] {
    work();
    const std::lock_guard lock(box_->mutex);
    done = true;
    box_->filled.notify_one();
  });
  for (bool last = false; !last;) {
    {
      std::unique_lock lock(box_->mutex);
      box_->filled.wait(lock, [this, &done] { return done || !box_->jobs.empty(); });
      last = done;
    }
    box_->serve();
  }
  worker.join();
}

}  // namespace Routing::Host
