#pragma once

// What a client wants: its nexthops, per VRF, and the kind of identifier that it wants back.
//
// Owner: the host, on behalf of the client. The resolver only reads.
//
//   NexthopConfig        a client, by name
//     NexthopVrfConfig   a VRF of the client
//       NexthopConfigEntry   a nexthop; the address is its key
//
// Publishes:
//   NexthopConfig::vrfField         VrfName      a VRF added, replaced or removed
//   NexthopVrfConfig::nexthopField  IpGenAddr    a nexthop added, changed or removed
//   NexthopVrfConfig::fecIdTypeField   no key    the kind set

#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Published.h"
#include "platform/entity/Publisher.h"
#include "platform/net/IpGenAddr.h"
#include "records/NexthopStatusFecIdType.h"

namespace Routing {

using VrfName = String;

// An entry with the unset address counts as absent.
struct NexthopConfigEntry {
  IpGenAddr addr;

  friend constexpr bool operator==(const NexthopConfigEntry&,
                                   const NexthopConfigEntry&) noexcept = default;
};

struct NexthopConfigEntryKey {
  static const IpGenAddr& key(const NexthopConfigEntry& entry) noexcept { return entry.addr; }
};

class NexthopVrfConfig final : public Entity, public Publisher {
 public:
  static constexpr FieldId nexthopField{1};
  static constexpr FieldId fecIdTypeField{2};
  using Nexthops = PublishedTable<nexthopField, NexthopConfigEntry, NexthopConfigEntryKey>;

  NexthopVrfConfig(VrfName vrfName, NexthopStatusFecIdType fecIdType);

  const VrfName& vrfName() const noexcept { return vrfName_; }
  NexthopStatusFecIdType fecIdType() const noexcept { return fecIdType_; }
  // Publishes: fecIdTypeField. The kind of a status that exists already stays what it is.
  void fecIdTypeIs(NexthopStatusFecIdType fecIdType);

  const Nexthops& nexthop() const noexcept { return nexthop_; }
  // The default entry when there is none.
  NexthopConfigEntry nexthop(const IpGenAddr& addr) const noexcept;
  bool nexthopHas(const IpGenAddr& addr) const noexcept { return nexthop_.has(addr); }
  // True when the entry is there and its address is set.
  bool nexthopConfigured(const IpGenAddr& addr) const noexcept {
    return addr && nexthop_.has(addr);
  }
  // The same, for who has the address's hash already.
  bool nexthopConfigured(const IpGenAddr& addr, std::uint32_t hash) const noexcept {
    return addr && nexthop_.find(addr, hash) != nullptr;
  }
  // Inserts or replaces. Publishes: the address.
  void nexthopIs(const NexthopConfigEntry& entry) { nexthop_.put(*this, entry); }
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

class NexthopConfig final : public Entity, public Publisher {
 public:
  static constexpr FieldId vrfField{1};
  using Vrfs = PublishedEntities<vrfField, NexthopVrfConfig, &NexthopVrfConfig::vrfName>;

  explicit NexthopConfig(String name);

  const String& name() const noexcept { return name_; }
  const Vrfs& vrf() const noexcept { return vrf_; }
  // Null when there is none.
  Ptr<NexthopVrfConfig> vrf(const VrfName& vrfName) const { return vrf_.value(vrfName); }
  bool vrfHas(const VrfName& vrfName) const noexcept { return vrf_.has(vrfName); }
  // The VRF's configuration, made if absent. Publishes: the VRF, when made.
  // Throws: ReinstantiationError when there is one of another kind.
  Ptr<NexthopVrfConfig> vrfIs(const VrfName& vrfName, NexthopStatusFecIdType fecIdType);
  // Inserts or replaces the configuration of its VRF. Publishes: the VRF.
  void vrfIs(const Ptr<NexthopVrfConfig>& vrfConfig);
  // Returns what was removed, or null. Publishes: the VRF, if it was there.
  Ptr<NexthopVrfConfig> vrfDel(const VrfName& vrfName) { return vrf_.removeValue(*this, vrfName); }
  // Publishes: each VRF; nothing when nobody subscribes.
  void vrfDelAll() { vrf_.removeAll(*this); }

  const TypeData& typeData() const override;

 private:
  String name_;
  Vrfs vrf_;
};

}  // namespace Routing
