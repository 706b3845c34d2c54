#include "records/NexthopStatus.h"

#include <string>
#include <string_view>
#include <utility>

#include "platform/entity/Assert.h"
#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"

namespace Routing {

namespace {

std::string_view memberName(NexthopResolutionState state) noexcept {
  switch (state) {
    case NexthopResolutionState::unknown:
      return "unknown";
    case NexthopResolutionState::failed:
      return "failed";
    case NexthopResolutionState::resolved:
      return "resolved";
  }
  ROUTING_ASSERT(!"invalid resolution state");
}

}  // namespace

String NexthopStatusEntry::stringValue() const {
  String text = "addr=" + addr.stringValue();
  text.append(" state=").append(memberName(resolutionState));
  text += " fecId=" + std::to_string(fecId);
  text += " prefix=" + prefix.stringValue();
  text += " metric=" + std::to_string(metric);
  text += " preference=" + std::to_string(preference);
  text += " routeType=" + std::to_string(routeType);
  text += " route6Type=" + std::to_string(route6Type);
  return text;
}

NexthopVrfStatus::NexthopVrfStatus(VrfName vrfName, NexthopStatusFecIdType fecIdType)
    : vrfName_(std::move(vrfName)), fecIdType_(fecIdType) {}

const TypeData& NexthopVrfStatus::typeData() const {
  using Collection = const Nexthops& (NexthopVrfStatus::*)() const noexcept;
  static constexpr std::array attributes{
      attribute<&NexthopVrfStatus::vrfName>("vrfName"),
      attribute<&NexthopVrfStatus::fecIdType>("fecIdType"),
      attribute<static_cast<Collection>(&NexthopVrfStatus::nexthop)>("nexthop")};
  static const TypeData type("Routing::NexthopVrfStatus", attributes);
  return type;
}

NexthopStatus::NexthopStatus(String name) : name_(std::move(name)) {}

Ptr<NexthopVrfStatus> NexthopStatus::vrfIs(const VrfName& vrfName,
                                           NexthopStatusFecIdType fecIdType) {
  Ptr<NexthopVrfStatus> vrfStatus = vrf(vrfName);
  if (!vrfStatus) {
    vrfStatus = makeEntity<NexthopVrfStatus>(vrfName, fecIdType);
    vrf_.put(*this, {vrfStatus});
  }
  return vrfStatus;
}

void NexthopStatus::vrfIs(const Ptr<NexthopVrfStatus>& vrfStatus) {
  if (!vrfStatus) {
    throw NullArgumentError("Routing::NexthopStatus", "vrf");
  }
  vrf_.put(*this, {vrfStatus});
}

const TypeData& NexthopStatus::typeData() const {
  using Collection = const Vrfs& (NexthopStatus::*)() const noexcept;
  static constexpr std::array attributes{
      attribute<&NexthopStatus::name>("name"),
      attribute<static_cast<Collection>(&NexthopStatus::vrf)>("vrf")};
  static const TypeData type("Routing::NexthopStatus", attributes);
  return type;
}

}  // namespace Routing
