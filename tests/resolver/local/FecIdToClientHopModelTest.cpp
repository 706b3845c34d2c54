// The index beside a map from key to FEC, under random operations: after each one both tell the
// same, and what was published is what changed.

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>

#include "resolver/NexthopResolverLocal.h"
#include "tests/support/Seed.h"
#include "tests/support/Watcher.h"

namespace Routing {
namespace {

using Support::keyOf;
using Name = std::pair<String, IpGenAddr>;
using Model = std::map<Name, FecId>;

constexpr FecId fecs = 6;

class IndexBesideModel {
 public:
  explicit IndexBesideModel(std::uint64_t seed) : random_(seed) {}

  void step() {
    const Model before = model_;
    const Name name{"c" + std::to_string(draw(3)), IpGenAddr::ipv4(0x0a000000 + draw(5))};
    const FecId fecId = 1 + draw(fecs);
    const auto known = model_.find(name);
    switch (draw(4)) {
      case 0:
        index_->deleteReferenceForClientNexthop(name.first, name.second);
        model_.erase(name);
        break;
      case 1:
        if (known != model_.end()) {
          index_->deleteReference(known->second, name.first, name.second);
          model_.erase(known);
        }
        break;
      case 2:
        // Less often, so that the index fills up in between.
        if (draw(8) == 0 && referenced(model_).count(fecId) != 0) {
          index_->deleteReferenceForFecId(fecId);
          std::erase_if(model_, [fecId](const auto& entry) { return entry.second == fecId; });
        }
        break;
      default:
        index_->addReference(fecId, name.first, name.second);
        model_[name] = fecId;
    }
    check(before);
  }

 private:
  std::uint32_t draw(std::uint64_t below) { return static_cast<std::uint32_t>(random_() % below); }
  static std::set<FecId> referenced(const Model& model) {
    std::set<FecId> fecIds;
    for (const auto& [name, fecId] : model) {
      fecIds.insert(fecId);
    }
    return fecIds;
  }

  // Both directions of the index, and the FECs whose presence was published.
  void check(const Model& before) {
    Model byKey;
    for (auto cursor = index_->clientNexthopToFecId().cursor(); !cursor.atEnd(); cursor.next()) {
      byKey[{cursor.key().clientName(), cursor.key().nexthop()}] = cursor.member().value;
    }
    EXPECT_EQ(byKey, model_);
    EXPECT_EQ(byFec(), model_);
    std::set<FecId> changed;
    for (FecId fecId = 1; fecId <= fecs; ++fecId) {
      if (referenced(before).count(fecId) != referenced(model_).count(fecId)) {
        changed.insert(fecId);
      }
    }
    EXPECT_EQ(std::exchange(published_, {}), std::multiset<FecId>(changed.begin(), changed.end()));
  }
  Model byFec() const {
    Model references;
    for (auto fec = index_->fecIdRef().cursor(); !fec.atEnd(); fec.next()) {
      EXPECT_FALSE(fec.member().value->clientRef().empty());
      for (auto client = fec.member().value->clientRef().cursor(); !client.atEnd(); client.next()) {
        EXPECT_FALSE(client.member().value->nexthopRef().empty());
        for (auto nexthop = client.member().value->nexthopRef().cursor(); !nexthop.atEnd();
             nexthop.next()) {
          EXPECT_TRUE(references.emplace(Name{client.key(), nexthop.key()}, fec.key()).second);
        }
      }
    }
    return references;
  }

  std::mt19937_64 random_;
  Model model_;
  std::multiset<FecId> published_;
  Ptr<FecIdToClientHop> index_ = fecIdToClientHopFactory("v1");
  Support::Watcher watcher_{*index_, [this](FieldId field, const void* key) {
                              if (field == FecIdToClientHop::fecIdRefField) {
                                published_.insert(keyOf<FecId>(key));
                              }
                            }};
};

TEST(FecIdToClientHopModel, TellsTheSameAsAMapAfterEveryOperation) {
  const std::uint64_t seed = Support::seed();
  const Support::SeedTrace trace(seed);
  IndexBesideModel index(seed);
  for (int step = 0; step < 5000 && !testing::Test::HasFailure(); ++step) {
    SCOPED_TRACE(step);
    index.step();
  }
}

}  // namespace
}  // namespace Routing
