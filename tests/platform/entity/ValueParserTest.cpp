#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "platform/entity/ValueParser.h"

namespace Routing {
namespace {

// A value with attributes of three kinds.
struct Endpoint {
  static constexpr std::string_view typeName = "Routing::Endpoint";

  explicit Endpoint(StrepReader& reader) : name(reader.attribute<std::string>("name")) {
    reader.separator("port");
    port = reader.attribute<std::uint16_t>("port");
    reader.separator("up");
    up = reader.attribute<bool>("up");
  }

  std::string name;
  std::uint16_t port = 0;
  bool up = false;
};

std::string read(std::string_view text) {
  const auto endpoint = strepToValue<Endpoint>(text);
  return "[" + endpoint.name + "] " + std::to_string(endpoint.port) +
         (endpoint.up ? " up" : " down");
}

// "TYPE|ATTRIBUTE|POSITION" of the error that the text gives.
template <class T>
std::string errorOf(std::string_view text) {
  try {
    strepToValue<T>(text);
  } catch (const DeserialisationError& error) {
    return error.type() + "|" + error.attribute() + "|" + std::to_string(error.position());
  }
  return "none";
}

TEST(ValueParser, UnsignedNumbersAreDecimalOrHexadecimal) {
  EXPECT_EQ(strepToValue<std::uint64_t>("0"), 0U);
  EXPECT_EQ(strepToValue<std::uint64_t>("18446744073709551615"), 18446744073709551615U);
  EXPECT_EQ(strepToValue<std::uint64_t>("0x1f"), 31U);
  EXPECT_EQ(strepToValue<std::uint64_t>("0XFF"), 255U);
  EXPECT_EQ(strepToValue<std::uint32_t>("4294967295"), 4294967295U);
  EXPECT_EQ(strepToValue<std::uint8_t>("255"), 255U);
}

struct Text {
  const char* name;
  const char* text;
};

class BadNumber : public testing::TestWithParam<Text> {};

TEST_P(BadNumber, IsAnErrorThatNamesTheText) {
  EXPECT_EQ(errorOf<std::uint8_t>(GetParam().text), "value|" + std::string(GetParam().text) + "|0");
}

constexpr auto nameOfRow = [](const auto& row) { return std::string(row.param.name); };

INSTANTIATE_TEST_SUITE_P(Texts,
                         BadNumber,
                         testing::Values(Text{"Empty", ""},
                                         Text{"Blank", " "},
                                         Text{"TooLarge", "256"},
                                         Text{"HexadecimalTooLarge", "0x100"},
                                         Text{"Minus", "-1"},
                                         Text{"Plus", "+1"},
                                         Text{"TrailingBlank", "1 "},
                                         Text{"LeadingBlank", " 1"},
                                         Text{"Fraction", "1.0"},
                                         Text{"NoHexadecimalDigits", "0x"},
                                         Text{"NoLeadingZero", "x1"},
                                         Text{"TwoHexadecimalMarks", "0x0x1"},
                                         Text{"HexadecimalMinus", "0x-1"},
                                         Text{"Word", "ten"},
                                         Text{"Exponent", "1e2"}),
                         nameOfRow);

TEST(ValueParser, BooleansAreTrueOrFalse) {
  EXPECT_TRUE(strepToValue<bool>("true"));
  EXPECT_FALSE(strepToValue<bool>("false"));
  for (const char* text : {"", "1", "True", "yes", "true "}) {
    EXPECT_EQ(errorOf<bool>(text), "value|" + std::string(text) + "|0");
  }
}

TEST(ValueParser, TextStandsAsItIs) {
  EXPECT_EQ(strepToValue<std::string>(""), "");
  EXPECT_EQ(strepToValue<std::string>(" a \"b\" "), " a \"b\" ");
}

TEST(StrepReader, ReadsAttributesInOrder) {
  EXPECT_EQ(read("name=et1 port=8080 up=true"), "[et1] 8080 up");
  EXPECT_EQ(read("name=et1 port=0x10 up=false"), "[et1] 16 down");
}

TEST(StrepReader, AnEmptyTextAttributeIsEmpty) {
  EXPECT_EQ(read("name= port=1 up=true"), "[] 1 up");
  EXPECT_EQ(read("name=\"\" port=1 up=true"), "[] 1 up");
}

TEST(StrepReader, QuotedTextMayHoldBlanksQuotesAndBackslashes) {
  EXPECT_EQ(read(R"(name="et 1 port=9" port=1 up=true)"), "[et 1 port=9] 1 up");
  EXPECT_EQ(read(R"(name="a \"b\" \\ \c" port=1 up=true)"), R"([a "b" \ c] 1 up)");
}

TEST(StrepReader, AQuoteInsideOfATextIsPartOfIt) {
  EXPECT_EQ(read(R"(name=a"b" port=1 up=true)"), R"([a"b"] 1 up)");
}

TEST(StrepReader, AnEqualsSignInsideOfATextIsPartOfIt) {
  EXPECT_EQ(read("name=a=b port=1 up=true"), "[a=b] 1 up");
}

struct BadText {
  const char* name;
  const char* text;
  const char* error;
};

class StrepReaderError : public testing::TestWithParam<BadText> {};

TEST_P(StrepReaderError, NamesTypeAttributeAndPosition) {
  EXPECT_EQ(errorOf<Endpoint>(GetParam().text), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Texts,
    StrepReaderError,
    testing::Values(
        BadText{"Empty", "", "Routing::Endpoint|name|0"},
        BadText{"NameAlone", "name", "Routing::Endpoint|name|0"},
        BadText{"OtherAttribute", "nome=et1 port=1 up=true", "Routing::Endpoint|name|0"},
        BadText{"LongerAttribute", "names=et1 port=1 up=true", "Routing::Endpoint|name|0"},
        BadText{"LeadingBlank", " name=et1 port=1 up=true", "Routing::Endpoint|name|0"},
        BadText{"BlankBeforeEquals", "name =et1 port=1 up=true", "Routing::Endpoint|name|0"},
        BadText{"OpenQuote", "name=\"et1 port=1 up=true", "Routing::Endpoint|name|5"},
        BadText{"QuoteEndsInBackslash", "name=\"et1\\", "Routing::Endpoint|name|5"},
        BadText{"EscapedClosingQuote", "name=\"et1\\\" port=1", "Routing::Endpoint|name|5"},
        BadText{"TextAfterQuote", "name=\"et1\"x port=1 up=true", "Routing::Endpoint|port|10"},
        BadText{"NoSecond", "name=et1", "Routing::Endpoint|port|8"},
        BadText{"BlankThenNothing", "name=et1 ", "Routing::Endpoint|port|9"},
        BadText{"TwoBlanks", "name=et1  port=1 up=true", "Routing::Endpoint|port|9"},
        BadText{"OtherSecond", "name=et1 part=1 up=true", "Routing::Endpoint|port|9"},
        BadText{"EmptyNumber", "name=et1 port= up=true", "Routing::Endpoint|port|14"},
        BadText{"NumberTooLarge", "name=et1 port=65536 up=true", "Routing::Endpoint|port|14"},
        BadText{"NoNumber", "name=et1 port=x1 up=true", "Routing::Endpoint|port|14"},
        BadText{"BadBool", "name=et1 port=1 up=yes", "Routing::Endpoint|up|19"},
        BadText{"TrailingBlank", "name=et1 port=1 up=true ", "Routing::Endpoint||23"},
        BadText{"TrailingText", "name=et1 port=1 up=true x", "Routing::Endpoint||23"}),
    nameOfRow);

}  // namespace
}  // namespace Routing
