#include <gtest/gtest.h>

#include <limits>

#include "platform/trace/Trace.h"
#include "tests/platform/trace/TraceSupport.h"

namespace Routing {
namespace {

// Anything that can tell itself as a string.
struct Interface {
  String stringValue() const { return "Ethernet1/" + std::to_string(port); }
  int port = 0;
};

enum Unscoped : unsigned { first = 1 };
enum class Unregistered : std::uint8_t { one };

class TraceStatement : public testing::Test {
 protected:
  TraceStatement() { facility_.textLevelsAre(allTraceLevels); }

  template <typename T>
  String textOf(const T& value) {
    ROUTING_TRACE(facility_, 3, "{}", value);
    return sink_.lines().back();
  }

  TraceFacility facility_{"Test"};
  RememberingSink sink_;
};

TEST_F(TraceStatement, ReplacesEachPlaceByTheNextArgument) {
  const String vrf = "v1";
  ROUTING_TRACE(facility_, 8, "[{}:{}] handleNexthopReview yield after {}", vrf, "c1", 7U);
  EXPECT_EQ(sink_.lines(), Lines{"8 Test: [v1:c1] handleNexthopReview yield after 7"});
}

TEST_F(TraceStatement, TakesAllOtherTextAsItStands) {
  ROUTING_TRACE(facility_, 1, "{ } {x} }{ %s {{{}}} (resId: ){}", 1, 2);
  EXPECT_EQ(sink_.lines(), Lines{"1 Test: { } {x} }{ %s {{1}} (resId: )2"});
}

TEST_F(TraceStatement, MayHaveNoArguments) {
  ROUTING_TRACE(facility_, 0, "cleanup complete.");
  EXPECT_EQ(sink_.lines(), Lines{"0 Test: cleanup complete."});
}

TEST_F(TraceStatement, WritesIntegersInDecimal) {
  EXPECT_EQ(textOf(std::numeric_limits<std::uint64_t>::max()), "3 Test: 18446744073709551615");
  EXPECT_EQ(textOf(std::numeric_limits<std::int64_t>::min()), "3 Test: -9223372036854775808");
  EXPECT_EQ(textOf(std::uint8_t{65}), "3 Test: 65");
  EXPECT_EQ(textOf(std::int8_t{-1}), "3 Test: -1");
  EXPECT_EQ(textOf(std::uint16_t{65535}), "3 Test: 65535");
  EXPECT_EQ(textOf(-40000), "3 Test: -40000");
  EXPECT_EQ(textOf(std::size_t{0}), "3 Test: 0");
}

TEST_F(TraceStatement, WritesBooleansAsWords) {
  EXPECT_EQ(textOf(true), "3 Test: true");
  EXPECT_EQ(textOf(false), "3 Test: false");
}

TEST_F(TraceStatement, WritesEveryKindOfStringAsItIs) {
  const char* const pointer = "pointer";
  const char* const null = nullptr;
  EXPECT_EQ(textOf(String("a\nb{}")), "3 Test: a\nb{}");
  EXPECT_EQ(textOf(std::string_view("view\0end", 8)), String("3 Test: view\0end", 16));
  EXPECT_EQ(textOf("literal"), "3 Test: literal");
  EXPECT_EQ(textOf(pointer), "3 Test: pointer");
  EXPECT_EQ(textOf(null), "3 Test: ");
  EXPECT_EQ(textOf(String()), "3 Test: ");
}

TEST_F(TraceStatement, WritesAddressesAndPrefixesInTheirText) {
  EXPECT_EQ(textOf(*IpGenAddr::parse("10.1.2.3")), "3 Test: 10.1.2.3");
  EXPECT_EQ(textOf(*IpGenAddr::parse("2001:db8::1")), "3 Test: 2001:db8::1");
  EXPECT_EQ(textOf(IpGenAddr{}), "3 Test: " + IpGenAddr{}.stringValue());
  EXPECT_EQ(textOf(*IpGenPrefix::parse("10.0.0.0/8")), "3 Test: 10.0.0.0/8");
  EXPECT_EQ(textOf(*IpGenPrefix::parse("::/0")), "3 Test: ::/0");
  EXPECT_EQ(textOf(IpGenPrefix{}), "3 Test: " + IpGenPrefix{}.stringValue());
}

TEST_F(TraceStatement, WritesAnEnumerationByItsMembersName) {
  EXPECT_EQ(textOf(Colour::green), "3 Test: green");
  EXPECT_EQ(textOf(Colour::faded), "3 Test: faded");
}

TEST_F(TraceStatement, WritesAValueThatIsNoMemberAsItsNumber) {
  EXPECT_EQ(textOf(static_cast<Colour>(77)), "3 Test: 77");
  EXPECT_EQ(textOf(static_cast<Colour>(-77)), "3 Test: -77");
}

TEST_F(TraceStatement, WritesAnythingElseByItsStringValue) {
  EXPECT_EQ(textOf(Interface{4}), "3 Test: Ethernet1/4");
}

TEST_F(TraceStatement, TakesTextLongerThanAnyBuffer) {
  const String name(100'000, 'n');
  EXPECT_EQ(textOf(name), "3 Test: " + name);
}

TEST_F(TraceStatement, IsOneStatementUnderAnIf) {
  const bool odd = false;
  // NOLINTBEGIN(readability-braces-around-statements): what is tested is that none are needed
  if (odd)
    ROUTING_TRACE(facility_, 1, "odd");
  else
    ROUTING_TRACE(facility_, 1, "even");
  // NOLINTEND(readability-braces-around-statements)
  EXPECT_EQ(sink_.lines(), Lines{"1 Test: even"});
}

TEST_F(TraceStatement, ThatIsOffDoesNotEvaluateItsArguments) {
  facility_.textLevelsAre(static_cast<TraceLevelMask>(allTraceLevels & ~traceLevelBit(7)));
  int evaluated = 0;
  ROUTING_TRACE(facility_, 7, "{}", ++evaluated);
  EXPECT_EQ(evaluated, 0);
  EXPECT_TRUE(sink_.lines().empty());
  ROUTING_TRACE(facility_, 8, "{}", ++evaluated);
  EXPECT_EQ(evaluated, 1);
}

TEST_F(TraceStatement, EvaluatesItsArgumentsOnceForTextAndRing) {
  TraceRing ring(TraceRing::minimumSize);
  Tracing::ringIs(&ring);
  facility_.ringLevelsAre(allTraceLevels);
  int evaluated = 0;
  ROUTING_TRACE(facility_, 7, "{}", ++evaluated);
  EXPECT_EQ(evaluated, 1);
  EXPECT_EQ(ring.messageCount(), 1U);
  EXPECT_EQ(sink_.lines(), Lines{"7 Test: 1"});
}

TEST_F(TraceStatement, GoesNowhereWithoutSinkAndRing) {
  sink_.attachedIs(false);
  ROUTING_TRACE(facility_, 7, "{}", 1);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(TraceStatement, InATemplateWorksForEachInstance) {
  const auto trace = [this](const auto& value) { ROUTING_TRACE(facility_, 1, "is {}", value); };
  trace(1);
  trace("one");
  trace(true);
  EXPECT_EQ(sink_.lines(), (Lines{"1 Test: is 1", "1 Test: is one", "1 Test: is true"}));
}

TEST(TraceFormat, CountsThePlacesForArguments) {
  static_assert(countTracePlaces("") == 0);
  static_assert(countTracePlaces("{}") == 1);
  static_assert(countTracePlaces("{{}}") == 1);
  static_assert(countTracePlaces("{}{}") == 2);
  static_assert(countTracePlaces("{ } }{ {a}") == 0);
}

TEST(TraceArguments, WithoutADefinedTextAreRefused) {
  static_assert(!Traceable<char>);
  static_assert(!Traceable<char16_t>);
  static_assert(!Traceable<double>);
  static_assert(!Traceable<void*>);
  static_assert(!Traceable<int*>);
  static_assert(!Traceable<Unscoped>);
  static_assert(!Traceable<Unregistered>);
  static_assert(Traceable<Colour>);
  static_assert(Traceable<Interface>);
  static_assert(Traceable<const char*>);
}

struct TimeCase {
  const char* name;
  std::int64_t time;
  const char* text;
};

class TraceTimeText : public testing::TestWithParam<TimeCase> {};

TEST_P(TraceTimeText, ReadsAs) {
  const String line = traceLine({GetParam().time, 1, "F", "m"});
  EXPECT_EQ(line, String(GetParam().text) + " 1 F: m\n");
}

INSTANTIATE_TEST_SUITE_P(
    TraceTimes,
    TraceTimeText,
    testing::Values(TimeCase{"Epoch", 0, "1970-01-01T00:00:00.000000000Z"},
                    TimeCase{"LeapDay", 951'827'696'000'000'789, "2000-02-29T12:34:56.000000789Z"},
                    TimeCase{"BeforeEpoch", -1, "1969-12-31T23:59:59.999999999Z"},
                    TimeCase{"Last",
                             std::numeric_limits<std::int64_t>::max(),
                             "2262-04-11T23:47:16.854775807Z"},
                    TimeCase{"First",
                             std::numeric_limits<std::int64_t>::min(),
                             "1677-09-21T00:12:43.145224192Z"}),
    [](const auto& test) { return String(test.param.name); });

TEST(TraceLine, HoldsNoControlCharacter) {
  const TraceMessage message{0, 2, "F\x1b", std::string_view("a\nb\0c\x7f\\x\xc3\xa9", 10)};
  EXPECT_EQ(traceLine(message, TraceTime::hidden), "2 F\\x1b: a\\x0ab\\x00c\\x7f\\x\xc3\xa9\n");
}

}  // namespace
}  // namespace Routing
