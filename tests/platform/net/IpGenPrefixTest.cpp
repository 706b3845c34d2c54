#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/entity/Exceptions.h"
#include "platform/net/IpGenPrefix.h"
#include "tests/support/Seed.h"

namespace Routing {
namespace {

static_assert(sizeof(IpGenPrefix) == 20);
static_assert(std::is_trivially_copyable_v<IpGenPrefix>);
static_assert(std::has_unique_object_representations_v<IpGenPrefix>);

IpGenAddr address(std::string_view text) { return IpGenAddr::parse(text).value(); }
IpGenPrefix prefix(std::string_view text) { return IpGenPrefix::parse(text).value(); }

TEST(IpGenPrefix, TheDefaultIsEmptyAndNoDefaultRoute) {
  const IpGenPrefix empty;
  EXPECT_FALSE(empty);
  EXPECT_EQ(empty.family(), AddressFamily::unset);
  EXPECT_EQ(empty.length(), 0);
  EXPECT_FALSE(empty.isHost());
  EXPECT_EQ(empty.address(), IpGenAddr());
  EXPECT_EQ(empty.stringValue(), "-");
  EXPECT_NE(empty, prefix("0.0.0.0/0"));
  EXPECT_NE(empty, prefix("::/0"));
  EXPECT_EQ(empty, IpGenPrefix(IpGenAddr(), 0));
  EXPECT_EQ(empty, IpGenPrefix::host(IpGenAddr()));
}

struct Masking {
  const char* name;
  const char* text;
  const char* printed;
};

class PrefixMask : public testing::TestWithParam<Masking> {};

TEST_P(PrefixMask, ClearsHostBits) {
  EXPECT_EQ(prefix(GetParam().text).stringValue(), GetParam().printed);
  EXPECT_EQ(prefix(GetParam().text), prefix(GetParam().printed));
}

constexpr auto nameOfParam = [](const auto& param) { return std::string(param.param.name); };

INSTANTIATE_TEST_SUITE_P(
    Lengths,
    PrefixMask,
    testing::Values(Masking{"Ipv4Default", "255.255.255.255/0", "0.0.0.0/0"},
                    Masking{"Ipv4One", "255.255.255.255/1", "128.0.0.0/1"},
                    Masking{"Ipv4InsideOfAnOctet", "10.255.255.255/13", "10.248.0.0/13"},
                    Masking{"Ipv4OctetEnd", "10.1.2.3/24", "10.1.2.0/24"},
                    Masking{"Ipv4ThirtyOne", "10.1.2.3/31", "10.1.2.2/31"},
                    Masking{"Ipv4Host", "10.1.2.3/32", "10.1.2.3/32"},
                    Masking{"Ipv6Default", "ffff::ffff/0", "::/0"},
                    Masking{"Ipv6One", "ffff::/1", "8000::/1"},
                    Masking{"Ipv6BeforeAWordEnd", "ffff:ffff:ffff::/31", "ffff:fffe::/31"},
                    Masking{"Ipv6WordEnd", "ffff:ffff:ffff::/32", "ffff:ffff::/32"},
                    Masking{"Ipv6AfterAWordEnd", "ffff:ffff:ffff::/33", "ffff:ffff:8000::/33"},
                    Masking{"Ipv6Half", "1:2:3:4:5:6:7:8/64", "1:2:3:4::/64"},
                    Masking{"Ipv6LastWord", "1:2:3:4:5:6:ffff:ffff/97", "1:2:3:4:5:6:8000:0/97"},
                    Masking{"Ipv6AllButOne", "1:2:3:4:5:6:7:ffff/127", "1:2:3:4:5:6:7:fffe/127"},
                    Masking{"Ipv6Host", "1:2:3:4:5:6:7:8/128", "1:2:3:4:5:6:7:8/128"},
                    Masking{"Ipv4MappedIsIpv6", "::ffff:10.1.2.3/120", "::ffff:10.1.2.0/120"}),
    nameOfParam);

struct Refusal {
  const char* name;
  std::string_view text;
};

class BadPrefixText : public testing::TestWithParam<Refusal> {};

TEST_P(BadPrefixText, IsRefused) { EXPECT_FALSE(IpGenPrefix::parse(GetParam().text)); }

INSTANTIATE_TEST_SUITE_P(Texts,
                         BadPrefixText,
                         testing::Values(Refusal{"Empty", ""},
                                         Refusal{"Dash", "-"},
                                         Refusal{"AddressAlone", "10.0.0.0"},
                                         Refusal{"Ipv6AddressAlone", "2001:db8::"},
                                         Refusal{"LengthAlone", "/8"},
                                         Refusal{"NoLength", "10.0.0.0/"},
                                         Refusal{"SlashAlone", "/"},
                                         Refusal{"Ipv4LengthTooLarge", "10.0.0.0/33"},
                                         Refusal{"Ipv6LengthTooLarge", "2001:db8::/129"},
                                         Refusal{"LengthBeyondAByte", "10.0.0.0/256"},
                                         Refusal{"LengthWrapped", "10.0.0.0/264"},
                                         Refusal{"LeadingZero", "10.0.0.0/08"},
                                         Refusal{"TwoZeros", "0.0.0.0/00"},
                                         Refusal{"Minus", "10.0.0.0/-8"},
                                         Refusal{"Plus", "10.0.0.0/+8"},
                                         Refusal{"BlankBeforeLength", "10.0.0.0/ 8"},
                                         Refusal{"TrailingBlank", "10.0.0.0/8 "},
                                         Refusal{"LeadingBlank", " 10.0.0.0/8"},
                                         Refusal{"TwoSlashes", "10.0.0.0//8"},
                                         Refusal{"TwoLengths", "10.0.0.0/8/8"},
                                         Refusal{"Netmask", "10.0.0.0/255.0.0.0"},
                                         Refusal{"BadAddress", "10.0.0/8"},
                                         Refusal{"HexadecimalLength", "10.0.0.0/0x8"},
                                         Refusal{"TrailingNul",
                                                 std::string_view("10.0.0.0/8\0", 11)}),
                         nameOfParam);

TEST(IpGenPrefix, ALengthBeyondTheFamilysIsARangeError) {
  EXPECT_THROW(IpGenPrefix(address("10.0.0.0"), 33), RangeError);
  EXPECT_THROW(IpGenPrefix(address("10.0.0.0"), 255), RangeError);
  EXPECT_THROW(IpGenPrefix(address("::"), 129), RangeError);
  EXPECT_THROW(IpGenPrefix(IpGenAddr(), 1), RangeError);
  EXPECT_NO_THROW(IpGenPrefix(address("10.0.0.0"), 32));
  EXPECT_NO_THROW(IpGenPrefix(address("::"), 128));
}

TEST(IpGenPrefix, AHostPrefixHasTheFullLength) {
  EXPECT_EQ(IpGenPrefix::host(address("10.0.0.1")), prefix("10.0.0.1/32"));
  EXPECT_EQ(IpGenPrefix::host(address("2001:db8::1")), prefix("2001:db8::1/128"));
  EXPECT_TRUE(prefix("10.0.0.1/32").isHost());
  EXPECT_TRUE(prefix("::1/128").isHost());
  EXPECT_FALSE(prefix("10.0.0.0/31").isHost());
  EXPECT_FALSE(prefix("::/32").isHost());
}

TEST(IpGenPrefix, GivesItsAddressBack) {
  EXPECT_EQ(prefix("10.1.2.3/16").address(), address("10.1.0.0"));
  EXPECT_EQ(prefix("2001:db8::1/32").address(), address("2001:db8::"));
}

struct Containment {
  const char* name;
  IpGenPrefix outer;
  IpGenPrefix inner;
  bool contains;
};

class PrefixContains : public testing::TestWithParam<Containment> {};

TEST_P(PrefixContains, IsAsExpected) {
  EXPECT_EQ(GetParam().outer.contains(GetParam().inner), GetParam().contains);
}

INSTANTIATE_TEST_SUITE_P(
    Pairs,
    PrefixContains,
    testing::Values(
        Containment{"Itself", prefix("10.0.0.0/8"), prefix("10.0.0.0/8"), true},
        Containment{"MoreSpecific", prefix("10.0.0.0/8"), prefix("10.1.0.0/16"), true},
        Containment{"LessSpecific", prefix("10.1.0.0/16"), prefix("10.0.0.0/8"), false},
        Containment{"SameAddressShorter", prefix("10.0.0.0/16"), prefix("10.0.0.0/8"), false},
        Containment{"Neighbour", prefix("10.0.0.0/9"), prefix("10.128.0.0/9"), false},
        Containment{"HostInside", prefix("10.0.0.0/31"), prefix("10.0.0.1/32"), true},
        Containment{"HostOutside", prefix("10.0.0.0/31"), prefix("10.0.0.2/32"), false},
        Containment{"DefaultRoute", prefix("0.0.0.0/0"), prefix("255.0.0.0/8"), true},
        Containment{"Ipv6DefaultRoute", prefix("::/0"), prefix("ffff::/16"), true},
        Containment{"OtherFamily", prefix("0.0.0.0/0"), prefix("::/0"), false},
        Containment{"OtherFamilyBack", prefix("::/0"), prefix("10.0.0.0/8"), false},
        Containment{"Ipv6AcrossAWord", prefix("2001:db8::/31"), prefix("2001:db9:1::/48"), true},
        Containment{"Ipv6LastBit", prefix("2001:db8::/127"), prefix("2001:db8::2/128"), false},
        Containment{"EmptyInDefault", prefix("0.0.0.0/0"), IpGenPrefix(), false},
        Containment{"AnythingInEmpty", IpGenPrefix(), prefix("10.0.0.0/8"), false},
        Containment{"EmptyInEmpty", IpGenPrefix(), IpGenPrefix(), false}),
    nameOfParam);

TEST(IpGenPrefix, OrderIsByFamilyThenAddressThenShorterFirst) {
  const std::vector<IpGenPrefix> ascending{
      IpGenPrefix(),
      prefix("0.0.0.0/0"),
      prefix("0.0.0.0/1"),
      prefix("9.0.0.0/8"),
      prefix("10.0.0.0/8"),
      prefix("10.0.0.0/16"),
      prefix("10.0.0.0/32"),
      prefix("10.0.0.1/32"),
      prefix("10.1.0.0/16"),
      prefix("200.0.0.0/5"),
      prefix("::/0"),
      prefix("::/128"),
      prefix("::1/128"),
      prefix("0:0:1::/48"),
      prefix("2001:db8::/32"),
      prefix("2001:db8::/64"),
      prefix("8000::/1"),
  };
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t j = 0; j < ascending.size(); ++j) {
      EXPECT_EQ(ascending[i] <=> ascending[j], i <=> j) << i << " " << j;
      EXPECT_EQ(ascending[i] == ascending[j], i == j) << i << " " << j;
    }
  }
}

TEST(IpGenPrefix, TheHashTellsLengthsFamiliesAndSeedsApart) {
  std::set<std::uint32_t> hashes;
  std::size_t count = 1;
  hashes.insert(IpGenPrefix().hash(0));
  for (std::uint8_t length = 0; length <= 32; ++length, ++count) {
    hashes.insert(IpGenPrefix(address("0.0.0.0"), length).hash(0));
  }
  for (std::uint8_t length = 0; length <= 128; ++length, ++count) {
    hashes.insert(IpGenPrefix(address("::"), length).hash(0));
  }
  EXPECT_EQ(hashes.size(), count);
  EXPECT_NE(prefix("10.0.0.0/8").hash(0), prefix("10.0.0.0/8").hash(1));
  EXPECT_EQ(prefix("10.1.1.1/8").hash(5), prefix("10.0.0.0/8").hash(5));
  EXPECT_NE(std::hash<IpGenPrefix>()(prefix("10.0.0.0/8")),
            std::hash<IpGenPrefix>()(prefix("10.0.0.0/9")));
}

TEST(IpGenPrefixProperty, MaskTextAndContainmentAgreeBitByBit) {
  const std::uint64_t seed = Support::seed();
  const Support::SeedTrace trace(seed);
  std::mt19937_64 random(seed);
  const auto bitOf = [](const IpGenAddr& each, unsigned bit) {
    return each.bytes().at(bit / 8) >> (7 - bit % 8) & 1;
  };
  for (int i = 0; i < 5000; ++i) {
    const bool ipv4 = random() % 2 == 0;
    const auto word = [&random] { return static_cast<std::uint32_t>(random()); };
    const IpGenAddr base = ipv4 ? IpGenAddr::ipv4(word())
                                : IpGenAddr::ipv6(IpGenAddr::Words{word(), word(), word(), word()});
    const unsigned bits = addressBits(base.family());
    const auto length = static_cast<std::uint8_t>(random() % (bits + 1));
    const IpGenPrefix masked(base, length);
    for (unsigned bit = 0; bit < bits; ++bit) {
      ASSERT_EQ(bitOf(masked.address(), bit), bit < length ? bitOf(base, bit) : 0)
          << base.stringValue() << "/" << int{length} << " bit " << bit;
    }
    ASSERT_EQ(IpGenPrefix::parse(masked.stringValue()), masked);
    ASSERT_TRUE(masked.contains(IpGenPrefix::host(base)));
    const auto longer = static_cast<std::uint8_t>(length + random() % (bits - length + 1));
    ASSERT_TRUE(masked.contains(IpGenPrefix(base, longer)));
    ASSERT_EQ(IpGenPrefix(base, longer).contains(masked), longer == length);
  }
}

}  // namespace
}  // namespace Routing
