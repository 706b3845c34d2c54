#pragma once

// What the forwarding plane is told: for each ResolverId the vias of its FEC, per VRF.
//
// Owner: the host; the records outlive the resolver, so that the next run finds what this one
// published. Written by the VRF's FIB-via machine alone.
//
//   NexthopResolverForwardingStatus           all VRFs
//     NexthopResolverVrfForwardingStatus      one VRF
//       NexthopResolverIdVia                  one ResolverId
//         NexthopResolverVia                  its vias, in the FEC's order
//
// Publishes:
//   NexthopResolverForwardingStatus::vrfField                      VrfName
//   NexthopResolverVrfForwardingStatus::nexthopResolverIdViaField  ResolverId
//     a record written (also one equal to the last) or removed

#include <cstdint>
#include <vector>

#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Published.h"
#include "platform/entity/Publisher.h"
#include "platform/fib/Fec.h"
#include "platform/net/IpGenAddr.h"
#include "records/NexthopConfig.h"
#include "records/ResolverId.h"

namespace Routing {

class NexthopResolverVia {
 public:
  // Weight 1, no label, within the boundary.
  NexthopResolverVia(IntfId intfId, const IpGenAddr& hop) noexcept : intfId_(intfId), hop_(hop) {}

  IntfId intfId() const noexcept { return intfId_; }
  MplsLabelAndAction mplsLabelAndAction() const noexcept { return mplsLabelAndAction_; }
  void mplsLabelAndActionIs(MplsLabelAndAction value) noexcept { mplsLabelAndAction_ = value; }
  std::uint32_t weight() const noexcept { return weight_; }
  void weightIs(std::uint32_t weight) noexcept { weight_ = weight; }
  const IpGenAddr& hop() const noexcept { return hop_; }
  // True for a via at or beyond its FEC's via-index boundary.
  bool beyondBoundary() const noexcept { return beyondBoundary_; }
  void beyondBoundaryIs(bool beyondBoundary) noexcept { beyondBoundary_ = beyondBoundary; }

  friend bool operator==(const NexthopResolverVia&, const NexthopResolverVia&) noexcept = default;

 private:
  IntfId intfId_;
  MplsLabelAndAction mplsLabelAndAction_;
  std::uint32_t weight_ = 1;
  IpGenAddr hop_;
  bool beyondBoundary_ = false;
};

class NexthopResolverIdVia {
 public:
  explicit NexthopResolverIdVia(ResolverId resolverId) noexcept : resolverId_(resolverId) {}

  ResolverId resolverId() const noexcept { return resolverId_; }
  const std::vector<NexthopResolverVia>& nexthopResolverVia() const noexcept {
    return nexthopResolverVia_;
  }
  // Appends.
  void nexthopResolverViaIs(const NexthopResolverVia& via) { nexthopResolverVia_.push_back(via); }
  void reserve(std::size_t vias) { nexthopResolverVia_.reserve(vias); }

  friend bool operator==(const NexthopResolverIdVia&,
                         const NexthopResolverIdVia&) noexcept = default;

 private:
  friend struct NexthopResolverIdViaKey;
  ResolverId resolverId_;
  std::vector<NexthopResolverVia> nexthopResolverVia_;
};

struct NexthopResolverIdViaKey {
  static const ResolverId& key(const NexthopResolverIdVia& record) noexcept {
    return record.resolverId_;
  }
};

class NexthopResolverVrfForwardingStatus final : public Entity, public Publisher {
 public:
  static constexpr FieldId nexthopResolverIdViaField{1};
  using IdVias =
      PublishedTable<nexthopResolverIdViaField, NexthopResolverIdVia, NexthopResolverIdViaKey>;

  explicit NexthopResolverVrfForwardingStatus(VrfName vrfName);

  const VrfName& vrfName() const noexcept { return vrfName_; }
  const IdVias& nexthopResolverIdVia() const noexcept { return nexthopResolverIdVia_; }
  bool nexthopResolverIdViaHas(ResolverId resolverId) const noexcept {
    return nexthopResolverIdVia_.has(resolverId);
  }
  // Inserts or replaces the record of its ResolverId. Publishes: the ResolverId, also when nothing
  // differs.
  void nexthopResolverIdViaIs(const NexthopResolverIdVia& record) {
    nexthopResolverIdVia_.put(*this, record);
  }
  // Publishes: the ResolverId, if it was there.
  void nexthopResolverIdViaDel(ResolverId resolverId) {
    nexthopResolverIdVia_.remove(*this, resolverId);
  }
  // Publishes: each ResolverId; nothing when nobody subscribes.
  void nexthopResolverIdViaDelAll() { nexthopResolverIdVia_.removeAll(*this); }

  const TypeData& typeData() const override;

 private:
  VrfName vrfName_;
  IdVias nexthopResolverIdVia_;
};

class NexthopResolverForwardingStatus final : public Entity, public Publisher {
 public:
  static constexpr FieldId vrfField{1};
  using Vrfs = PublishedEntities<vrfField,
                                 NexthopResolverVrfForwardingStatus,
                                 &NexthopResolverVrfForwardingStatus::vrfName>;

  NexthopResolverForwardingStatus();

  const Vrfs& vrf() const noexcept { return vrf_; }
  // Null when there is none.
  Ptr<NexthopResolverVrfForwardingStatus> vrf(const VrfName& vrfName) const {
    return vrf_.value(vrfName);
  }
  bool vrfHas(const VrfName& vrfName) const noexcept { return vrf_.has(vrfName); }
  // The VRF's entry, made if absent. Publishes: the VRF, when made.
  Ptr<NexthopResolverVrfForwardingStatus> vrfIs(const VrfName& vrfName);
  // Returns what was removed, or null. Publishes: the VRF, if it was there.
  Ptr<NexthopResolverVrfForwardingStatus> vrfDel(const VrfName& vrfName) {
    return vrf_.removeValue(*this, vrfName);
  }
  // Publishes: each VRF; nothing when nobody subscribes.
  void vrfDelAll() { vrf_.removeAll(*this); }

  const TypeData& typeData() const override;

 private:
  Vrfs vrf_;
};

}  // namespace Routing
