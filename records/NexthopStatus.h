#pragma once

// What a client is told: how each of its nexthops is reached now, per VRF.
//
// Owner: the client's NexthopStatus belongs to the host's status directory; its VRFs are made and
// removed by the manager of the VRF, its entries written by the client's resolver.
//
//   NexthopStatus        a client, by name
//     NexthopVrfStatus   a VRF of the client
//       NexthopStatusEntry   a nexthop, resolved or failed; the address is its key
//
// Publishes:
//   NexthopStatus::vrfField         VrfName      a VRF added, replaced or removed
//   NexthopVrfStatus::nexthopField  IpGenAddr    an entry written (also one equal to the last) or
//                                                removed

#include <cstdint>

#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Published.h"
#include "platform/entity/Publisher.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "records/NexthopConfig.h"
#include "records/NexthopStatusFecIdType.h"

namespace Routing {

enum class NexthopResolutionState : std::uint8_t { unknown = 0, failed = 1, resolved = 2 };

struct NexthopStatusEntry {
  // The identifier reported to the client: the route's FecId, or the ResolverId allocated for it.
  // 0 when failed.
  std::uint64_t fecId = 0;
  // Of the resolving route. A failed entry keeps the defaults.
  std::uint32_t metric = 0;
  std::uint8_t preference = 1;
  // The route's prefix, the longest match. Empty when failed.
  IpGenPrefix prefix;
  IpGenAddr addr;
  // The route's type under the nexthop's family, 0 under the other.
  std::uint8_t routeType = 0;
  std::uint8_t route6Type = 0;
  NexthopResolutionState resolutionState = NexthopResolutionState::unknown;

  friend constexpr bool operator==(const NexthopStatusEntry&,
                                   const NexthopStatusEntry&) noexcept = default;
  // One line: "addr=10.0.0.1 state=resolved fecId=12 prefix=10.0.0.0/8 metric=0 ...".
  String stringValue() const;
};

struct NexthopStatusEntryKey {
  static const IpGenAddr& key(const NexthopStatusEntry& entry) noexcept { return entry.addr; }
};

class NexthopVrfStatus final : public Entity, public Publisher {
 public:
  static constexpr FieldId nexthopField{1};
  using Nexthops = PublishedTable<nexthopField, NexthopStatusEntry, NexthopStatusEntryKey>;

  NexthopVrfStatus(VrfName vrfName, NexthopStatusFecIdType fecIdType);

  const VrfName& vrfName() const noexcept { return vrfName_; }
  // Never changes.
  NexthopStatusFecIdType fecIdType() const noexcept { return fecIdType_; }

  const Nexthops& nexthop() const noexcept { return nexthop_; }
  // Null when there is none. Good until the next change.
  const NexthopStatusEntry* nexthop(const IpGenAddr& addr) const noexcept {
    return nexthop_.find(addr);
  }
  bool nexthopHas(const IpGenAddr& addr) const noexcept { return nexthop_.has(addr); }
  // Makes room for that many entries, so that their writer need not move those that are there.
  void nexthopReserve(std::size_t entries) { nexthop_.reserve(entries); }
  // Inserts or replaces the entry of its address, whole. Publishes: the address, also when nothing
  // differs.
  void nexthopIs(const NexthopStatusEntry& entry) { nexthop_.put(*this, entry); }
  // Publishes: the address, if it was there.
  void nexthopDel(const IpGenAddr& addr) { nexthop_.remove(*this, addr); }
  // Publishes: each address; nothing when nobody subscribes.
  void nexthopDelAll() { nexthop_.removeAll(*this); }

  const TypeData& typeData() const override;

 private:
  VrfName vrfName_;
  NexthopStatusFecIdType fecIdType_;
  Nexthops nexthop_;
};

class NexthopStatus final : public Entity, public Publisher {
 public:
  static constexpr FieldId vrfField{1};
  using Vrfs = PublishedEntities<vrfField, NexthopVrfStatus, &NexthopVrfStatus::vrfName>;

  explicit NexthopStatus(String name);

  const String& name() const noexcept { return name_; }
  const Vrfs& vrf() const noexcept { return vrf_; }
  // Null when there is none.
  Ptr<NexthopVrfStatus> vrf(const VrfName& vrfName) const { return vrf_.value(vrfName); }
  bool vrfHas(const VrfName& vrfName) const noexcept { return vrf_.has(vrfName); }
  // The VRF's status, made with this kind if absent. One that exists is returned whatever its kind,
  // which never changes. Publishes: the VRF, when made.
  Ptr<NexthopVrfStatus> vrfIs(const VrfName& vrfName, NexthopStatusFecIdType fecIdType);
  // Inserts or replaces the status of its VRF. Publishes: the VRF.
  void vrfIs(const Ptr<NexthopVrfStatus>& vrfStatus);
  // Returns what was removed, with its entries, or null. Publishes: the VRF, if it was there.
  Ptr<NexthopVrfStatus> vrfDel(const VrfName& vrfName) { return vrf_.removeValue(*this, vrfName); }
  // Publishes: each VRF; nothing when nobody subscribes.
  void vrfDelAll() { vrf_.removeAll(*this); }

  const TypeData& typeData() const override;

 private:
  String name_;
  Vrfs vrf_;
};

}  // namespace Routing
