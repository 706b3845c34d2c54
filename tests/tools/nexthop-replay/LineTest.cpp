#include <gtest/gtest.h>

#include <limits>

#include "tools/nexthop-replay/Line.h"

namespace Routing::Replay {
namespace {

TEST(Line, FieldsFollowTheWordInOrder) {
  Line line("map");
  line.word("vrf", "blue").number("fecId", 12).named("queued", 3);
  EXPECT_EQ(line.text(), "map blue 12 queued=3");
  EXPECT_EQ(line.json(), R"({"line":"map","vrf":"blue","fecId":12,"queued":3})");
}

TEST(Line, NumbersHaveAllTheir64Bits) {
  Line line("context");
  line.number("value", std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(line.text(), "context 18446744073709551615");
  EXPECT_EQ(line.json(), R"({"line":"context","value":18446744073709551615})");
}

TEST(Line, TheEmptyPrefixIsADashAndNull) {
  Line line("status");
  line.prefix(IpGenPrefix());
  EXPECT_EQ(line.text(), "status prefix=-");
  EXPECT_EQ(line.json(), R"({"line":"status","prefix":null})");
}

TEST(Line, ADefaultRouteIsAPrefixLikeAnyOther) {
  Line line("status");
  line.prefix(IpGenPrefix(IpGenAddr::ipv4(0), 0));
  EXPECT_EQ(line.text(), "status prefix=0.0.0.0/0");
  EXPECT_EQ(line.json(), R"({"line":"status","prefix":"0.0.0.0/0"})");
}

TEST(Line, ALineWithoutFieldsIsItsWord) {
  EXPECT_EQ(Line("word").text(), "word");
  EXPECT_EQ(Line("word").json(), R"({"line":"word"})");
}

TEST(Line, AGivenTextReplacesTheFieldsInTheTextAlone) {
  Line line("echo");
  line.word("text", "say it").textIs("say it");
  EXPECT_EQ(line.text(), "say it");
  EXPECT_EQ(line.json(), R"({"line":"echo","text":"say it"})");
}

TEST(Line, ControlCharactersAreEscapedInJson) {
  Line line("echo");
  line.word("text", std::string_view("a\tb\0c\x1f\x7f", 7));
  EXPECT_EQ(line.json(), "{\"line\":\"echo\",\"text\":\"a\\u0009b\\u0000c\\u001f\x7f\"}");
}

}  // namespace
}  // namespace Routing::Replay
