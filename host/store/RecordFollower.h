#pragma once

// Follows the records that outlive the daemon and tells at the end of a turn what to write.
//
//   ConfigFollower       every client's configuration, through the directory
//   StatusFollower       every client's status, the same way
//   ForwardingFollower   what one VRF publishes, and its context
//
// While records change, only the keys are noted, each in the record's own list. What is written is
// the state at the end of the turn, so a key written often costs one write, and a record that
// appeared is written whole when it is first seen.

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/store/StoreBatch.h"
#include "host/vrf/Vrfs.h"
#include "platform/entity/Publisher.h"

namespace Routing::Host {

// The keys under which a record published one attribute since they were last taken.
template <class Key>
class ChangedKeys final : public Observer {
 public:
  ChangedKeys(const Publisher& publisher, FieldId field) : field_(field) { subscribe(publisher); }

  void onAttribute(FieldId field, const void* key) override {
    if (field == field_) {
      keys_.push_back(*static_cast<const Key*>(key));
    }
  }
  // Each once, in order.
  std::vector<Key> take() {
    std::sort(keys_.begin(), keys_.end());
    keys_.erase(std::unique(keys_.begin(), keys_.end()), keys_.end());
    return std::exchange(keys_, {});
  }
  bool empty() const noexcept { return keys_.empty(); }

 private:
  FieldId field_;
  std::vector<Key> keys_;
};

// Kind says what the two differ in: the records, the database, and what stands at an address.
template <class Kind>
class ClientFollower {
 public:
  using Client = typename Kind::Client;
  using ClientVrf = typename Kind::ClientVrf;

  // What is there already counts as changed.
  explicit ClientFollower(const Ptr<const Dir>& clients);
  // Appends what changed since the last time.
  void collect(StoreBatch& batch);

 private:
  struct FollowedVrf {
    explicit FollowedVrf(const Ptr<const ClientVrf>& vrf)
        : record(vrf), changed(*record, ClientVrf::nexthopField) {}
    Ptr<const ClientVrf> record;
    ChangedKeys<IpGenAddr> changed;
  };
  struct FollowedClient {
    explicit FollowedClient(const Ptr<const Client>& client)
        : record(client), changed(*record, Client::vrfField) {}
    Ptr<const Client> record;
    ChangedKeys<VrfName> changed;
    std::map<VrfName, std::unique_ptr<FollowedVrf>> vrfs;
  };

  void collectClient(const String& name, StoreBatch& batch);
  void collectVrf(FollowedClient& client, const VrfName& name, StoreBatch& batch);
  void collectEntries(FollowedVrf& vrf, StoreBatch& batch);
  void collectEntry(const FollowedVrf& vrf, const IpGenAddr& addr, StoreBatch& batch);

  Ptr<const Dir> dir_;
  ChangedKeys<String> changed_;
  // Those of the directory that are not followed yet.
  std::vector<String> present_;
  std::map<String, std::unique_ptr<FollowedClient>> clients_;
  // The key under construction: the VRF's, to which addresses are appended.
  std::string key_;
  std::string value_;
};

struct ConfigKind {
  using Client = NexthopConfig;
  using ClientVrf = NexthopVrfConfig;
  static constexpr StoreDatabase database = StoreDatabase::config;
  // False when nothing stands there.
  static bool value(const NexthopVrfConfig& vrf, const IpGenAddr& addr, std::string& value) {
    value.clear();
    return vrf.nexthopConfigured(addr);
  }
};

struct StatusKind {
  using Client = NexthopStatus;
  using ClientVrf = NexthopVrfStatus;
  static constexpr StoreDatabase database = StoreDatabase::status;
  static bool value(const NexthopVrfStatus& vrf, const IpGenAddr& addr, std::string& value) {
    const NexthopStatusEntry* entry = vrf.nexthop(addr);
    if (entry != nullptr) {
      StoreFormat::statusValue(*entry, value);
    }
    return entry != nullptr;
  }
};

extern template class ClientFollower<ConfigKind>;
extern template class ClientFollower<StatusKind>;
using ConfigFollower = ClientFollower<ConfigKind>;
using StatusFollower = ClientFollower<StatusKind>;

class ForwardingFollower final : private Observer {
 public:
  explicit ForwardingFollower(const Vrf& vrf);
  void collect(StoreBatch& batch);

 private:
  // Of the context.
  void onAttribute(FieldId field, const void* key) override;
  void collectRecord(ResolverId resolverId, StoreBatch& batch);
  void collectWhole(StoreBatch& batch);

  VrfName name_;
  Ptr<NexthopResolverForwardingStatus> forwarding_;
  Ptr<NexthopResolverFibViaContext> context_;
  ChangedKeys<VrfName> vrfChanged_;
  bool vrfUnknown_ = true;
  bool contextChanged_ = true;
  Ptr<const NexthopResolverVrfForwardingStatus> record_;
  std::unique_ptr<ChangedKeys<ResolverId>> changed_;
  std::string value_;
};

}  // namespace Routing::Host
