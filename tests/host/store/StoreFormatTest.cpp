// The layout of keys and values.

#include <gtest/gtest.h>

#include <string>

#include "host/store/Lmdb.h"
#include "host/store/StoreFormat.h"

namespace Routing::Host {
namespace {

using namespace StoreFormat;
using namespace std::string_literals;

NexthopStatusEntry entryOf(const char* addr, const char* prefix) {
  NexthopStatusEntry entry;
  entry.addr = *IpGenAddr::parse(addr);
  entry.fecId = 0x0102030405060708;
  entry.metric = 0xfedcba98;
  entry.preference = 200;
  entry.routeType = 3;
  entry.route6Type = 4;
  entry.resolutionState = NexthopResolutionState::resolved;
  if (prefix != nullptr) {
    entry.prefix = *IpGenPrefix::parse(prefix);
  }
  return entry;
}

TEST(StoreFormat, AStatusEntryComesBackWhole) {
  for (const NexthopStatusEntry& entry : {entryOf("10.1.2.3", "10.0.0.0/8"),
                                          entryOf("10.1.2.3", "0.0.0.0/0"),
                                          entryOf("10.1.2.3", nullptr),
                                          entryOf("2001:db8::1", "2001:db8::/32"),
                                          entryOf("2001:db8::1", "2001:db8::1/128")}) {
    std::string value;
    statusValue(entry, value);
    EXPECT_EQ(statusOf(entry.addr, value), entry) << entry.stringValue();
  }
}

TEST(StoreFormat, AStatusEntryCutShortOrTooLongIsRefused) {
  std::string value;
  const NexthopStatusEntry entry = entryOf("10.1.2.3", "10.0.0.0/8");
  statusValue(entry, value);
  for (std::size_t size = 0; size < value.size(); ++size) {
    EXPECT_FALSE(statusOf(entry.addr, value.substr(0, size))) << size;
  }
  EXPECT_FALSE(statusOf(entry.addr, value + "x"));
}

TEST(StoreFormat, APrefixLongerThanItsFamilyIsRefused) {
  std::string value;
  const NexthopStatusEntry entry = entryOf("10.1.2.3", "10.0.0.0/8");
  statusValue(entry, value);
  value[value.size() - 5] = 33;
  EXPECT_FALSE(statusOf(entry.addr, value));
}

TEST(StoreFormat, AForwardingRecordComesBackWithItsViasInOrder) {
  NexthopResolverIdVia record(ResolverId(0x0300000000000004));
  for (std::uint32_t index = 0; index < 3; ++index) {
    NexthopResolverVia via(IntfId{index + 1},
                           *IpGenAddr::parse(index == 1 ? "fe80::1" : "10.0.0.1"));
    via.weightIs(index + 10);
    via.beyondBoundaryIs(index == 2);
    MplsLabelAndAction label;
    label.labelIs(16 + index);
    label.actionIs(2);
    via.mplsLabelAndActionIs(label);
    record.nexthopResolverViaIs(via);
  }
  record.nexthopResolverViaIs(NexthopResolverVia(IntfId{9}, IpGenAddr()));
  std::string value;
  forwardingValue(record, value);
  EXPECT_EQ(forwardingOf(record.resolverId(), value), record);
  EXPECT_FALSE(forwardingOf(record.resolverId(), value.substr(0, value.size() - 1)));
}

TEST(StoreFormat, AForwardingRecordWithoutViasComesBackEmpty) {
  std::string value = "left over";
  forwardingValue(NexthopResolverIdVia(ResolverId(4)), value);
  EXPECT_EQ(forwardingOf(ResolverId(4), value), NexthopResolverIdVia(ResolverId(4)));
}

TEST(StoreFormat, AValueIsBelievedUnderItsOwnKeyAlone) {
  std::string sealed;
  seal("key", "value", sealed);
  EXPECT_EQ(unseal("key", sealed), "value");
  EXPECT_FALSE(unseal("kez", sealed));
  EXPECT_FALSE(unseal("key", "abc"));
  for (std::size_t bit = 0; bit < sealed.size() * 8; ++bit) {
    std::string damaged = sealed;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
    EXPECT_FALSE(unseal("key", damaged)) << bit;
  }
}

TEST(StoreFormat, AKeyOfAClientIsTakenApart) {
  std::string key = nameKey("bgp", "red");
  EXPECT_EQ(key, "bgp\0red"s);
  EXPECT_EQ(clientKey(key)->client, "bgp");
  EXPECT_EQ(clientKey(key)->vrf, "red");
  EXPECT_FALSE(clientKey(key)->addr);
  EXPECT_FALSE(clientKey("bgp")->vrf);
  key.push_back('\0');
  appendAddress(*IpGenAddr::parse("10.1.0.3"), key);
  EXPECT_EQ(key, "bgp\0red\0\1\x0a\1\0\3"s);
  EXPECT_EQ(clientKey(key)->addr, IpGenAddr::parse("10.1.0.3"));
}

TEST(StoreFormat, AKeyThatIsNoneOfTheLayoutIsRefused) {
  for (const std::string& key : {""s,
                                 "\0red"s,
                                 "bgp\0"s,
                                 "bgp\0\0"s,
                                 "bgp\0red\0"s,
                                 "bgp\0red\0\1\1\1\1"s,
                                 "bgp\0red\0\3\1\1\1\1"s,
                                 "bgp\0red\0\0"s,
                                 std::string(201, 'a')}) {
    EXPECT_FALSE(clientKey(key));
  }
  EXPECT_FALSE(forwardingKey("red\0\0\0\0\0\0\0\1"s));
  EXPECT_EQ(forwardingKey("red\0\0\0\0\0\0\0\1\2"s)->resolverId, ResolverId(258));
}

TEST(StoreFormat, ANameThatCannotBePartOfAKeyIsRefused) {
  EXPECT_THROW(nameKey(""), StoreError);
  EXPECT_THROW(nameKey("a\0b"s), StoreError);
  EXPECT_THROW(nameKey("bgp", std::string(201, 'a')), StoreError);
}

}  // namespace
}  // namespace Routing::Host
