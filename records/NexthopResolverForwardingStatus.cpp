#include "records/NexthopResolverForwardingStatus.h"

#include <utility>

#include "platform/entity/Inspection.h"

namespace Routing {

NexthopResolverVrfForwardingStatus::NexthopResolverVrfForwardingStatus(VrfName vrfName)
    : vrfName_(std::move(vrfName)) {}

const TypeData& NexthopResolverVrfForwardingStatus::typeData() const {
  static constexpr std::array attributes{
      attribute<&NexthopResolverVrfForwardingStatus::vrfName>("vrfName"),
      attribute<&NexthopResolverVrfForwardingStatus::nexthopResolverIdVia>("nexthopResolverIdVia")};
  static const TypeData type("Routing::NexthopResolverVrfForwardingStatus", attributes);
  return type;
}

NexthopResolverForwardingStatus::NexthopResolverForwardingStatus() = default;

Ptr<NexthopResolverVrfForwardingStatus> NexthopResolverForwardingStatus::vrfIs(
    const VrfName& vrfName) {
  Ptr<NexthopResolverVrfForwardingStatus> vrfForwardingStatus = vrf(vrfName);
  if (!vrfForwardingStatus) {
    vrfForwardingStatus = makeEntity<NexthopResolverVrfForwardingStatus>(vrfName);
    vrf_.put(*this, {vrfForwardingStatus});
  }
  return vrfForwardingStatus;
}

const TypeData& NexthopResolverForwardingStatus::typeData() const {
  using Collection = const Vrfs& (NexthopResolverForwardingStatus::*)() const noexcept;
  static constexpr std::array attributes{
      attribute<static_cast<Collection>(&NexthopResolverForwardingStatus::vrf)>("vrf")};
  static const TypeData type("Routing::NexthopResolverForwardingStatus", attributes);
  return type;
}

}  // namespace Routing
