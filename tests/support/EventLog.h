#pragma once

// EventLog: what happened, in the order it happened, one line of text an event. A test that
// promises an order compares the whole log with the whole expected sequence:
//
//   log.add("a: 1");
//   EXPECT_EQ(log.take(), (Events{"a: 1"}));
//
// take() empties the log, so that each step of a story is compared on its own.

#include <string>
#include <utility>
#include <vector>

namespace Routing::Support {

using Events = std::vector<std::string>;

class EventLog {
 public:
  void add(std::string event) { events_.push_back(std::move(event)); }
  Events take() { return std::exchange(events_, {}); }

 private:
  Events events_;
};

}  // namespace Routing::Support
