// The index and its records hold themselves while they work: whoever is notified may drop the last
// hold of another. And they take what names a reference from the very record that goes with it.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "resolver/NexthopResolverLocal.h"
#include "tests/support/Addresses.h"
#include "tests/support/EventLog.h"
#include "tests/support/Watcher.h"

namespace Routing {
namespace {

using Support::addr;
using Support::Events;
using Support::Watcher;

struct Story {
  const char* name;
  std::function<void(FecIdToClientHop&)> run;
};

// Runs the story on an index that has two references to FEC 12 and one to FEC 13, and drops the
// last hold on it at its first notification of the field.
void dropAtFirst(FieldId dropAt, const Story& story) {
  Ptr<FecIdToClientHop> references = fecIdToClientHopFactory("v1");
  references->addReference(12, "bgp", addr("10.0.0.1"));
  references->addReference(12, "ospf", addr("10.0.0.1"));
  references->addReference(13, "bgp", addr("10.0.0.3"));
  const TypeData& type = references->typeData();
  const Watcher watcher(*references, [&](FieldId field, const void* /*key*/) {
    if (field == dropAt) {
      references = nullptr;
    }
  });
  story.run(*references);
  EXPECT_EQ(references, nullptr) << "the story publishes";
  EXPECT_EQ(type.live(), 0U);
  EXPECT_FALSE(watcher.subscribed());
}

class IndexReleasedInside : public testing::TestWithParam<Story> {};

TEST_P(IndexReleasedInside, ANotificationOfAFecCompletesTheOperation) {
  dropAtFirst(FecIdToClientHop::fecIdRefField, GetParam());
}

TEST_P(IndexReleasedInside, ANotificationOfAKeyCompletesTheOperation) {
  dropAtFirst(FecIdToClientHop::clientNexthopToFecIdField, GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Stories,
    IndexReleasedInside,
    testing::Values(
        Story{"AddReference", [](auto& index) { index.addReference(14, "bgp", addr("10.0.0.9")); }},
        Story{"Move", [](auto& index) { index.addReference(14, "bgp", addr("10.0.0.3")); }},
        Story{"DeleteReference",
              [](auto& index) { index.deleteReference(13, "bgp", addr("10.0.0.3")); }},
        Story{"DeleteReferenceForClientNexthop",
              [](auto& index) { index.deleteReferenceForClientNexthop("bgp", addr("10.0.0.3")); }},
        Story{"DeleteReferenceForFecId", [](auto& index) { index.deleteReferenceForFecId(12); }}),
    [](const auto& test) { return test.param.name; });

TEST(RecordReleasedInside, ItsClientsNotificationCompletesTheUpdate) {
  for (const bool add : {true, false}) {
    Ptr<NexthopResolverFecIdRef> record = makeEntity<NexthopResolverFecIdRef>(FecId{12});
    record->updateClientRef("bgp", addr("10.0.0.1"), true);
    const TypeData& type = record->typeData();
    const Watcher watcher(*record, [&](FieldId, const void*) { record = nullptr; });
    record->updateClientRef(add ? "ospf" : "bgp", addr("10.0.0.1"), add);
    EXPECT_EQ(type.live(), 0U) << add;
  }
}

TEST(RecordReleasedInside, RemovingAllClientsEndsWithTheRecord) {
  Ptr<NexthopResolverFecIdRef> record = makeEntity<NexthopResolverFecIdRef>(FecId{12});
  record->clientRefIs("bgp");
  record->clientRefIs("ospf");
  Support::EventLog log;
  const Watcher watcher(*record, [&](FieldId, const void* key) {
    log.add(Support::keyOf<String>(key));
    record = nullptr;
  });
  record->clientRefDelAll();
  EXPECT_EQ(log.take(), (Events{"bgp", "ospf"}));
}

TEST(RecordReleasedInside, ANameThatBelongsToTheRecordThatGoesIsReadToTheEnd) {
  const auto record = makeEntity<NexthopResolverFecIdRef>(FecId{12});
  record->updateClientRef("a client with a long name", addr("10.0.0.1"), true);
  Support::EventLog log;
  const Watcher watcher(*record,
                        [&](FieldId, const void* key) { log.add(Support::keyOf<String>(key)); });
  const String& name = record->clientRef().find("a client with a long name")->key;
  record->updateClientRef(name, addr("10.0.0.1"), false);
  EXPECT_EQ(log.take(), (Events{"a client with a long name"}));
}

TEST(RecordReleasedInside, AnAddressThatBelongsToTheSetThatGoesIsReadToTheEnd) {
  const auto references = fecIdToClientHopFactory("v1");
  references->addReference(12, "a client with a long name", addr("10.0.0.1"));
  const auto* client = references->fecIdRef(12)->clientRef().find("a client with a long name");
  references->deleteReferenceForClientNexthop(client->key,
                                              *client->value->nexthopRef().find(addr("10.0.0.1")));
  EXPECT_TRUE(references->clientNexthopToFecId().empty());
  EXPECT_TRUE(references->fecIdRef().empty());
}

// Either operation that removes one reference to FEC 12, given name and address as they are.
struct Removal {
  const char* name;
  std::function<void(FecIdToClientHop&, const String&, const IpGenAddr&)> run;
};

class ReferenceNamedByItsRecord : public testing::TestWithParam<Removal> {
 protected:
  static constexpr std::uint32_t most = 20;

  // Every other one first: when a table closes its holes then, one that stays comes to stand where
  // the one that goes did.
  static std::vector<std::uint32_t> removalOrder(std::uint32_t count) {
    std::vector<std::uint32_t> order;
    for (const std::uint32_t first : {1U, 0U}) {
      for (std::uint32_t i = first; i < count; i += 2) {
        order.push_back(i);
      }
    }
    return order;
  }
  // References FEC 12 under each key and removes them again, expecting that each goes alone.
  static void removeEach(const std::vector<NexthopResolverClientNexthopKey>& keys) {
    const auto references = fecIdToClientHopFactory("v1");
    for (const auto& key : keys) {
      references->addReference(12, key.clientName(), key.nexthop());
    }
    std::size_t left = keys.size();
    for (const std::uint32_t i : removalOrder(static_cast<std::uint32_t>(keys.size()))) {
      const auto* const client = references->fecIdRef(12)->clientRef().find(keys[i].clientName());
      const IpGenAddr* const nexthop = client->value->nexthopRef().find(keys[i].nexthop());
      GetParam().run(*references, client->key, *nexthop);
      --left;
      EXPECT_FALSE(references->clientNexthopToFecIdHas(keys[i])) << i << " of " << keys.size();
      EXPECT_EQ(references->clientNexthopToFecId().size(), left) << i << " of " << keys.size();
    }
    EXPECT_TRUE(references->fecIdRef().empty());
  }
};

TEST_P(ReferenceNamedByItsRecord, GoesAloneThoughAnotherAddressTakesThePlaceOfItsOwn) {
  std::vector<NexthopResolverClientNexthopKey> keys;
  while (keys.size() < most) {
    keys.emplace_back("bgp", IpGenAddr::ipv4(static_cast<std::uint32_t>(0x0a000001 + keys.size())));
    removeEach(keys);
  }
}

TEST_P(ReferenceNamedByItsRecord, GoesAloneThoughAnotherNameTakesThePlaceOfItsOwn) {
  std::vector<NexthopResolverClientNexthopKey> keys;
  while (keys.size() < most) {
    keys.emplace_back("client " + std::to_string(keys.size()), addr("10.0.0.1"));
    removeEach(keys);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Removals,
    ReferenceNamedByItsRecord,
    testing::Values(Removal{"DeleteReference",
                            [](auto& index, const auto& client, const auto& nexthop) {
                              index.deleteReference(12, client, nexthop);
                            }},
                    Removal{"DeleteReferenceForClientNexthop",
                            [](auto& index, const auto& client, const auto& nexthop) {
                              index.deleteReferenceForClientNexthop(client, nexthop);
                            }}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace Routing
