#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <stdexcept>

#include "platform/trace/TraceSink.h"
#include "tests/platform/trace/TraceSupport.h"

namespace Routing {
namespace {

class TraceSinks : public testing::Test {
 protected:
  TraceSinks() { facility_.textLevelsAre(allTraceLevels); }
  void trace(std::string_view text) { ROUTING_TRACE(facility_, 1, "{}", text); }

  TraceFacility facility_{"Test"};
};

TEST_F(TraceSinks, GetAMessageInTheOrderOfAttachment) {
  Lines order;
  CallbackTraceSink first([&](const TraceMessage&) { order.push_back("first"); });
  CallbackTraceSink second([&](const TraceMessage&) { order.push_back("second"); });
  second.attachedIs(true);
  first.attachedIs(true);
  second.attachedIs(true);
  trace("m");
  EXPECT_EQ(order, (Lines{"second", "first"}));
}

TEST_F(TraceSinks, GetLevelFacilityTextAndTime) {
  const CountingClock clock;
  TraceMessage seen;
  String text;
  CallbackTraceSink sink([&](const TraceMessage& message) {
    seen = message;
    text = message.text;
  });
  sink.attachedIs(true);
  ROUTING_TRACE(facility_, 4, "count {}", 3);
  EXPECT_EQ(seen.level, 4);
  EXPECT_EQ(seen.facility, "Test");
  EXPECT_EQ(text, "count 3");
  EXPECT_EQ(seen.time, 1000);
}

TEST_F(TraceSinks, GetNothingOnceDetachedOrDestroyed) {
  RememberingSink sink;
  {
    const RememberingSink gone;
    trace("1");
  }
  trace("2");
  sink.attachedIs(false);
  trace("3");
  EXPECT_EQ(sink.lines(), (Lines{"1 Test: 1", "1 Test: 2"}));
  EXPECT_FALSE(TraceSink::anyAttached());
}

TEST_F(TraceSinks, ThatTraceDoNotGetTheirOwnMessages) {
  RememberingSink sink;
  sink.thenIs([&] { trace("about a message"); });
  trace("1");
  trace("2");
  EXPECT_EQ(sink.lines(), (Lines{"1 Test: 1", "1 Test: 2"}));
}

TEST_F(TraceSinks, ThatTraceAboutEachOtherComeToAnEnd) {
  RememberingSink first;
  RememberingSink second;
  first.thenIs([&] { trace("first got one"); });
  second.thenIs([&] { trace("second got one"); });
  trace("m");
  EXPECT_EQ(first.lines(), (Lines{"1 Test: m", "1 Test: second got one"}));
  EXPECT_EQ(second.lines(), (Lines{"1 Test: first got one", "1 Test: m"}));
}

TEST_F(TraceSinks, MayDetachThemselvesDuringAMessage) {
  RememberingSink first;
  const RememberingSink second;
  first.thenIs([&] { first.attachedIs(false); });
  trace("1");
  trace("2");
  EXPECT_EQ(first.lines(), Lines{"1 Test: 1"});
  EXPECT_EQ(second.lines(), (Lines{"1 Test: 1", "1 Test: 2"}));
}

TEST_F(TraceSinks, MayBeReplacedDuringAMessage) {
  std::unique_ptr<RememberingSink> replacement;
  auto sink = std::make_unique<RememberingSink>();
  sink->thenIs([&] {
    // Copied, since the function goes with the sink.
    auto& slot = replacement;
    auto& old = sink;
    slot = std::make_unique<RememberingSink>();
    old->attachedIs(false);
  });
  trace("1");
  trace("2");
  EXPECT_EQ(sink->lines(), Lines{"1 Test: 1"});
  EXPECT_EQ(replacement->lines(), Lines{"1 Test: 2"});
}

TEST_F(TraceSinks, MayDestroyThemselvesDuringAMessage) {
  const String longText(100, 'x');
  Lines seen;
  std::unique_ptr<CallbackTraceSink> sink;
  // The captured string shows, under the address sanitizer, that the function outlives the sink.
  sink = std::make_unique<CallbackTraceSink>([&seen, &sink, longText](const TraceMessage&) {
    sink.reset();
    seen.push_back(longText);
  });
  sink->attachedIs(true);
  const RememberingSink later;
  trace("1");
  trace("2");
  EXPECT_EQ(seen, Lines{longText});
  EXPECT_EQ(later.lines(), (Lines{"1 Test: 1", "1 Test: 2"}));
}

TEST_F(TraceSinks, MayDestroyThemselvesInANestedMessage) {
  Lines seen;
  std::unique_ptr<CallbackTraceSink> outer;
  outer = std::make_unique<CallbackTraceSink>([&](const TraceMessage&) {
    seen.push_back("outer");
    trace("nested");
  });
  outer->attachedIs(true);
  RememberingSink inner([&] { outer.reset(); });
  trace("m");
  trace("n");
  EXPECT_EQ(seen, Lines{"outer"});
  EXPECT_EQ(inner.lines(), (Lines{"1 Test: nested", "1 Test: m", "1 Test: n"}));
}

TEST_F(TraceSinks, MayDestroyTheNextSinkDuringAMessage) {
  RememberingSink first;
  auto second = std::make_unique<RememberingSink>();
  const RememberingSink third;
  first.thenIs([&] { second.reset(); });
  trace("m");
  EXPECT_EQ(first.lines(), Lines{"1 Test: m"});
  EXPECT_EQ(third.lines(), Lines{"1 Test: m"});
}

TEST_F(TraceSinks, AttachedDuringAMessageGetTheNextOne) {
  RememberingSink late;
  late.attachedIs(false);
  const RememberingSink first([&] { late.attachedIs(true); });
  const RememberingSink second;
  trace("1");
  trace("2");
  EXPECT_EQ(late.lines(), Lines{"1 Test: 2"});
}

TEST_F(TraceSinks, ThatDetachAndAttachThemselvesGetAMessageOnce) {
  RememberingSink sink;
  sink.thenIs([&] {
    sink.attachedIs(false);
    sink.attachedIs(true);
    trace("nested");
  });
  const RememberingSink later;
  trace("1");
  trace("2");
  EXPECT_EQ(sink.lines(), (Lines{"1 Test: 1", "1 Test: 2"}));
}

TEST_F(TraceSinks, ThatThrowGetTheNextMessageAgain) {
  RememberingSink sink([] { throw std::runtime_error("sink"); });
  EXPECT_THROW(trace("1"), std::runtime_error);
  EXPECT_THROW(trace("2"), std::runtime_error);
  EXPECT_EQ(sink.lines(), (Lines{"1 Test: 1", "1 Test: 2"}));
}

// A pipe that does not block; what is in it is read as text.
class Pipe {
 public:
  Pipe() { EXPECT_EQ(::pipe2(ends_.data(), O_NONBLOCK), 0); }
  ~Pipe() {
    ::close(ends_[0]);
    ::close(ends_[1]);
  }
  Pipe(const Pipe&) = delete;
  Pipe(Pipe&&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  Pipe& operator=(Pipe&&) = delete;

  int input() const { return ends_[1]; }
  String takeAll() const {
    String text;
    std::array<char, 4096> bytes{};
    for (ssize_t count = ::read(ends_[0], bytes.data(), bytes.size()); count > 0;
         count = ::read(ends_[0], bytes.data(), bytes.size())) {
      text.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  std::array<int, 2> ends_{};
};

TEST_F(TraceSinks, ToADescriptorWriteOneLineAMessage) {
  const Pipe pipe;
  FdTraceSink sink(pipe.input());
  sink.attachedIs(true);
  trace("one");
  trace("a\nb");
  EXPECT_EQ(pipe.takeAll(), "1 Test: one\n1 Test: a\\x0ab\n");
  EXPECT_EQ(sink.droppedLines(), 0U);
}

TEST_F(TraceSinks, ToADescriptorWriteTheTimeWhenAsked) {
  const CountingClock clock;
  const Pipe pipe;
  FdTraceSink sink(pipe.input(), TraceTime::shown);
  sink.attachedIs(true);
  trace("one");
  EXPECT_EQ(pipe.takeAll(), "1970-01-01T00:00:00.000001000Z 1 Test: one\n");
}

TEST_F(TraceSinks, ToADescriptorThatIsFullDropWholeLinesOnceThereIsRoom) {
  const Pipe pipe;
  FdTraceSink sink(pipe.input());
  sink.attachedIs(true);
  const String big(100'000, 'x');
  trace(big);
  trace("not written");
  EXPECT_EQ(sink.droppedLines(), 2U);
  const String cut = pipe.takeAll();
  EXPECT_EQ(cut, ("1 Test: " + big).substr(0, cut.size()));
  trace("written");
  EXPECT_EQ(pipe.takeAll(), "\n1 Test: written\n");
  EXPECT_EQ(sink.droppedLines(), 2U);
}

TEST_F(TraceSinks, ToAClosedDescriptorDropAndCount) {
  FdTraceSink sink(-1);
  sink.attachedIs(true);
  trace("m");
  EXPECT_EQ(sink.droppedLines(), 1U);
}

}  // namespace
}  // namespace Routing
