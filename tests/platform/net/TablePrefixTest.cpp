// Prefix and Ip6Prefix, the keys of the route tables, in their three states.

#include <gtest/gtest.h>

#include <set>
#include <type_traits>

#include "platform/net/IpGenPrefix.h"

namespace Routing {
namespace {

static_assert(sizeof(Prefix) == 8);
static_assert(sizeof(Ip6Prefix) == 20);
static_assert(std::is_trivially_copyable_v<Prefix>);
static_assert(std::is_trivially_copyable_v<Ip6Prefix>);

IpGenPrefix prefix(std::string_view text) { return IpGenPrefix::parse(text).value(); }

TEST(Prefix, OfAnIpv4PrefixIsThatPrefix) {
  const Prefix key(prefix("10.1.2.3/16"));
  EXPECT_TRUE(key.validAsPrefix());
  EXPECT_FALSE(key.unset());
  EXPECT_EQ(key.length(), 16);
  EXPECT_EQ(key.genPrefix(), prefix("10.1.0.0/16"));
  EXPECT_EQ(key.stringValue(), "10.1.0.0/16");
}

TEST(Prefix, OfTheEmptyPrefixIsValidAndEqualToNoStoredPrefix) {
  const Prefix key{IpGenPrefix()};
  EXPECT_TRUE(key.validAsPrefix());
  EXPECT_TRUE(key.unset());
  EXPECT_EQ(key, Prefix());
  EXPECT_NE(key, Prefix(prefix("0.0.0.0/0")));
  EXPECT_EQ(key.genPrefix(), IpGenPrefix());
  EXPECT_EQ(key.stringValue(), "-");
}

TEST(Prefix, OfAnIpv6PrefixIsNotValid) {
  for (const char* text : {"::/0", "2001:db8::/32", "a01::/16"}) {
    const Prefix key(prefix(text));
    EXPECT_FALSE(key.validAsPrefix());
    EXPECT_FALSE(key.unset());
    EXPECT_EQ(key.genPrefix(), IpGenPrefix());
    EXPECT_NE(key, Prefix());
    EXPECT_NE(key, Prefix(prefix("0.0.0.0/0")));
  }
}

TEST(Ip6Prefix, OfAnIpv6PrefixIsThatPrefix) {
  const Ip6Prefix key(prefix("2001:db8:1:2:3:4:5:6/48"));
  EXPECT_TRUE(key.validAsPrefix());
  EXPECT_FALSE(key.unset());
  EXPECT_EQ(key.length(), 48);
  EXPECT_EQ(key.genPrefix(), prefix("2001:db8:1::/48"));
  EXPECT_EQ(key.stringValue(), "2001:db8:1::/48");
}

TEST(Ip6Prefix, OfTheEmptyPrefixIsValidAndEqualToNoStoredPrefix) {
  const Ip6Prefix key{IpGenPrefix()};
  EXPECT_TRUE(key.validAsPrefix());
  EXPECT_TRUE(key.unset());
  EXPECT_EQ(key, Ip6Prefix());
  EXPECT_NE(key, Ip6Prefix(prefix("::/0")));
  EXPECT_EQ(key.genPrefix(), IpGenPrefix());
  EXPECT_EQ(key.stringValue(), "-");
}

TEST(Ip6Prefix, OfAnIpv4PrefixIsNotValid) {
  for (const char* text : {"0.0.0.0/0", "10.0.0.0/8", "10.0.0.1/32"}) {
    const Ip6Prefix key(prefix(text));
    EXPECT_FALSE(key.validAsPrefix());
    EXPECT_FALSE(key.unset());
    EXPECT_EQ(key.genPrefix(), IpGenPrefix());
    EXPECT_NE(key, Ip6Prefix());
    EXPECT_NE(key, Ip6Prefix(prefix("::/0")));
  }
}

TEST(TablePrefix, AnIpv4MappedPrefixIsOfTheIpv6Table) {
  EXPECT_TRUE(Ip6Prefix(prefix("::ffff:10.0.0.0/104")).validAsPrefix());
  EXPECT_FALSE(Prefix(prefix("::ffff:10.0.0.0/104")).validAsPrefix());
}

TEST(TablePrefix, EqualityIsByAddressAndLength) {
  EXPECT_EQ(Prefix(prefix("10.1.2.3/8")), Prefix(prefix("10.0.0.0/8")));
  EXPECT_NE(Prefix(prefix("10.0.0.0/8")), Prefix(prefix("10.0.0.0/9")));
  EXPECT_NE(Prefix(prefix("10.0.0.0/8")), Prefix(prefix("11.0.0.0/8")));
  EXPECT_EQ(Ip6Prefix(prefix("2001:db8::1/32")), Ip6Prefix(prefix("2001:db8::/32")));
  EXPECT_NE(Ip6Prefix(prefix("2001:db8::/32")), Ip6Prefix(prefix("2001:db8::/33")));
  EXPECT_NE(Ip6Prefix(prefix("2001:db8::/128")), Ip6Prefix(prefix("2001:db8::1/128")));
}

template <class Key>
void expectHashesDiffer(const char* base, std::uint8_t bits) {
  const IpGenAddr address = IpGenAddr::parse(base).value();
  std::set<std::uint32_t> hashes{Key().hash(0)};
  for (std::uint8_t length = 0; length <= bits; ++length) {
    hashes.insert(Key(IpGenPrefix(address, length)).hash(0));
  }
  EXPECT_EQ(hashes.size(), bits + 2U);
  const Key key(IpGenPrefix(address, bits));
  EXPECT_NE(key.hash(0), key.hash(1));
  EXPECT_EQ(std::hash<Key>()(key), key.hash(0));
}

TEST(TablePrefix, TheHashTellsLengthsAndTheUnsetStateApart) {
  expectHashesDiffer<Prefix>("0.0.0.0", 32);
  expectHashesDiffer<Prefix>("255.255.255.255", 32);
  expectHashesDiffer<Ip6Prefix>("::", 128);
  expectHashesDiffer<Ip6Prefix>("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 128);
}

}  // namespace
}  // namespace Routing
