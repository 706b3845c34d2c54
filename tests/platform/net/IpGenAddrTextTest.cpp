// Texts of addresses: what is read, what is printed, and what is refused.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>

#include "platform/net/IpGenAddr.h"
#include "tests/support/Seed.h"

namespace Routing {
namespace {

struct Reading {
  const char* name;
  const char* text;
  const char* printed;
};

class AddressText : public testing::TestWithParam<Reading> {};

TEST_P(AddressText, IsReadAndPrintedInItsOneForm) {
  const auto address = IpGenAddr::parse(GetParam().text);
  ASSERT_TRUE(address);
  EXPECT_EQ(address->stringValue(), GetParam().printed);
  EXPECT_EQ(IpGenAddr::parse(GetParam().printed), address);
}

constexpr auto nameOfParam = [](const auto& reading) { return std::string(reading.param.name); };

INSTANTIATE_TEST_SUITE_P(Ipv4,
                         AddressText,
                         testing::Values(Reading{"Zero", "0.0.0.0", "0.0.0.0"},
                                         Reading{"Private", "10.0.0.1", "10.0.0.1"},
                                         Reading{"AllOctets", "1.22.203.9", "1.22.203.9"},
                                         Reading{"Highest", "255.255.255.255", "255.255.255.255"}),
                         nameOfParam);

INSTANTIATE_TEST_SUITE_P(
    Ipv6,
    AddressText,
    testing::Values(
        Reading{"Unspecified", "::", "::"},
        Reading{"UnspecifiedInFull", "0:0:0:0:0:0:0:0", "::"},
        Reading{"Loopback", "::1", "::1"},
        Reading{"LeadingZerosGo",
                "2001:0db8:0000:0001:0001:0001:0001:0001",
                "2001:db8:0:1:1:1:1:1"},
        Reading{"LettersAreSmall", "2001:DB8::ABCD:EF", "2001:db8::abcd:ef"},
        Reading{"LongestRunIsShortened", "2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},
        Reading{"FirstOfEqualRunsIsShortened", "2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},
        Reading{"OneZeroGroupIsNotShortened", "2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
        Reading{"OneGroupWrittenAsGap", "1:2:3::5:6:7:8", "1:2:3:0:5:6:7:8"},
        Reading{"OneGroupAtTheStartAsGap", "::2:3:4:5:6:7:8", "0:2:3:4:5:6:7:8"},
        Reading{"OneGroupAtTheEndAsGap", "1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0"},
        Reading{"RunAtTheStart", "0:0:0:4:5:6:7:8", "::4:5:6:7:8"},
        Reading{"RunAtTheEnd", "1:2:3:4:5:0:0:0", "1:2:3:4:5::"},
        Reading{"RunOfTwoAtTheEnd", "1:2:3:4:5:6:0:0", "1:2:3:4:5:6::"},
        Reading{"RunOfTwoAtTheStart", "0:0:3:4:5:6:7:8", "::3:4:5:6:7:8"},
        Reading{"ShorterRunFirst", "1:0:0:4:5:0:0:0", "1:0:0:4:5::"},
        Reading{"LinkLocal", "fe80::1", "fe80::1"},
        Reading{"NoZeros", "1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:8"},
        Reading{"Highest",
                "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff",
                "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
        Reading{"ZerosInsideOfGroups", "1001:1010:100:10:1:0:0:0", "1001:1010:100:10:1::"}),
    nameOfParam);

INSTANTIATE_TEST_SUITE_P(
    EmbeddedIpv4,
    AddressText,
    testing::Values(
        Reading{"Mapped", "::ffff:192.0.2.1", "::ffff:192.0.2.1"},
        Reading{"MappedInGroups", "::ffff:c000:201", "::ffff:192.0.2.1"},
        Reading{"MappedZero", "::ffff:0:0", "::ffff:0.0.0.0"},
        Reading{"MappedInFull", "0:0:0:0:0:FFFF:192.0.2.1", "::ffff:192.0.2.1"},
        Reading{"CompatibleIsNotMapped", "::192.0.2.1", "::c000:201"},
        Reading{"MappedIsAtThatPlaceOnly", "::ffff:0:192.0.2.1", "::ffff:0:c000:201"},
        Reading{"TranslationPrefix", "64:ff9b::192.0.2.33", "64:ff9b::c000:221"},
        Reading{"AfterSixGroups", "1:2:3:4:5:6:7.8.9.10", "1:2:3:4:5:6:708:90a"},
        Reading{"AfterFiveGroupsAndAGap", "1:2:3:4:5::7.8.9.10", "1:2:3:4:5:0:708:90a"}),
    nameOfParam);

struct Refusal {
  const char* name;
  std::string_view text;
};

class BadAddressText : public testing::TestWithParam<Refusal> {};

TEST_P(BadAddressText, IsRefused) { EXPECT_FALSE(IpGenAddr::parse(GetParam().text)); }

INSTANTIATE_TEST_SUITE_P(Ipv4,
                         BadAddressText,
                         testing::Values(Refusal{"Empty", ""},
                                         Refusal{"Blank", " "},
                                         Refusal{"Word", "none"},
                                         Refusal{"Number", "167772161"},
                                         Refusal{"OneOctet", "10"},
                                         Refusal{"ThreeOctets", "10.0.0"},
                                         Refusal{"FiveOctets", "10.0.0.1.2"},
                                         Refusal{"TrailingDot", "10.0.0.1."},
                                         Refusal{"LeadingDot", ".10.0.0.1"},
                                         Refusal{"TwoDots", "10..0.1"},
                                         Refusal{"EmptyLastOctet", "10.0.0."},
                                         Refusal{"OctetTooLarge", "10.0.0.256"},
                                         Refusal{"OctetFarTooLarge", "10.0.0.99999999999999999999"},
                                         Refusal{"LeadingZero", "10.0.0.01"},
                                         Refusal{"TwoZeros", "10.0.00.1"},
                                         Refusal{"Hexadecimal", "0x0a.0.0.1"},
                                         Refusal{"HexadecimalDigits", "a.0.0.1"},
                                         Refusal{"Minus", "10.0.0.-1"},
                                         Refusal{"Plus", "10.0.0.+1"},
                                         Refusal{"LeadingBlank", " 10.0.0.1"},
                                         Refusal{"TrailingBlank", "10.0.0.1 "},
                                         Refusal{"BlankInside", "10. 0.0.1"},
                                         Refusal{"Prefix", "10.0.0.0/8"},
                                         Refusal{"Port", "10.0.0.1:80"},
                                         Refusal{"TrailingNul", std::string_view("10.0.0.1\0", 9)},
                                         Refusal{"Newline", "10.0.0.1\n"}),
                         nameOfParam);

INSTANTIATE_TEST_SUITE_P(Ipv6,
                         BadAddressText,
                         testing::Values(Refusal{"OneColon", ":"},
                                         Refusal{"ThreeColons", ":::"},
                                         Refusal{"FourColons", "::::"},
                                         Refusal{"ThreeColonsInside", "1:::2"},
                                         Refusal{"TwoGaps", "1::2::3"},
                                         Refusal{"SevenGroups", "1:2:3:4:5:6:7"},
                                         Refusal{"NineGroups", "1:2:3:4:5:6:7:8:9"},
                                         Refusal{"EightGroupsAndAGap", "1:2:3:4::5:6:7:8"},
                                         Refusal{"EightGroupsAndAGapAtTheEnd", "1:2:3:4:5:6:7:8::"},
                                         Refusal{"EightGroupsAndAGapAtTheStart",
                                                 "::1:2:3:4:5:6:7:8"},
                                         Refusal{"LeadingColon", ":1:2:3:4:5:6:7:8"},
                                         Refusal{"LeadingColonForAGroup", ":2:3:4:5:6:7:8"},
                                         Refusal{"TrailingColon", "1:2:3:4:5:6:7:8:"},
                                         Refusal{"TrailingColonForAGroup", "1:2:3:4:5:6:7:"},
                                         Refusal{"ColonBeforeTheGap", ":1::2"},
                                         Refusal{"ColonAfterTheGap", "1::2:"},
                                         Refusal{"FiveDigits", "::12345"},
                                         Refusal{"FiveDigitsOfZero", "::00001"},
                                         Refusal{"NoHexadecimal", "::g"},
                                         Refusal{"HexadecimalPrefix", "::0x1"},
                                         Refusal{"Minus", "::-1"},
                                         Refusal{"Plus", "::+1"},
                                         Refusal{"Blank", ":: 1"},
                                         Refusal{"TrailingBlank", "::1 "},
                                         Refusal{"LeadingBlank", " ::1"},
                                         Refusal{"Zone", "fe80::1%eth0"},
                                         Refusal{"Brackets", "[::1]"},
                                         Refusal{"Prefix", "2001:db8::/32"},
                                         Refusal{"TrailingNul", std::string_view("::1\0", 4)}),
                         nameOfParam);

INSTANTIATE_TEST_SUITE_P(EmbeddedIpv4,
                         BadAddressText,
                         testing::Values(Refusal{"AfterSevenGroups", "1:2:3:4:5:6:7:1.2.3.4"},
                                         Refusal{"AfterFiveGroups", "1:2:3:4:5:1.2.3.4"},
                                         Refusal{"AfterSixGroupsAndAGap", "1:2:3:4:5:6::1.2.3.4"},
                                         Refusal{"NotLast", "::1.2.3.4:5"},
                                         Refusal{"BeforeTheGap", "1.2.3.4::"},
                                         Refusal{"First", "1.2.3.4:5:6:7:8:9:a"},
                                         Refusal{"ThreeOctets", "::1.2.3"},
                                         Refusal{"OctetTooLarge", "::ffff:1.2.3.256"},
                                         Refusal{"LeadingZero", "::ffff:1.2.3.04"},
                                         Refusal{"TrailingDot", "::ffff:1.2.3.4."},
                                         Refusal{"LoneDot", "::."}),
                         nameOfParam);

TEST(AddressTextProperty, WhatIsPrintedIsReadAsTheSameAddress) {
  const std::uint64_t seed = Support::seed();
  const Support::SeedTrace trace(seed);
  std::mt19937_64 random(seed);
  for (int i = 0; i < 20000; ++i) {
    IpGenAddr::Bytes bytes{};
    // Runs of zeros of every length and place, and small digits beside large ones.
    const std::uint64_t present = random();
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      const auto byte = static_cast<std::uint8_t>(random());
      const bool zero = (present >> (at / 2) & 1U) != 0 || (present >> (8 + at) & 1U) != 0;
      bytes.at(at) = zero ? std::uint8_t{0} : byte;
    }
    const auto ipv6 = IpGenAddr::ipv6(bytes);
    ASSERT_EQ(IpGenAddr::parse(ipv6.stringValue()), ipv6) << ipv6.stringValue();
    const auto ipv4 = IpGenAddr::ipv4(ipv6.words()[0]);
    ASSERT_EQ(IpGenAddr::parse(ipv4.stringValue()), ipv4) << ipv4.stringValue();
  }
}

TEST(AddressTextProperty, ChangedTextsAreRefusedOrReadAsWhatTheyPrint) {
  const std::uint64_t seed = Support::seed();
  const Support::SeedTrace trace(seed);
  std::mt19937_64 random(seed);
  const std::array<std::string, 4> texts{"2001:db8::ffff:1",
                                         "::ffff:192.0.2.1",
                                         "10.200.3.4",
                                         "1:2:3:4:5:6:7:8"};
  constexpr std::string_view bytes = "0123456789abcdefF:.:./ x";
  int accepted = 0;
  for (int i = 0; i < 50000; ++i) {
    std::string text = texts.at(random() % texts.size());
    for (std::uint64_t changes = 1 + random() % 3; changes > 0 && !text.empty(); --changes) {
      const std::size_t at = random() % text.size();
      if (random() % 3 == 0) {
        text.erase(at, 1);
      } else {
        text[at] = bytes[random() % bytes.size()];
      }
    }
    if (const auto address = IpGenAddr::parse(text)) {
      ++accepted;
      ASSERT_EQ(IpGenAddr::parse(address->stringValue()), address) << text;
    }
  }
  EXPECT_GT(accepted, 1000);
}

}  // namespace
}  // namespace Routing
