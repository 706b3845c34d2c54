#include "records/NexthopConfig.h"

#include <utility>

#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"

namespace Routing {

NexthopVrfConfig::NexthopVrfConfig(VrfName vrfName, NexthopStatusFecIdType fecIdType)
    : vrfName_(std::move(vrfName)), fecIdType_(fecIdType) {}

void NexthopVrfConfig::fecIdTypeIs(NexthopStatusFecIdType fecIdType) {
  fecIdType_ = fecIdType;
  publish(fecIdTypeField);
}

NexthopConfigEntry NexthopVrfConfig::nexthop(const IpGenAddr& addr) const noexcept {
  const NexthopConfigEntry* entry = nexthop_.find(addr);
  return entry == nullptr ? NexthopConfigEntry() : *entry;
}

const TypeData& NexthopVrfConfig::typeData() const {
  using Collection = const Nexthops& (NexthopVrfConfig::*)() const noexcept;
  static constexpr std::array attributes{
      attribute<&NexthopVrfConfig::vrfName>("vrfName"),
      attribute<&NexthopVrfConfig::fecIdType>("fecIdType"),
      attribute<static_cast<Collection>(&NexthopVrfConfig::nexthop)>("nexthop")};
  static const TypeData type("Routing::NexthopVrfConfig", attributes);
  return type;
}

NexthopConfig::NexthopConfig(String name) : name_(std::move(name)) {}

Ptr<NexthopVrfConfig> NexthopConfig::vrfIs(const VrfName& vrfName,
                                           NexthopStatusFecIdType fecIdType) {
  Ptr<NexthopVrfConfig> vrfConfig = vrf(vrfName);
  if (vrfConfig) {
    if (vrfConfig->fecIdType() != fecIdType) {
      throw ReinstantiationError("Routing::NexthopVrfConfig", "fecIdType");
    }
    return vrfConfig;
  }
  vrfConfig = makeEntity<NexthopVrfConfig>(vrfName, fecIdType);
  vrf_.put(*this, {vrfConfig});
  return vrfConfig;
}

void NexthopConfig::vrfIs(const Ptr<NexthopVrfConfig>& vrfConfig) {
  if (!vrfConfig) {
    throw NullArgumentError("Routing::NexthopConfig", "vrf");
  }
  vrf_.put(*this, {vrfConfig});
}

const TypeData& NexthopConfig::typeData() const {
  using Collection = const Vrfs& (NexthopConfig::*)() const noexcept;
  static constexpr std::array attributes{
      attribute<&NexthopConfig::name>("name"),
      attribute<static_cast<Collection>(&NexthopConfig::vrf)>("vrf")};
  static const TypeData type("Routing::NexthopConfig", attributes);
  return type;
}

}  // namespace Routing
