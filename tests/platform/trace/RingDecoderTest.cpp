#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <random>

#include "platform/trace/RingDecoder.h"
#include "platform/trace/RingFormat.h"
#include "tests/platform/trace/TraceSupport.h"

namespace Routing {
namespace {

using namespace RingFormat;

constexpr std::size_t tableOffset = headerSize;
constexpr std::size_t ringOffset = headerSize + minimumTableSize;

std::uint64_t wordOf(const String& image, std::size_t offset) {
  return loadLittleEndian<std::uint64_t>(image.data() + offset);
}

void setWord(String& image, std::size_t offset, std::uint64_t value) {
  storeLittleEndian(image.data() + offset, value);
}

// Makes the check of an entry or a record right again, if its size allows.
void repairCheck(String& image, std::size_t offset) {
  const std::size_t size = loadLittleEndian<std::uint32_t>(image.data() + offset);
  if (size >= 16 && size % alignment == 0 && size <= image.size() - offset) {
    const std::string_view bytes = std::string_view(image).substr(offset + 8, size - 8);
    storeLittleEndian(image.data() + offset + 4, check(size, bytes));
  }
}

// Where the entries or records begin that follow each other in [from, to).
std::vector<std::size_t> placesOf(const String& image, std::size_t from, std::size_t to) {
  std::vector<std::size_t> places;
  for (std::size_t at = from; at < to;) {
    const std::size_t size = loadLittleEndian<std::uint32_t>(image.data() + at);
    if (size < 16 || size > to - at) {
      break;
    }
    places.push_back(at);
    at += size;
  }
  return places;
}

struct Decoded {
  Lines lines;
  Lines problems;
};

Decoded decode(const String& image) {
  RingDecoder decoder{String(image)};
  Decoded decoded;
  decoded.lines = linesOf(decoder);
  decoded.problems = decoder.problems();
  return decoded;
}

// Decodes what may not be a ring at all.
Decoded decodeAnything(const String& image) {
  try {
    return decode(image);
  } catch (const TraceRingError& error) {
    return {{}, {error.what()}};
  }
}

// True when the lines are some of the others, in their order.
bool areSomeOf(const Lines& lines, const Lines& others) {
  auto next = others.begin();
  for (const String& line : lines) {
    next = std::find(next, others.end(), line);
    if (next == others.end()) {
      return false;
    }
    ++next;
  }
  return true;
}

// A ring with a few messages of every kind.
class RingDecoders : public testing::Test {
 protected:
  RingDecoders() {
    Tracing::ringIs(&ring_);
    facility_.textLevelsAre(allTraceLevels);
    facility_.ringLevelsAre(allTraceLevels);
  }

  void traceEach(std::uint64_t number) {
    ROUTING_TRACE(facility_, 1, "number {} {}", number, Colour::green);
    ROUTING_TRACE(facility_, 2, "{} {}", *IpGenAddr::parse("10.1.2.3"), IpGenAddr{});
    ROUTING_TRACE(facility_, 3, "{} {}", *IpGenPrefix::parse("::/0"), true);
    ROUTING_TRACE(facility_, 4, "{} {}", "text", -1);
  }
  String image() const { return String(ring_.image()); }
  void trace(std::string_view text) { ROUTING_TRACE(facility_, 5, "{}", text); }

  CountingClock clock_;
  TraceRing ring_{TraceRing::minimumSize};
  LineSink sink_;
  TraceFacility facility_{"Test"};
};

TEST_F(RingDecoders, ReadWhatIsThereOfAFileCutAtAnyLength) {
  traceEach(1);
  traceEach(2);
  const String whole = image();
  EXPECT_EQ(decode(whole).lines, sink_.lines());
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const Decoded decoded = decodeAnything(whole.substr(0, length));
    ASSERT_FALSE(decoded.problems.empty()) << length;
    ASSERT_EQ(decoded.lines,
              Lines(sink_.lines().begin(),
                    sink_.lines().begin() + static_cast<std::ptrdiff_t>(decoded.lines.size())))
        << length;
    if (length >= ringOffset + wordOf(whole, newestOffset)) {
      ASSERT_EQ(decoded.lines.size(), sink_.lines().size()) << length;
    }
  }
}

TEST_F(RingDecoders, NeverGiveAWrongLineWhenABitIsFlipped) {
  traceEach(1);
  traceEach(2);
  const String whole = image();
  const std::size_t tableEnd = tableOffset + wordOf(whole, tableUsedOffset);
  const std::size_t ringEnd = ringOffset + wordOf(whole, newestOffset);
  for (std::size_t at = 0; at < ringEnd; at = at + 1 == tableEnd ? ringOffset : at + 1) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      String flipped = whole;
      flipped[at] = static_cast<char>(static_cast<unsigned char>(flipped[at]) ^ (1U << bit));
      const Decoded decoded = decodeAnything(flipped);
      ASSERT_TRUE(areSomeOf(decoded.lines, sink_.lines())) << at << " " << bit;
      // A newest or oldest position that points to another record cannot be told from a right one;
      // bytes 56 to 63 are not used.
      if (at < tableUsedOffset || at >= headerSize) {
        ASSERT_FALSE(decoded.problems.empty()) << at << " " << bit;
      }
    }
  }
}

TEST_F(RingDecoders, PassOverADamagedRecordAndTellHowMuchIsMissing) {
  for (const char* text : {"one", "two", "three", "four"}) {
    trace(text);
  }
  String damaged = image();
  const std::vector<std::size_t> places =
      placesOf(damaged, ringOffset, ringOffset + wordOf(damaged, newestOffset));
  ASSERT_EQ(places.size(), 4U);
  damaged[places[1] + 33] ^= 1;
  const Decoded decoded = decode(damaged);
  EXPECT_EQ(decoded.lines, (Lines{sink_.lines()[0], sink_.lines()[2], sink_.lines()[3]}));
  EXPECT_EQ(decoded.problems,
            (Lines{"the ring is damaged at offset " + std::to_string(places[1]) +
                       ", 40 bytes passed over",
                   "messages missing before message 2: 1"}));
}

// A process that is killed has written some of a record's bytes, but not the newest position.
TEST_F(RingDecoders, SkipARecordThatWasTornBeforeItWasInUse) {
  for (int lap = 0; lap < 300; ++lap) {
    traceEach(1);
  }
  const String before = image();
  const Lines linesBefore = decode(before).lines;
  trace("torn");
  const String after = image();
  const std::size_t place = ringOffset + wordOf(before, newestOffset) % (after.size() - ringOffset);
  for (std::size_t done = 0; done <= 40; ++done) {
    String torn = after;
    setWord(torn, newestOffset, wordOf(before, newestOffset));
    std::memcpy(torn.data() + place + done, before.data() + place + done, 40 - done);
    const Decoded decoded = decode(torn);
    ASSERT_EQ(decoded.lines, lastLines(linesBefore, decoded.lines.size())) << done;
    ASSERT_GT(decoded.lines.size(), 100U);
    ASSERT_EQ(decoded.problems, Lines{}) << done;
  }
}

// A machine that stops may have kept the newest position and not the record.
TEST_F(RingDecoders, TellARecordThatWasTornAfterItWasInUse) {
  trace("one");
  const std::size_t place = ringOffset + wordOf(image(), newestOffset);
  trace("two");
  for (std::size_t done = 0; done < 39; ++done) {
    String torn = image();
    std::fill(torn.begin() + static_cast<std::ptrdiff_t>(place + done), torn.end(), '\0');
    const Decoded decoded = decode(torn);
    ASSERT_EQ(decoded.lines, Lines{sink_.lines()[0]}) << done;
    ASSERT_EQ(decoded.problems.size(), 1U) << done;
  }
}

TEST_F(RingDecoders, FindTheRecordsWithoutTheirPositions) {
  for (std::uint64_t number = 0; number < 500; ++number) {
    traceEach(number);
  }
  String damaged = image();
  const Lines kept = decode(damaged).lines;
  setWord(damaged, oldestOffset, std::numeric_limits<std::uint64_t>::max());
  const Decoded decoded = decode(damaged);
  EXPECT_EQ(decoded.lines, lastLines(sink_.lines(), decoded.lines.size()));
  EXPECT_GE(decoded.lines.size(), kept.size());
  EXPECT_EQ(decoded.problems.front(), "the positions of the records are damaged");
}

TEST_F(RingDecoders, TellAMessageWhoseTableEntryIsDamaged) {
  trace("one");
  ROUTING_TRACE(facility_, 6, "other");
  String damaged = image();
  const std::vector<std::size_t> entries =
      placesOf(damaged, tableOffset, tableOffset + wordOf(damaged, tableUsedOffset));
  ASSERT_EQ(entries.size(), 3U);
  damaged[entries[1] + 20] ^= 1;
  const Decoded decoded = decode(damaged);
  EXPECT_EQ(decoded.lines, Lines{sink_.lines()[1]});
  EXPECT_EQ(decoded.problems.size(), 2U);
}

TEST_F(RingDecoders, CountTheProblemsThatAreTooMany) {
  for (int number = 0; number < 60; ++number) {
    trace("x");
  }
  String damaged = image();
  for (const std::size_t place :
       placesOf(damaged, ringOffset, ringOffset + wordOf(damaged, newestOffset))) {
    storeLittleEndian(damaged.data() + place + 24, std::uint32_t{99});
    repairCheck(damaged, place);
  }
  const Decoded decoded = decode(damaged);
  EXPECT_EQ(decoded.lines, Lines{});
  EXPECT_EQ(decoded.problems.size(), RingDecoder::maxProblems + 1);
  EXPECT_EQ(decoded.problems.back(), "and 40 more problems");
}

TEST_F(RingDecoders, GiveUpOnARingThatWouldTakeForEver) {
  String damaged = image();
  const std::size_t ringBytes = damaged.size() - ringOffset;
  setWord(damaged, newestOffset, ringBytes);
  for (std::size_t at = ringOffset; at < damaged.size(); at += alignment) {
    const std::size_t left = damaged.size() - at;
    setWord(damaged, at, left >= recordHeaderSize ? left : 0);
  }
  const Decoded decoded = decode(damaged);
  EXPECT_EQ(decoded.lines, Lines{});
  ASSERT_FALSE(decoded.problems.empty());
  EXPECT_TRUE(decoded.problems.front().starts_with("too much damage")) << decoded.problems.front();
}

TEST_F(RingDecoders, TellBytesThatDoNotBelong) {
  trace("one");
  const Decoded decoded = decode(image() + "x");
  EXPECT_EQ(decoded.lines, sink_.lines());
  EXPECT_EQ(
      decoded.problems,
      Lines{"there is more than the ring, from offset " + std::to_string(TraceRing::minimumSize)});
}

TEST_F(RingDecoders, RefuseWhatIsNoRing) {
  EXPECT_THROW(decode(""), TraceRingError);
  EXPECT_THROW(decode(String(100'000, 'x')), TraceRingError);
  String later = image();
  storeLittleEndian(later.data() + versionOffset, std::uint32_t{2});
  EXPECT_THROW(decode(later), TraceRingError);
}

// Random damage with checks made right again, so that it gets beyond them. The seed is fixed; a
// failure names the round.
TEST_F(RingDecoders, AreSafeFromBytesThatLookWhole) {
  for (std::uint64_t number = 0; number < 100; ++number) {
    traceEach(number);
  }
  const String whole = image();
  const std::size_t tableEnd = tableOffset + wordOf(whole, tableUsedOffset);
  std::vector<std::size_t> places = placesOf(whole, tableOffset, tableEnd);
  const std::vector<std::size_t> records = placesOf(whole, ringOffset, whole.size());
  places.insert(places.end(), records.begin(), records.end());
  std::mt19937 random(20240501);
  for (int round = 0; round < 3000; ++round) {
    String damaged = whole;
    for (int change = 0; change < 5; ++change) {
      const std::size_t place = places[random() % places.size()];
      const std::size_t at = place + random() % 64;
      damaged[at] = static_cast<char>(random() % 4 == 0 ? 0xff : random());
      repairCheck(damaged, place);
    }
    const Decoded decoded = decode(damaged);
    ASSERT_LE(decoded.problems.size(), RingDecoder::maxProblems + 1) << round;
  }
}

}  // namespace
}  // namespace Routing
