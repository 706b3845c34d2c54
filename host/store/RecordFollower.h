#pragma once

// Follows the records that outlive the daemon and tells at the end of a turn what to write.
//
//   StatusFollower       every client's status, through the directory
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

class StatusFollower {
 public:
  // What is there already counts as changed.
  explicit StatusFollower(const Ptr<const Dir>& statuses);
  // Appends what changed since the last time.
  void collect(StoreBatch& batch);

 private:
  struct FollowedVrf {
    explicit FollowedVrf(const Ptr<const NexthopVrfStatus>& status)
        : record(status), changed(*record, NexthopVrfStatus::nexthopField) {}
    Ptr<const NexthopVrfStatus> record;
    ChangedKeys<IpGenAddr> changed;
  };
  struct FollowedClient {
    explicit FollowedClient(const Ptr<const NexthopStatus>& status)
        : record(status), changed(*record, NexthopStatus::vrfField) {}
    Ptr<const NexthopStatus> record;
    ChangedKeys<VrfName> changed;
    std::map<VrfName, std::unique_ptr<FollowedVrf>> vrfs;
  };

  void collectClient(const String& name, StoreBatch& batch);
  void collectVrf(FollowedClient& client, const VrfName& name, StoreBatch& batch);
  void collectEntry(const FollowedVrf& vrf, const IpGenAddr& addr, StoreBatch& batch);

  Ptr<const Dir> statuses_;
  ChangedKeys<String> changed_;
  // Those of the directory that are not followed yet.
  std::vector<String> present_;
  std::map<String, std::unique_ptr<FollowedClient>> clients_;
  // The key under construction: the VRF's, to which addresses are appended.
  std::string key_;
  std::string value_;
};

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
