// What is asked of the kernel and when, over a kernel that answers late, badly or not at all.

#include <cerrno>

#include "tests/host/kernel/PlayedKernel.h"

namespace Routing::Host::Testing {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

class Conversation : public ConversationTest {
 protected:
  // A route over each link, and the first reading of it all.
  void follow() {
    for (int link = 1; link <= links; ++link) {
      table_.push_back(
          {.prefix = "192.0." + std::to_string(link) + ".0/24", .hops = {{"10.0.0.2", link}}});
    }
    answerAll();
    EXPECT_TRUE(routes_->synced());
  }
  // Loses something, and waits until everything is asked for again.
  Asked askedAgain() {
    sendTooLarge();
    EXPECT_FALSE(routes_->synced());
    pass(seconds(1));
    const auto asked = request();
    EXPECT_TRUE(asked.has_value());
    return asked.value_or(Asked{});
  }
};

TEST_F(Conversation, WhatWasTooLargeIsCountedAndEverythingReadAgain) {
  follow();
  table_.pop_back();
  answer(askedAgain());
  answerAll();
  EXPECT_EQ(counters().truncated, 1U);
  EXPECT_EQ(counters().resyncs, 1U);
  EXPECT_TRUE(routes_->synced());
  EXPECT_FALSE(has("192.0.6.0/24"));
  EXPECT_TRUE(has("192.0.5.0/24"));
}

TEST_F(Conversation, ADatagramThatEndsInsideAMessageIsALoss) {
  follow();
  Datagram datagram;
  datagram.add(routeMessage({.prefix = "192.0.7.0/24", .hops = {{"10.0.0.2"}}}));
  datagram.add(routeMessage({.prefix = "192.0.8.0/24", .hops = {{"10.0.0.2"}}}));
  datagram.cutOff(4);
  send(datagram);
  EXPECT_TRUE(has("192.0.7.0/24"));
  EXPECT_FALSE(routes_->synced());
  EXPECT_EQ(counters().truncated, 1U);
  passAnswering(seconds(2));
  EXPECT_TRUE(routes_->synced());
  EXPECT_EQ(counters().resyncs, 1U);
}

TEST_F(Conversation, ADumpTornByChangesTakesNothingAwayAndIsReadAgain) {
  follow();
  table_.clear();
  answer(askedAgain(), NLM_F_DUMP_INTR);
  while (const auto asked = request()) {
    answer(*asked, NLM_F_DUMP_INTR);
  }
  EXPECT_GT(counters().tornDumps, 4U);
  EXPECT_TRUE(has("192.0.1.0/24"));
  EXPECT_FALSE(routes_->synced());
  passAnswering(seconds(2));
  EXPECT_FALSE(has("192.0.1.0/24"));
  EXPECT_TRUE(routes_->synced());
}

TEST_F(Conversation, ADumpThatTheKernelRefusesIsCountedAndAskedForAgain) {
  follow();
  refuse(askedAgain(), EPERM);
  answerAll();
  EXPECT_EQ(counters().failedDumps, 1U);
  EXPECT_FALSE(routes_->synced());
  passAnswering(seconds(2));
  EXPECT_TRUE(routes_->synced());
  EXPECT_TRUE(has("192.0.1.0/24"));
}

TEST_F(Conversation, AKernelWithoutNexthopObjectsHasNone) {
  for (turn(); const auto asked = request();) {
    asked->head.nlmsg_type == RTM_GETNEXTHOP ? refuse(*asked, EOPNOTSUPP) : answer(*asked);
  }
  EXPECT_TRUE(routes_->synced());
  EXPECT_EQ(counters().failedDumps, 0U);
}

// The kernel has said that there is no room, and dumps all the same when there is.
TEST_F(Conversation, ADumpThatFoundNoRoomIsWaitedForBeforeAnotherIsAskedFor) {
  follow();
  const Asked asked = askedAgain();
  refuse(asked, ENOBUFS);
  EXPECT_FALSE(request().has_value()) << "the kernel would refuse it, and might not even say so";
  answer(asked);
  EXPECT_EQ(counters().tornDumps, 1U);
  passAnswering(seconds(3));
  EXPECT_TRUE(routes_->synced());
  EXPECT_EQ(counters().failedDumps, 0U);
}

TEST_F(Conversation, ADumpThatNobodyAnswersIsGivenUp) {
  follow();
  static_cast<void>(askedAgain());
  pass(seconds(9));
  EXPECT_EQ(counters().failedDumps, 0U);
  pass(seconds(2));
  EXPECT_EQ(counters().failedDumps, 1U);
  passAnswering(seconds(3));
  EXPECT_TRUE(routes_->synced());
  EXPECT_TRUE(has("192.0.1.0/24"));
}

TEST_F(Conversation, ADumpThatGoesOnIsNotGivenUp) {
  follow();
  const Asked asked = askedAgain();
  for (int piece = 0; piece < 10; ++piece) {
    pass(seconds(5));
    notify(answering(asked, linkMessage(1, "v1", up_)));
  }
  EXPECT_EQ(counters().failedDumps, 0U);
}

TEST_F(Conversation, WhatIsLeftWithoutALiveHopIsGoneWhenTheReadingHasEnded) {
  follow();
  answer(askedAgain());  // The links.
  notify(linkMessage(1, "v1", 0));
  EXPECT_TRUE(has("192.0.1.0/24")) << "the routes are about to be read";
  for (turn(); const auto asked = request();) {
    answer(*asked, NLM_F_DUMP_INTR);
  }
  EXPECT_FALSE(has("192.0.1.0/24"));
  notify(linkMessage(2, "v2", 0));
  EXPECT_FALSE(has("192.0.2.0/24"));
}

TEST_F(Conversation, ReasonsForChecksThatKeepComingDoNotKeepALossFromBeingMadeGood) {
  follow();
  sendTooLarge();
  passAnswering(seconds(2), 1);
  EXPECT_GE(counters().resyncs, 1U);
  EXPECT_TRUE(routes_->synced());
}

TEST_F(Conversation, ReasonsForChecksThatKeepComingAreCheckedAllTheSame) {
  follow();
  passAnswering(seconds(4), 1);
  EXPECT_GE(counters().checks, 8U);
  EXPECT_LE(counters().checks, 10U) << "one each 400 ms";
  const std::uint64_t checks = counters().checks;
  passAnswering(seconds(4));
  EXPECT_EQ(counters().checks, checks + 1) << "the last reason came too late for the last check";
  EXPECT_EQ(counters().resyncs, 0U);
}

TEST_F(Conversation, OneReasonIsCheckedOnce) {
  follow();
  pass(seconds(1));
  notify(linkMessage(1, "v1", IFF_UP));
  pass(milliseconds(99));
  EXPECT_FALSE(request().has_value());
  pass(milliseconds(2));
  EXPECT_TRUE(request().has_value());
  EXPECT_EQ(counters().checks, 1U);
}

TEST_F(Conversation, ChecksOfManyInterfacesReadEverythingAtMostOnceASecond) {
  follow();
  passAnswering(seconds(10), links);
  EXPECT_EQ(counters().checks, 0U);
  EXPECT_GE(counters().resyncs, 8U);
  EXPECT_LE(counters().resyncs, 10U);
}

TEST_F(Conversation, WhatNeverReadsIsAskedForEverMoreSeldom) {
  damaged_ = true;
  answerAll();
  EXPECT_EQ(ready_, 1) << "what reads is there";
  EXPECT_FALSE(routes_->synced());
  passAnswering(seconds(4));
  EXPECT_GE(counters().resyncs, 2U);
  passAnswering(minutes(10));
  EXPECT_GE(counters().resyncs, 12U);
  EXPECT_LE(counters().resyncs, 16U) << "once a minute in the end";
  EXPECT_FALSE(routes_->synced());
}

TEST_F(Conversation, WhatIsDisturbedEachTimeIsReadEverMoreSeldomAndHoldsNobodyUp) {
  disturbed_ = true;
  answerAll();
  EXPECT_EQ(ready_, 1);
  EXPECT_TRUE(routes_->synced());
  passAnswering(seconds(4));
  EXPECT_EQ(counters().resyncs, 2U);
  passAnswering(minutes(10));
  EXPECT_GE(counters().resyncs, 12U);
  EXPECT_LE(counters().resyncs, 16U) << "once a minute in the end";
  EXPECT_TRUE(routes_->synced());
}

TEST_F(Conversation, WhatWasDisturbedIsReadOnceMoreWhenNothingDisturbsIt) {
  follow();
  disturbed_ = true;
  sendTooLarge();
  passAnswering(milliseconds(1500));
  EXPECT_EQ(counters().resyncs, 1U);
  EXPECT_TRUE(routes_->synced());
  disturbed_ = false;
  passAnswering(minutes(2));
  EXPECT_EQ(counters().resyncs, 2U);
}

TEST_F(Conversation, WhatReadsAgainIsSweptAndSynced) {
  follow();
  damaged_ = true;
  sendTooLarge();
  table_.pop_back();
  passAnswering(seconds(2));
  EXPECT_TRUE(has("192.0.6.0/24")) << "the message that did not read may have named it";
  EXPECT_FALSE(routes_->synced());
  damaged_ = false;
  passAnswering(seconds(4));
  EXPECT_FALSE(has("192.0.6.0/24"));
  EXPECT_TRUE(routes_->synced());
}

}  // namespace
}  // namespace Routing::Host::Testing
