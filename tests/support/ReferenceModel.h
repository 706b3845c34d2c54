#pragma once

// ReferenceModel: the obvious program. It does what the library ought to do, in plain containers
// and plain calls, and predicts the standing state and the order of all notifications of outputs.
//
// It takes what a host does, one operation a call; each is one command of nexthop-replay. Where the
// library publishes, the model calls whoever reacts, one after the other, and then notes the event:
// the events are those that an observer sees, who is told after all machines.
//
//   ReferenceModel.cpp              what the host does; tasks and time
//   ReferenceModelClients.cpp       managers and clients
//   ReferenceModelNexthops.cpp      resolvers
//   ReferenceModelIdentifiers.cpp   references and identifiers
//
// Where the library ends the process, or an exception leaves it, the model throws ModelEnds and is
// of no further use.

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/ReferenceModelEvent.h"
#include "tests/support/ReferenceModelReach.h"
#include "tests/support/ReferenceModelRecords.h"

namespace Routing::Support {

class ModelEnds : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class ReferenceModel {
 public:
  // Client records.
  void config(const String& client);
  void configDel(const String& client);
  void configVrf(const String& client, const VrfName& vrf, NexthopStatusFecIdType kind);
  void configVrfDel(const String& client, const VrfName& vrf);
  void nexthop(const String& client, const VrfName& vrf, const IpGenAddr& addr);
  void nexthopDel(const String& client, const VrfName& vrf, const IpGenAddr& addr);
  void status(const String& client, bool cell);
  void statusDel(const String& client, bool cell);
  void renotifyConfig(const String& client);
  void renotifyStatus(const String& client, bool cell);

  // Tables.
  void route(const VrfName& vrf, const IpGenPrefix& prefix, const Fib::Route& route);
  void routeDel(const VrfName& vrf, const IpGenPrefix& prefix);
  // The unset prefix is announced in the trie of either family.
  void announce(const VrfName& vrf, AddressFamily family, const IpGenPrefix& prefix);
  void routing(const VrfName& vrf, AddressFamily family, bool enabled);
  void routingDel(const VrfName& vrf, AddressFamily family);
  void fec(const FibGen::Fec& fec);
  void fecDel(FecId fecId);
  void announceFec(FecId fecId);
  // What an earlier run left: its context, and a record without vias.
  void context(const VrfName& vrf, std::uint64_t value);
  void published(const VrfName& vrf, std::uint64_t resolverId);

  // Machines and time. A budget of 0 never makes a slice yield.
  void manager(const VrfName& vrf, bool withCells);
  void managerDel(const VrfName& vrf);
  void notifications(const VrfName& vrf, bool active);
  void budget(std::uint64_t questions) { budget_ = questions; }
  void step();
  void run();
  void advance(std::uint64_t seconds);

  // What was noted since the last call.
  OutputEvents takeEvents() { return std::exchange(events_, {}); }
  const SituationCounts& situations() const noexcept { return situations_; }

  // The standing state.
  const std::map<VrfName, ModelVrf>& vrfs() const noexcept { return vrfs_; }
  const InOrder<String, std::shared_ptr<ModelConfig>>& configs() const noexcept { return configs_; }
  // Of the global and of the per-cell directory.
  const InOrder<String, std::shared_ptr<ModelStatus>>& statuses(bool cell) const noexcept {
    return cell ? cellStatuses_ : statuses_;
  }
  const std::map<FecId, FibGen::Fec>& fecs() const noexcept { return fecs_; }
  bool scheduled(const VrfName& vrf, const String& client) const;

 private:
  // A runnable task: the review of a client's resolver, or the VRF's cleanup timer, which has no
  // client.
  struct Task {
    VrfName vrf;
    String client;
    friend bool operator==(const Task&, const Task&) = default;
  };
  struct Timer {
    VrfName vrf;
    std::uint64_t expiry;
  };
  using Kind = OutputEvent::Kind;

  ModelVrf& vrf(const VrfName& name);
  void meet(Situation situation) { ++situations_[static_cast<std::size_t>(situation)]; }
  void note(OutputEvent event) { events_.push_back(std::move(event)); }
  void schedule(const ModelVrf& vrf, const String& client);
  // Calls with each VRF that has a manager whose notifications are on, in order of subscription.
  void forEachActive(const std::function<void(ModelVrf&)>& call);

  // Managers and clients.
  void handleConfigDir(ModelVrf& vrf, const String& client);
  void handleStatusDir(ModelVrf& vrf, const String& client, bool cell);
  void handleVrfOfRecord(const VrfName& vrf, const String& client, const void* record);
  void handleClient(ModelVrf& vrf, const String& client);
  void makeResolver(ModelVrf& vrf,
                    const String& client,
                    const std::shared_ptr<ModelVrfConfig>& config,
                    const std::shared_ptr<ModelVrfStatus>& status);
  void removeResolver(ModelVrf& vrf, const String& client);
  void clearVrfStatus(ModelVrf& vrf, const String& client);
  void cleanUpStatuses(ModelVrf& vrf);

  // Resolvers.
  void handleNexthopConfig(const VrfName& vrf,
                           const String& client,
                           const std::shared_ptr<ModelVrfConfig>& config,
                           const IpGenAddr& addr);
  void handleChangedRoute(ModelVrf& vrf, const IpGenPrefix& prefix);
  void queueUnder(ModelVrf& vrf, ModelResolver& resolver, const IpGenPrefix& prefix);
  void handleRouting(ModelVrf& vrf, AddressFamily family);
  void handleReview(ModelVrf& vrf, ModelResolver& resolver);
  void reviewSlice(ModelVrf& vrf, ModelResolver& resolver);
  void processNexthop(ModelVrf& vrf, ModelResolver& resolver, const IpGenAddr& addr);
  void resolve(ModelVrf& vrf, ModelResolver& resolver, const IpGenAddr& addr);
  void writeFailed(const ModelVrf& vrf, ModelResolver& resolver, const IpGenAddr& addr);
  void write(const ModelVrf& vrf, ModelResolver& resolver, const NexthopStatusEntry& entry);
  void handleFecIdMap(ModelVrf& vrf, ModelResolver& resolver, FecId fecId);

  // References.
  void addReference(ModelVrf& vrf, FecId fecId, const String& client, const IpGenAddr& addr);
  void deleteReference(ModelVrf& vrf, FecId fecId, const String& client, const IpGenAddr& addr);
  void deleteReferenceForNexthop(ModelVrf& vrf, const String& client, const IpGenAddr& addr);
  void deleteReferencesForFec(ModelVrf& vrf, FecId fecId);
  void referenceChanged(ModelVrf& vrf, FecId fecId);
  void clientReferenceChanged(const ModelVrf& vrf, FecId fecId, const String& client);
  void keyChanged(const ModelVrf& vrf, const ModelKey& key);

  // Identifiers.
  void startFibVia(ModelVrf& vrf);
  void handleGenFec(ModelVrf& vrf, FecId fecId);
  void allocate(ModelVrf& vrf, FecId fecId);
  void removeIdentifier(ModelVrf& vrf, FecId fecId);
  std::uint64_t newIdentifier(ModelVrf& vrf, FecId fecId);
  void contextIs(ModelVrf& vrf, std::uint64_t value);
  void publish(ModelVrf& vrf, std::uint64_t resolverId, const FibGen::Fec& fec);
  void unpublish(ModelVrf& vrf, std::uint64_t resolverId);
  void unpublishAll(ModelVrf& vrf);
  void mapChanged(ModelVrf& vrf, FecId fecId);
  void cleanUpRecords(ModelVrf& vrf);
  // The FEC; Fec(0) when there is none.
  FibGen::Fec readFec(FecId fecId) const;

  void runTask();

  std::map<VrfName, ModelVrf> vrfs_;
  InOrder<String, std::shared_ptr<ModelConfig>> configs_;
  InOrder<String, std::shared_ptr<ModelStatus>> statuses_;
  InOrder<String, std::shared_ptr<ModelStatus>> cellStatuses_;
  std::map<FecId, FibGen::Fec> fecs_;
  // VRFs whose managers' notifications are on, in order of subscription.
  std::vector<VrfName> subscribed_;

  std::deque<Task> runnable_;
  // In order of arming.
  std::vector<Timer> timers_;
  std::uint64_t now_ = 0;
  std::uint64_t budget_ = 0;

  OutputEvents events_;
  SituationCounts situations_{};
  // FECs that were removed under references, and of which there was a resolved entry then.
  std::set<FecId> withdrawn_;
};

}  // namespace Routing::Support
