#include <gtest/gtest.h>

#include <limits>

#include "host/ctl/Json.h"

namespace Routing::Host {
namespace {

TEST(JsonObject, MembersStandInOrderOfAddition) {
  JsonObject object;
  object.text("b", "x").boolean("a", true).null("n").decimal("d", 1.5);
  object.array("list", std::vector<std::string>{"p", "q"}).object("o", JsonObject().number("k", 0));
  EXPECT_EQ(object.str(), R"({"b":"x","a":true,"n":null,"d":1.500,"list":["p","q"],"o":{"k":0}})");
}

TEST(JsonObject, NumbersKeepAllTheirBits) {
  EXPECT_EQ(JsonObject().number("n", std::numeric_limits<std::uint64_t>::max()).str(),
            R"({"n":18446744073709551615})");
}

TEST(JsonObject, TextIsEscaped) {
  EXPECT_EQ(JsonObject().text("t", "a\"b\\c\n\x01").str(), R"({"t":"a\"b\\c\u000a\u0001"})");
}

TEST(JsonObject, NothingToSayIsNull) {
  EXPECT_EQ(JsonObject().textOrNull("t", "").numberOrNull("n", 0).str(), R"({"t":null,"n":null})");
}

}  // namespace
}  // namespace Routing::Host
