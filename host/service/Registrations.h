#pragma once

// Registrations: who the clients are and which nexthops each wants tracked.
//
// A client is a name. It comes with its first request or stream and belongs to that user. It goes
// when it has neither a stream nor a registration; or when the grace time has passed since its
// stream ended (without a stream: since its last request). A name is live while it has its stream.
//
// For each client there are a NexthopConfig and a NexthopStatus in the shared directories, a VRF's
// configuration for each VRF with registrations, and a group in the NexthopTable.
//
// The library's rules, kept here:
//   1. The last nexthops of a VRF go with its whole configuration, which is not emptied first: the
//      resolver gives up its references by what is configured when it ends. Nexthops that were
//      taken out and not reviewed yet (leaving) are put back before.
//   2. A configuration is in its directory before the status, and goes before it.
//   3. Nothing here runs from inside a status notification.
//
// In the RegistrationStore: "client/NAME" is the user, "policy/NAME/VRF/ADDRESS" a policy that is
// not the default one. The nexthops themselves are the configurations.
//
// A request is checked whole before anything is changed. Throws: RequestError.

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "host/service/NexthopTable.h"
#include "host/service/RegistrationStore.h"
#include "host/vrf/Vrfs.h"
#include "platform/entity/DenseTable.h"
#include "platform/task/Task.h"
#include "records/NexthopConfig.h"
#include "records/NexthopStatus.h"

namespace Routing::Host {

struct RegistrationLimits {
  std::size_t clients = 1024;
  // Of all clients together.
  std::size_t registrations = 1'000'000;
};

// Addresses of one request in one VRF.
struct RegistrationBatch {
  String client;
  VrfName vrf;
  NexthopStatusFecIdType kind = NexthopStatusFecIdType::fibFecId;
  Policy policy;
  std::vector<IpGenAddr> addrs;
};

// That the policy asks for no longer prefix than an address has. Throws: RequestError.
void checkPolicy(const Policy& policy, const std::vector<IpGenAddr>& addrs);

class Registrations {
 public:
  using Seconds = TimerTask::Seconds;

  struct Part {
    NexthopTable::Group* group = nullptr;
    Ptr<NexthopVrfConfig> config;
    DenseSet<IpGenAddr> leaving;
  };
  struct Client {
    String name;
    String user;
    // Null unless the name is live.
    const StatusStream* stream = nullptr;
    // When it is removed unless it is live by then.
    Nanoseconds deadline{0};
    Ptr<NexthopConfig> config;
    Ptr<NexthopStatus> status;
    std::map<VrfName, Part> parts;

    bool live() const noexcept { return stream != nullptr; }
  };

  // Without a store registrations end with the daemon.
  Registrations(Vrfs& vrfs,
                NexthopTable& table,
                RegistrationStore* store,
                const Ptr<TaskScheduler>& scheduler,
                const RegistrationLimits& limits,
                Seconds grace);

  // Takes over the configurations and statuses that were loaded, with their owners and policies; a
  // configuration without an owner is removed. Requires: before any other operation and before the
  // managers.
  void restore();

  // Returns how many were not registered.
  std::uint32_t add(const String& user, const RegistrationBatch& batch);
  // Returns how many were registered.
  std::uint32_t remove(const String& user, const RegistrationBatch& batch);
  // Everything of the client in the VRF.
  std::uint32_t removeAll(const String& user, const String& name, const VrfName& vrf);

  // The name is live until detach(), with this stream.
  void attach(const String& user, const String& name, const StatusStream& stream);
  // The name's stream has ended.
  void detach(const String& name);

  // No review waits any more: what was taken out of the configurations has been seen.
  void reviewed() noexcept;

  const std::map<String, Client>& clients() const noexcept { return clients_; }
  // Null when there is none.
  const Client* client(const String& name) const;
  Nanoseconds now() const { return scheduler_->clock()->now(); }

 private:
  void timerDispatch(FieldId field, const void* key);
  Client* mine(const String& user, const String& name);
  Client& clientIs(const String& user, const String& name);
  Part& partIs(Client& client, const VrfName& vrf, NexthopStatusFecIdType kind);
  void check(const String& user, const RegistrationBatch& batch);
  void checkRoom(const RegistrationBatch& batch, const Part* part) const;
  void restorePart(Client& client, const Ptr<NexthopVrfConfig>& config);
  void restorePolicies();
  bool restorePolicy(const String& key, const String& value);
  void partEnd(Client& client, const VrfName& vrf);
  void clientEnd(const String& name);
  // What is due after a request or a stream of the client.
  void used(Client& client);
  void timerArm();
  void policyIs(const Client& client, const VrfName& vrf, const IpGenAddr& addr, const Policy&);
  void policyDel(const Client& client, const Part& part, const IpGenAddr& addr);

  Vrfs& vrfs_;
  NexthopTable& table_;
  RegistrationStore* store_;
  Ptr<TaskScheduler> scheduler_;
  RegistrationLimits limits_;
  Seconds grace_;
  std::map<String, Client> clients_;
  bool leaving_ = false;

  Ptr<TimerTask> timer_;
  Subscription<Registrations, &Registrations::timerDispatch> timerRun_{*this};
};

}  // namespace Routing::Host
