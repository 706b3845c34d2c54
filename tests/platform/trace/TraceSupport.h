#pragma once

// What the trace tests have in common: a clock that counts, sinks that remember, and the lines of a
// ring.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/trace/RingDecoder.h"
#include "platform/trace/Trace.h"
#include "platform/trace/TraceRing.h"
#include "platform/trace/TraceSink.h"

namespace Routing {

// An enumeration that may be traced.
enum class Colour : std::int8_t { red = 0, green = 1, faded = -1 };

template <>
struct TraceArgument<Colour> {
  static constexpr std::array members{TraceEnumerator{"red", 0},
                                      TraceEnumerator{"green", 1},
                                      TraceEnumerator{"faded", -1}};
  static constexpr TraceEnumeration enumeration{"Colour", members};
};

// Is the process's trace clock while it lives; each look at it is a microsecond later.
class CountingClock final : public TraceClock {
 public:
  CountingClock() { Tracing::clockIs(this); }
  ~CountingClock() override { Tracing::clockIs(nullptr); }
  CountingClock(const CountingClock&) = delete;
  CountingClock(CountingClock&&) = delete;
  CountingClock& operator=(const CountingClock&) = delete;
  CountingClock& operator=(CountingClock&&) = delete;

  std::int64_t now() override { return time_ += 1000; }

 private:
  std::int64_t time_ = 0;
};

using Lines = std::vector<String>;

inline String traceLine(const TraceMessage& message, TraceTime time = TraceTime::shown) {
  String line;
  appendTraceLine(line, message, time);
  return line;
}

// Remembers each message as "LEVEL FACILITY: MESSAGE", and then does what the test wants.
class RememberingSink final : public TraceSink {
 public:
  using Then = std::function<void()>;

  explicit RememberingSink(Then then = nullptr) : then_(std::move(then)) { attachedIs(true); }

  const Lines& lines() const { return lines_; }
  void thenIs(Then then) { then_ = std::move(then); }

 protected:
  void handleMessage(const TraceMessage& message) override {
    String line = std::to_string(message.level) + " " + String(message.facility) + ": ";
    line += message.text;
    lines_.push_back(line);
    if (then_) {
      then_();
    }
  }

 private:
  Lines lines_;
  Then then_;
};

// Remembers each message as a whole line with its time.
class LineSink final : public TraceSink {
 public:
  LineSink() { attachedIs(true); }
  const Lines& lines() const { return lines_; }

 protected:
  void handleMessage(const TraceMessage& message) override { lines_.push_back(traceLine(message)); }

 private:
  Lines lines_;
};

// Every message that a decoder has left, as whole lines with their times.
inline Lines linesOf(RingDecoder& decoder) {
  Lines lines;
  for (auto message = decoder.next(); message; message = decoder.next()) {
    lines.push_back(traceLine(*message));
  }
  return lines;
}

inline Lines linesOf(const TraceRing& ring) {
  RingDecoder decoder{String(ring.image())};
  return linesOf(decoder);
}

// The last lines, as many as there are in the other list.
inline Lines lastLines(const Lines& lines, std::size_t count) {
  return {lines.end() - static_cast<std::ptrdiff_t>(std::min(count, lines.size())), lines.end()};
}

}  // namespace Routing
