#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/service/EventLog.h"

namespace Routing::Host {
namespace {

using ::testing::ElementsAre;

NexthopEvent eventAt(std::int64_t at) {
  NexthopEvent event;
  event.at = at;
  return event;
}

std::vector<std::int64_t> timesOf(const std::vector<NexthopEvent>& events) {
  std::vector<std::int64_t> times;
  for (const NexthopEvent& event : events) {
    times.push_back(event.at);
  }
  return times;
}

TEST(EventLog, AChainHoldsTheEventsOfItsNexthopAloneOldestFirst) {
  EventLog log(16);
  EventLog::Serial one = log.add(eventAt(1), 0);
  EventLog::Serial two = log.add(eventAt(2), 0);
  one = log.add(eventAt(3), one);
  two = log.add(eventAt(4), two);
  one = log.add(eventAt(5), one);
  EXPECT_THAT(timesOf(log.chain(one, 10)), ElementsAre(1, 3, 5));
  EXPECT_THAT(timesOf(log.chain(two, 10)), ElementsAre(2, 4));
  EXPECT_THAT(timesOf(log.chain(one, 2)), ElementsAre(3, 5));
  EXPECT_THAT(timesOf(log.chain(0, 10)), ElementsAre());
}

TEST(EventLog, AChainEndsWhereTheRingHasWrapped) {
  EventLog log(4);
  EventLog::Serial mine = 0;
  for (std::int64_t at = 1; at <= 6; ++at) {
    mine = log.add(eventAt(at), mine);
  }
  EXPECT_THAT(timesOf(log.chain(mine, 10)), ElementsAre(3, 4, 5, 6));
}

TEST(EventLog, AQuietNexthopsEventsAreForgotten) {
  EventLog log(4);
  const EventLog::Serial quiet = log.add(eventAt(1), 0);
  EventLog::Serial busy = 0;
  for (std::int64_t at = 2; at <= 5; ++at) {
    busy = log.add(eventAt(at), busy);
  }
  EXPECT_THAT(timesOf(log.chain(quiet, 10)), ElementsAre());
}

}  // namespace
}  // namespace Routing::Host
