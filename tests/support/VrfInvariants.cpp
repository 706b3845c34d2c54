#include "tests/support/VrfInvariants.h"

#include <exception>
#include <map>
#include <string>
#include <utility>

#include "platform/task/Task.h"

namespace Routing::Support {

namespace {

using Replay::Directory;
using Replay::World;
using Key = NexthopResolverClientNexthopKey;

class Judge {
 public:
  explicit Judge(World& world) : world_(world) {}

  std::vector<String> judge() {
    for (const auto& [name, vrf] : world_.vrfs()) {
      if (vrf.manager) {
        where_ = "[" + name + "] ";
        indexIsConsistent(*vrf.manager->fecIdToClientHop());
        mapIsConsistent(*vrf.manager);
        resolversAreConsistent(*vrf.manager);
      }
    }
    return std::move(violations_);
  }

 private:
  void report(const String& violation) { violations_.push_back(where_ + violation); }
  static String text(std::uint64_t number) { return std::to_string(number); }

  // The tree FEC -> client -> nexthops and the way back say the same, and no record is empty.
  void indexIsConsistent(const FecIdToClientHop& index) {
    std::map<Key, FecId> references;
    for (auto fecs = index.fecIdRef().cursor(); !fecs.atEnd(); fecs.next()) {
      const FecId fecId = fecs.key();
      const auto& clients = fecs.member().value->clientRef();
      if (clients.empty()) {
        report("FEC " + text(fecId) + " has a record without a client");
      }
      for (auto cursor = clients.cursor(); !cursor.atEnd(); cursor.next()) {
        const NexthopResolverClientRef& client = *cursor.member().value;
        if (client.nexthopRef().empty()) {
          report("client " + client.clientName() + " has a record without a nexthop");
        }
        for (auto addrs = client.nexthopRef().cursor(); !addrs.atEnd(); addrs.next()) {
          const Key key(client.clientName(), addrs.key());
          if (!references.emplace(key, fecId).second) {
            report(key.stringValue() + " is under two FECs");
          }
          if (index.clientNexthopToFecId(key) != fecId) {
            report(key.stringValue() + " is under FEC " + text(fecId) + " and maps to " +
                   text(index.clientNexthopToFecId(key)));
          }
        }
      }
    }
    for (auto keys = index.clientNexthopToFecId().cursor(); !keys.atEnd(); keys.next()) {
      if (references.count(keys.key()) == 0) {
        report(keys.key().stringValue() + " maps to a FEC that does not hold it");
      }
    }
  }

  // Nothing when the FEC cannot be read.
  std::optional<FibGen::Fec> readFec(FecId fecId) {
    try {
      return world_.fecs()->fec(fecId);
    } catch (const std::exception&) {
      return std::nullopt;
    }
  }

  void mapIsConsistent(const NexthopResolverManagerSm& manager) {
    const FecIdToResolverId::Map& map = manager.fecIdToResolverId()->fecIdToResolverIdMap();
    std::map<ResolverId, FecId> owners;
    for (auto cursor = map.cursor(); !cursor.atEnd(); cursor.next()) {
      const FecId fecId = cursor.key();
      const ResolverId id = cursor.member().value;
      if (!owners.emplace(id, fecId).second) {
        report("identifier " + text(id.value()) + " stands for two FECs");
      }
      const bool reserved = fecId <= ResolverId::maxReserved;
      const bool fits = reserved ? id.value() == fecId
                                 : (id.value() & ResolverId::informationBits) ==
                                       (fecId & ResolverId::informationBits);
      if (!fits) {
        report("identifier " + text(id.value()) + " does not fit FEC " + text(fecId));
      }
      if (!manager.fecIdToClientHop()->fecIdRef().has(fecId)) {
        report("FEC " + text(fecId) + " has an identifier and no reference");
      }
      recordHasTheFecsVias(manager.vrfName(), fecId, id);
    }
    const auto& referenced = manager.fecIdToClientHop()->fecIdRef();
    for (auto cursor = referenced.cursor(); !cursor.atEnd(); cursor.next()) {
      const auto fec = readFec(cursor.key());
      if (fec && !fec->isEq(FibGen::Fec(0)) && !map.has(cursor.key())) {
        report("FEC " + text(cursor.key()) + " is there and referenced and has no identifier");
      }
    }
  }

  void recordHasTheFecsVias(const VrfName& vrf, FecId fecId, ResolverId id) {
    const auto records = world_.forwardingStatus()->vrf(vrf);
    const auto* record = records ? records->nexthopResolverIdVia().find(id) : nullptr;
    const auto fec = readFec(fecId);
    if (record == nullptr) {
      report("identifier " + text(id.value()) + " is in the map and not published");
    } else if (fec && record->nexthopResolverVia().size() != fec->viaCount()) {
      report("identifier " + text(id.value()) + " is published with other vias than its FEC's");
    }
  }

  // There is a resolver exactly when configuration and status of the client are there, and its
  // review task is scheduled exactly when something is queued.
  void resolversAreConsistent(const NexthopResolverManagerSm& manager) {
    for (auto cursor = manager.resolverSm().cursor(); !cursor.atEnd(); cursor.next()) {
      const NexthopResolverSm& resolver = *cursor.member().value;
      if (resolver.reviewNexthop().empty() == resolver.reviewNexthopTask()->taskIsRunnable()) {
        report("queue and task of " + resolver.name() + " disagree");
      }
    }
    world_.walk(Directory::config, [&](const String& client) {
      const bool wanted =
          world_.presentVrfConfig(client, manager.vrfName()) && seesStatus(manager, client);
      if (wanted != manager.resolverSm().has(client)) {
        report("client " + client + (wanted ? " has no resolver" : " has a resolver"));
      }
    });
  }

  // A manager without a per-cell directory does not see what stands in it.
  bool seesStatus(const NexthopResolverManagerSm& manager, const String& client) const {
    const Directory directory =
        manager.nexthopCellSpecificStatusDir() && world_.entry(Directory::cell, client)
            ? Directory::cell
            : Directory::status;
    return world_.entry(directory, client) != nullptr;
  }

  World& world_;
  String where_;
  std::vector<String> violations_;
};

}  // namespace

std::vector<String> invariantViolations(World& world) { return Judge(world).judge(); }

}  // namespace Routing::Support
