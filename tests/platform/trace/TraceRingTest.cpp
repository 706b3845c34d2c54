#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "platform/trace/TraceRing.h"
#include "tests/platform/trace/TraceSupport.h"

namespace Routing {
namespace {

// A ring of the smallest size, a text sink, and a facility with every level on in both.
class TraceRings : public testing::Test {
 protected:
  TraceRings() {
    Tracing::ringIs(&ring_);
    facility_.textLevelsAre(allTraceLevels);
    facility_.ringLevelsAre(allTraceLevels);
  }

  void trace(std::uint64_t number, std::string_view text) {
    ROUTING_TRACE(facility_, 1, "number {} {}", number, text);
  }
  // The decoded lines, after seeing that nothing is wrong with the ring.
  Lines decoded() const {
    RingDecoder decoder{String(ring_.image())};
    Lines lines = linesOf(decoder);
    EXPECT_EQ(decoder.problems(), Lines{});
    return lines;
  }

  CountingClock clock_;
  TraceRing ring_{TraceRing::minimumSize};
  LineSink sink_;
  TraceFacility facility_{"Test"};
};

TEST_F(TraceRings, DecodeToNothingWhenNew) { EXPECT_EQ(decoded(), Lines{}); }

TEST_F(TraceRings, DecodeToTheTextLinesForEveryKindOfArgument) {
  const char* const null = nullptr;
  ROUTING_TRACE(facility_, 0, "no argument");
  ROUTING_TRACE(facility_, 1, "{} {}", std::numeric_limits<std::uint64_t>::max(), std::uint8_t{9});
  ROUTING_TRACE(facility_, 2, "{} {}", std::numeric_limits<std::int64_t>::min(), std::int16_t{-9});
  ROUTING_TRACE(facility_, 3, "{} {}", true, false);
  ROUTING_TRACE(facility_, 4, "{}|{}|{}", String("string"), std::string_view("a\nb\0c", 5), null);
  ROUTING_TRACE(facility_, 5, "{} {}", *IpGenAddr::parse("10.1.2.3"), IpGenAddr{});
  ROUTING_TRACE(facility_, 6, "{}", *IpGenAddr::parse("2001:db8::ff"));
  ROUTING_TRACE(facility_, 7, "{} {}", *IpGenPrefix::parse("10.0.0.0/9"), IpGenPrefix{});
  ROUTING_TRACE(facility_, 8, "{}", *IpGenPrefix::parse("2001:db8::/33"));
  ROUTING_TRACE(facility_, 9, "{} {}", Colour::faded, static_cast<Colour>(9));
  ASSERT_EQ(sink_.lines().size(), 10U);
  EXPECT_EQ(decoded(), sink_.lines());
}

TEST_F(TraceRings, DecodeToTheTextLinesForStringsOfEveryLengthModuloEight) {
  for (std::size_t length = 0; length < 20; ++length) {
    trace(length, String(length, 'x'));
  }
  EXPECT_EQ(decoded(), sink_.lines());
}

TEST_F(TraceRings, KeepTheNewestMessagesInTheirOrder) {
  // Lengths that share no factor with the ring's size, over many laps.
  for (std::uint64_t number = 0; number < 5000; ++number) {
    trace(number, String(number * 7 % 97, 'x'));
    if (number % 50 == 0) {
      const Lines lines = decoded();
      EXPECT_EQ(lines, lastLines(sink_.lines(), lines.size()));
    }
  }
  const Lines lines = decoded();
  EXPECT_EQ(lines, lastLines(sink_.lines(), lines.size()));
  EXPECT_GT(lines.size(), 100U);
  EXPECT_LT(lines.size(), 200U);
}

TEST_F(TraceRings, LetNoMoreGoThanTheNewestNeeds) {
  trace(0, "");
  // Head 32, number 8, text 4 + 4: a record of 48 bytes.
  const std::size_t records = (TraceRing::minimumSize - 64 - 4096) / 48;
  for (std::uint64_t number = 1; number < records; ++number) {
    trace(number, "four");
  }
  EXPECT_EQ(decoded().size(), records);
  trace(records, "four");
  EXPECT_EQ(decoded().size(), records);
  EXPECT_EQ(decoded(), lastLines(sink_.lines(), records));
}

TEST_F(TraceRings, KeepAMessageOfHalfTheirSizeWhole) {
  const std::size_t ringSize = TraceRing::minimumSize - 64 - 4096;
  const std::size_t longest = ringSize / 2 - 32 - 8 - 4;
  for (std::uint64_t number = 0; number < 7; ++number) {
    trace(number, String(longest, 'x'));
    const Lines lines = decoded();
    EXPECT_FALSE(lines.empty());
    EXPECT_EQ(lines, lastLines(sink_.lines(), lines.size()));
    trace(number, "between");
  }
}

TEST_F(TraceRings, KeepAMarkInThePlaceOfALongerMessage) {
  const std::size_t ringSize = TraceRing::minimumSize - 64 - 4096;
  const std::size_t longest = ringSize / 2 - 32 - 8 - 4;
  trace(1, "before");
  trace(2, String(longest + 1, 'x'));
  trace(3, "after");
  Lines expected = sink_.lines();
  expected[1] = traceLine(
      {2000,
       1,
       "Test",
       "message of " + std::to_string(8 + 4 + longest + 1) + " bytes is too long for the ring"});
  EXPECT_EQ(decoded(), expected);
}

TEST_F(TraceRings, GetOnlyTheLevelsOfTheirOwnMask) {
  facility_.textLevelsAre(traceLevelBit(1) | traceLevelBit(2));
  facility_.ringLevelsAre(traceLevelBit(2) | traceLevelBit(3));
  ROUTING_TRACE(facility_, 1, "text");
  ROUTING_TRACE(facility_, 2, "both");
  ROUTING_TRACE(facility_, 3, "ring");
  EXPECT_EQ(sink_.lines(),
            (Lines{traceLine({1000, 1, "Test", "text"}), traceLine({2000, 2, "Test", "both"})}));
  EXPECT_EQ(decoded(),
            (Lines{traceLine({2000, 2, "Test", "both"}), traceLine({3000, 3, "Test", "ring"})}));
}

TEST_F(TraceRings, GetNothingFromATextOnlyFacility) {
  TraceFacility textOnly{"TextOnly", TraceFacility::Output::textOnly};
  TraceFacility::allTextLevelsAre(allTraceLevels);
  TraceFacility::allRingLevelsAre(allTraceLevels);
  ROUTING_TRACE(textOnly, 1, "text only");
  EXPECT_EQ(sink_.lines().size(), 1U);
  EXPECT_EQ(decoded(), Lines{});
}

TEST_F(TraceRings, TellTheFacilitiesOfOneStatementApart) {
  for (const char* name : {"First", "Second"}) {
    TraceFacility facility{name};
    facility.textLevelsAre(allTraceLevels);
    facility.ringLevelsAre(allTraceLevels);
    ROUTING_TRACE(facility, 1, "from {}", name);
  }
  EXPECT_EQ(decoded(), sink_.lines());
  EXPECT_EQ(sink_.lines().size(), 2U);
}

TEST_F(TraceRings, TakeTurnsWithoutLosingTheirTables) {
  TraceRing other(TraceRing::minimumSize);
  for (std::uint64_t number = 0; number < 100; ++number) {
    Tracing::ringIs(number % 2 == 0 ? &ring_ : &other);
    trace(number, "turn");
  }
  Lines even;
  for (std::size_t number = 0; number < 100; number += 2) {
    even.push_back(sink_.lines()[number]);
  }
  EXPECT_EQ(decoded(), even);
  RingDecoder decoder{String(ring_.image())};
  EXPECT_EQ(decoder.table().messages().size(), 1U);
}

TEST_F(TraceRings, HoldTheEnumerationTableOfTheirMessages) {
  ROUTING_TRACE(facility_, 1, "{}", Colour::red);
  ROUTING_TRACE(facility_, 2, "{} {}", Colour::green, Colour::faded);
  const RingDecoder decoder{String(ring_.image())};
  const std::vector<TraceEnumeration> enumerations = decoder.table().enumerations();
  ASSERT_EQ(enumerations.size(), 1U);
  EXPECT_EQ(enumerations[0].name(), "Colour");
  std::vector<std::pair<std::string_view, std::int64_t>> members;
  for (const TraceEnumerator& member : enumerations[0].members()) {
    members.emplace_back(member.name, member.value);
  }
  EXPECT_EQ(members,
            (std::vector<std::pair<std::string_view, std::int64_t>>{{"red", 0},
                                                                    {"green", 1},
                                                                    {"faded", -1}}));
}

TEST_F(TraceRings, HoldAMessageInTheirTableOnceHoweverOftenItIsWritten) {
  for (std::uint64_t number = 0; number < 10; ++number) {
    trace(number, "again");
  }
  const RingDecoder decoder{String(ring_.image())};
  const auto& messages = decoder.table().messages();
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages.begin()->second.format, "number {} {}");
  EXPECT_EQ(messages.begin()->second.level, 1);
}

TEST_F(TraceRings, KeepMessagesAsTextWhenTheirTableIsFull) {
  // Facilities fill the table of 4096 bytes; after them come new messages of old and new ones.
  std::vector<std::unique_ptr<TraceFacility>> facilities;
  Lines names;
  for (int number = 0; number < 100; ++number) {
    names.push_back(String(50, 'n') + std::to_string(1000 + number));
  }
  for (const String& name : names) {
    facilities.push_back(std::make_unique<TraceFacility>(name));
    facilities.back()->textLevelsAre(allTraceLevels);
    facilities.back()->ringLevelsAre(allTraceLevels);
    ROUTING_TRACE(*facilities.back(), 2, "{} {}", Colour::green, true);
  }
  ROUTING_TRACE(*facilities.front(), 3, "a new message of an old facility: {}", Colour::red);
  ROUTING_TRACE(*facilities.front(), 2, "{} {}", Colour::red, false);
  EXPECT_EQ(decoded(), lastLines(sink_.lines(), decoded().size()));
  EXPECT_EQ(decoded().size(), 102U);
}

TEST_F(TraceRings, TakeAMessageThatIsMadeWithinAMessage) {
  struct Telling {
    String stringValue() const {
      ROUTING_TRACE(*facility, 2, "asked");
      return "told";
    }
    TraceFacility* facility;
  };
  RememberingSink tracing;
  tracing.thenIs([&] { trace(0, "sink"); });
  ROUTING_TRACE(facility_, 1, "{}", Telling{&facility_});
  Lines texts;
  for (const String& line : decoded()) {
    texts.push_back(line.substr(line.find('Z') + 2));
  }
  EXPECT_EQ(texts,
            (Lines{"2 Test: asked\n",
                   "1 Test: number 0 sink\n",
                   "1 Test: told\n",
                   "1 Test: number 0 sink\n"}));
}

TEST_F(TraceRings, DetachThemselvesWhenTheyGo) {
  {
    TraceRing other(TraceRing::minimumSize);
    Tracing::ringIs(&other);
  }
  EXPECT_EQ(Tracing::ring(), nullptr);
  trace(1, "nobody");
  EXPECT_EQ(decoded(), Lines{});
}

TEST_F(TraceRings, BeginAnewWhenSomeoneElseWroteOverTheirRecords) {
  // The image is the ring's own memory, which a mapped file shares with whoever may write to it.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): see above
  char* const bytes = const_cast<char*>(ring_.image().data());
  for (const std::uint32_t word : {0xffffffffU, 0U, 12U, 12000U}) {
    for (std::uint64_t number = 0; number < 1000; ++number) {
      trace(number, "before");
    }
    for (std::size_t at = 64 + 4096; at < ring_.image().size(); at += sizeof word) {
      storeLittleEndian(bytes + at, word);
    }
    for (std::uint64_t number = 0; number < 3; ++number) {
      trace(number, "after");
    }
    EXPECT_EQ(decoded(), lastLines(sink_.lines(), 3)) << word;
  }
}

TEST(TraceRing, RefusesASizeThatIsOutOfBounds) {
  EXPECT_THROW(TraceRing(TraceRing::minimumSize - 1), TraceRingError);
  EXPECT_THROW(TraceRing(TraceRing::maximumSize + 1), TraceRingError);
}

TEST(TraceRing, RoundsItsSizeUp) {
  const TraceRing ring(TraceRing::minimumSize + 1);
  EXPECT_EQ(ring.image().size(), TraceRing::minimumSize + 8);
}

}  // namespace
}  // namespace Routing
