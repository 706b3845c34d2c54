#include <gtest/gtest.h>

#include <compare>
#include <set>
#include <string>
#include <vector>

#include "platform/entity/Exceptions.h"
#include "platform/entity/ValueParser.h"
#include "resolver/NexthopResolverLocal.h"
#include "tests/support/Addresses.h"

namespace Routing {
namespace {

using Support::addr;
using Key = NexthopResolverClientNexthopKey;

constexpr std::uint32_t seed = 7;

// The same 16 address bytes as IPv4 10.0.0.1.
const IpGenAddr ipv6Twin = IpGenAddr::ipv6(addr("10.0.0.1").words());

TEST(ClientNexthopKey, ADefaultKeyIsEmptyAndUnset) {
  const Key key;
  EXPECT_EQ(key.clientName(), "");
  EXPECT_EQ(key.nexthop(), IpGenAddr());
}

TEST(ClientNexthopKey, KeepsItsNameAndNexthop) {
  const Key key("bgp", addr("10.0.0.1"));
  EXPECT_EQ(key.clientName(), "bgp");
  EXPECT_EQ(key.nexthop(), addr("10.0.0.1"));
}

TEST(ClientNexthopKey, OnlyTheDefaultKeyIsFalse) {
  EXPECT_FALSE(Key());
  EXPECT_FALSE(Key("", IpGenAddr()));
  EXPECT_TRUE(Key("a", IpGenAddr()));
  EXPECT_TRUE(Key("", addr("10.0.0.1")));
  EXPECT_TRUE(Key("", addr("0.0.0.0")));
  EXPECT_TRUE(Key("", addr("::")));
}

TEST(ClientNexthopKey, EqualityTakesTheNameAndTheWholeNexthop) {
  const Key key("bgp", addr("10.0.0.1"));
  EXPECT_TRUE(key.isEq(key));
  EXPECT_TRUE(key.isEq(Key("bgp", addr("10.0.0.1"))));
  EXPECT_TRUE(key == Key("bgp", addr("10.0.0.1")));
  EXPECT_FALSE(key.isEq(Key("ospf", addr("10.0.0.1"))));
  EXPECT_FALSE(key.isEq(Key("bgp", addr("10.0.0.2"))));
  EXPECT_TRUE(key != Key("bgp", addr("10.0.0.2")));
}

TEST(ClientNexthopKey, TheHashOfItsPartsIsItsHash) {
  for (const char* name : {"", "bgp", "a name that is longer than what fits beside the length"}) {
    for (const char* text : {"10.0.0.1", "0.0.0.0", "2001:db8::1", "::"}) {
      const Key key(name, addr(text));
      EXPECT_EQ(Key::hashOfParts(name, addr(text), seed), key.hash(seed));
      EXPECT_EQ(Key::hashOfParts(name, addr(text)), hashOf(key));
    }
  }
  EXPECT_NE(Key::hashOfParts("bgp", addr("10.0.0.1")), Key::hashOfParts("bgp", addr("10.0.0.2")));
  EXPECT_NE(Key::hashOfParts("bgp", addr("::1")), Key::hashOfParts("bgp", addr("::1:0:0:0")));
}

TEST(ClientNexthopKey, KeysThatDifferOnlyInFamilyHashAlikeAndAreNotEqual) {
  const Key ipv4("bgp", addr("10.0.0.1"));
  const Key ipv6("bgp", ipv6Twin);
  EXPECT_EQ(ipv4.hash(seed), ipv6.hash(seed));
  EXPECT_FALSE(ipv4.isEq(ipv6));
  EXPECT_EQ(Key("bgp", IpGenAddr()).hash(seed), Key("bgp", addr("0.0.0.0")).hash(seed));
  EXPECT_EQ(Key("bgp", addr("::")).hash(seed), Key("bgp", addr("0.0.0.0")).hash(seed));
}

TEST(ClientNexthopKey, EqualKeysHashAlikeWithTheSameSeed) {
  EXPECT_EQ(Key("bgp", addr("10.0.0.1")).hash(seed), Key("bgp", addr("10.0.0.1")).hash(seed));
}

TEST(ClientNexthopKey, TheHashTakesTheSeedTheNameAndTheAddress) {
  const Key key("bgp", addr("10.0.0.1"));
  EXPECT_NE(key.hash(seed), key.hash(seed + 1));
  EXPECT_NE(key.hash(seed), Key("bgq", addr("10.0.0.1")).hash(seed));
  EXPECT_NE(key.hash(seed), Key("bgp", addr("10.0.0.2")).hash(seed));
  EXPECT_NE(Key("bgp", addr("2001:db8::1")).hash(seed),
            Key("bgp", addr("2001:db8:0:1::1")).hash(seed));
}

TEST(ClientNexthopKey, NeighbouringKeysSpreadOverTheHash) {
  std::set<std::uint32_t> hashes;
  for (std::uint32_t client = 0; client < 4; ++client) {
    for (std::uint32_t host = 0; host < 1000; ++host) {
      hashes.insert(
          Key("c" + std::to_string(client), IpGenAddr::ipv4(0x0a000000 + host)).hash(seed));
    }
  }
  // 4000 draws out of 2^32 hold two equal ones about once in 540.
  EXPECT_GE(hashes.size(), 3998U);
}

TEST(ClientNexthopKey, TheNameDecidesBeforeTheAddress) {
  EXPECT_LT(Key("a", addr("10.0.0.2")), Key("b", addr("10.0.0.1")));
  EXPECT_GT(Key("b", addr("10.0.0.1")), Key("a", addr("10.0.0.2")));
}

TEST(ClientNexthopKey, OnEqualNamesTheNexthopsDecide) {
  EXPECT_LT(Key("a", addr("10.0.0.1")), Key("a", addr("10.0.0.2")));
  EXPECT_GT(Key("a", addr("10.0.0.2")), Key("a", addr("10.0.0.1")));
  EXPECT_LT(Key("a", addr("255.255.255.255")), Key("a", addr("::")));
}

TEST(ClientNexthopKey, AKeyComparesEqualToItselfAndToItsLike) {
  const Key key("a", addr("10.0.0.1"));
  EXPECT_EQ(key <=> key, std::strong_ordering::equal);
  EXPECT_EQ(key <=> Key("a", addr("10.0.0.1")), std::strong_ordering::equal);
}

TEST(ClientNexthopKey, NamesCompareByUnsignedBytesAndShorterFirst) {
  EXPECT_LT(Key("a", IpGenAddr()), Key("\xc3\xa4", IpGenAddr()));
  EXPECT_LT(Key("Z", IpGenAddr()), Key("a", IpGenAddr()));
  EXPECT_LT(Key("ab", IpGenAddr()), Key("abc", IpGenAddr()));
  EXPECT_LT(Key("", IpGenAddr()), Key("a", IpGenAddr()));
}

TEST(ClientNexthopKey, StringValueNamesBothFieldsAndNothingElse) {
  EXPECT_EQ(Key("c1", addr("10.0.0.1")).stringValue(), "clientName=c1 nexthop=10.0.0.1");
}

TEST(ClientNexthopKey, StringValueOfAnIpv6KeyPrintsItsIpv6Form) {
  EXPECT_EQ(Key("c1", addr("2001:0db8:0000::1")).stringValue(),
            "clientName=c1 nexthop=2001:db8::1");
}

TEST(ClientNexthopKey, ReadsBackWhatItPrints) {
  for (const Key& key :
       {Key("c1", addr("10.0.0.1")), Key("c2", addr("2001:db8::1")), Key("", addr("0.0.0.0"))}) {
    EXPECT_EQ(strepToValue<Key>(key.stringValue()), key) << key.stringValue();
  }
}

TEST(ClientNexthopKey, ReadsANameWithBlanksInQuotes) {
  EXPECT_EQ(strepToValue<Key>("clientName=\"a b\" nexthop=10.0.0.1"), Key("a b", addr("10.0.0.1")));
}

struct BadText {
  const char* name;
  const char* text;
  const char* attribute;
  std::size_t position;
};

class ClientNexthopKeyErrors : public testing::TestWithParam<BadText> {};

TEST_P(ClientNexthopKeyErrors, NameTheTypeTheAttributeAndThePosition) {
  try {
    const Key key = strepToValue<Key>(GetParam().text);
    FAIL() << "read as " << key.stringValue();
  } catch (const DeserialisationError& error) {
    EXPECT_EQ(error.type(), "Routing::NexthopResolverClientNexthopKey");
    EXPECT_EQ(error.attribute(), GetParam().attribute);
    EXPECT_EQ(error.position(), GetParam().position);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Texts,
    ClientNexthopKeyErrors,
    testing::Values(BadText{"ABadAddress", "clientName=c1 nexthop=10.0.0", "nexthop", 22},
                    BadText{"NoAddress", "clientName=c1 nexthop=", "nexthop", 22},
                    BadText{"APrefix", "clientName=c1 nexthop=10.0.0.1/32", "nexthop", 22},
                    BadText{"TextLeftOver", "clientName=c1 nexthop=10.0.0.1 x", "", 30},
                    BadText{"ABlankLeftOver", "clientName=c1 nexthop=10.0.0.1 ", "", 30},
                    BadText{"NoNexthop", "clientName=c1", "nexthop", 13},
                    BadText{"TwoBlanks", "clientName=c1  nexthop=10.0.0.1", "nexthop", 14},
                    BadText{"AnotherSecondName", "clientName=c1 hop=10.0.0.1", "nexthop", 14},
                    BadText{"AnotherFirstName", "name=c1 nexthop=10.0.0.1", "clientName", 0},
                    BadText{"TheOtherOrder", "nexthop=10.0.0.1 clientName=c1", "clientName", 0},
                    BadText{"AnOpenQuote", "clientName=\"c1 nexthop=10.0.0.1", "clientName", 11},
                    BadText{"NoText", "", "clientName", 0}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace Routing
