#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <type_traits>
#include <vector>

#include "platform/net/IpGenAddr.h"

namespace Routing {
namespace {

static_assert(sizeof(IpGenAddr) == 20);
static_assert(std::is_trivially_copyable_v<IpGenAddr>);
static_assert(std::has_unique_object_representations_v<IpGenAddr>);

IpGenAddr address(std::string_view text) { return IpGenAddr::parse(text).value(); }

TEST(IpGenAddr, FamiliesHaveTheirNumbersAndLengths) {
  EXPECT_EQ(static_cast<int>(AddressFamily::unset), 0);
  EXPECT_EQ(static_cast<int>(AddressFamily::ipv4), 1);
  EXPECT_EQ(static_cast<int>(AddressFamily::ipv6), 2);
  EXPECT_EQ(addressBits(AddressFamily::unset), 0);
  EXPECT_EQ(addressBits(AddressFamily::ipv4), 32);
  EXPECT_EQ(addressBits(AddressFamily::ipv6), 128);
}

TEST(IpGenAddr, TheDefaultIsUnsetAndNoAddressOfAnyFamily) {
  const IpGenAddr unset;
  EXPECT_FALSE(unset);
  EXPECT_EQ(unset.family(), AddressFamily::unset);
  EXPECT_EQ(unset.bytes(), IpGenAddr::Bytes{});
  EXPECT_EQ(unset.stringValue(), "none");
  EXPECT_NE(unset, address("0.0.0.0"));
  EXPECT_NE(unset, address("::"));
  EXPECT_TRUE(address("0.0.0.0"));
  EXPECT_TRUE(address("::"));
  EXPECT_NE(address("0.0.0.0"), address("::"));
}

TEST(IpGenAddr, AnIpv4AddressStandsInTheFirstWord) {
  const auto ipv4 = IpGenAddr::ipv4(0x0a000001U);
  EXPECT_EQ(ipv4, address("10.0.0.1"));
  EXPECT_EQ(ipv4.words(), (IpGenAddr::Words{0x0a000001U, 0, 0, 0}));
  EXPECT_EQ(ipv4.bytes(), (IpGenAddr::Bytes{10, 0, 0, 1}));
}

TEST(IpGenAddr, AnIpv6AddressIsTheSameOfWordsAndOfBytes) {
  const IpGenAddr::Bytes bytes{0x20, 0x01, 0x0d, 0xb8, 0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0xfe, 0xff};
  const auto ipv6 = IpGenAddr::ipv6(bytes);
  EXPECT_EQ(ipv6, address("2001:db8:1:2:3:4:5:feff"));
  EXPECT_EQ(ipv6,
            IpGenAddr::ipv6(IpGenAddr::Words{0x20010db8U, 0x00010002U, 0x00030004U, 0x0005feffU}));
  EXPECT_EQ(ipv6.bytes(), bytes);
}

TEST(IpGenAddr, OrderIsByFamilyThenByValue) {
  const std::vector<IpGenAddr> ascending{
      IpGenAddr(),
      address("0.0.0.0"),
      address("0.0.0.1"),
      address("9.255.255.255"),
      address("10.0.0.0"),
      address("127.255.255.255"),
      address("128.0.0.0"),
      address("255.255.255.255"),
      address("::"),
      address("::1"),
      address("::1:0:0"),
      address("0:0:1::"),
      address("7fff::"),
      address("8000::"),
      address("8000::1"),
      address("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"),
  };
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t j = 0; j < ascending.size(); ++j) {
      EXPECT_EQ(ascending[i] <=> ascending[j], i <=> j) << i << " " << j;
      EXPECT_EQ(ascending[i] == ascending[j], i == j) << i << " " << j;
    }
  }
}

TEST(IpGenAddr, TheHashTellsFamiliesValuesAndSeedsApart) {
  std::set<std::uint32_t> hashes;
  const std::vector<IpGenAddr> addresses{
      IpGenAddr(),
      address("0.0.0.0"),
      address("::"),
      address("10.0.0.1"),
      address("a00:1::"),
      address("::a00:1"),
      address("::1"),
      address("0:0:1::"),
      address("0:0:0:1::"),
      address("0.0.0.1"),
      address("1::"),
      address("0:1::"),
  };
  for (const IpGenAddr& each : addresses) {
    hashes.insert(each.hash(0));
  }
  EXPECT_EQ(hashes.size(), addresses.size());
  EXPECT_NE(address("10.0.0.1").hash(0), address("10.0.0.1").hash(1));
  EXPECT_EQ(address("10.0.0.1").hash(7), IpGenAddr::ipv4(0x0a000001U).hash(7));
  EXPECT_EQ(std::hash<IpGenAddr>()(address("::1")), std::hash<IpGenAddr>()(address("0::1")));
}

TEST(IpGenAddr, HashesOfNeighboursDoNotPileUp) {
  std::set<std::uint32_t> hashes;
  constexpr std::uint32_t count = 20000;
  for (std::uint32_t host = 0; host < count; ++host) {
    hashes.insert(IpGenAddr::ipv4(0x0a000000U + host).hash(0));
    hashes.insert(IpGenAddr::ipv6(IpGenAddr::Words{0x20010db8U, host, 0, 1}).hash(0));
  }
  // Of 40,000 fair throws into 32 bits about 0.2 fall together.
  EXPECT_GE(hashes.size(), 2 * count - 5);
}

}  // namespace
}  // namespace Routing
