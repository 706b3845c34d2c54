// The index and its records hold themselves while they work: whoever is notified may drop the last
// hold of another.

#include <gtest/gtest.h>

#include <functional>
#include <string>

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

}  // namespace
}  // namespace Routing
