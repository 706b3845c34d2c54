#include "tests/property/Operation.h"

#include <string>

#include "tests/support/Addresses.h"
#include "tests/support/ReferenceModel.h"

namespace Routing::Support {

namespace {

const std::array<VrfName, Operation::vrfs>& vrfNames() {
  static const std::array<VrfName, Operation::vrfs> names{"v1", "v2"};
  return names;
}

const std::array<String, Operation::clients>& clientNames() {
  static const std::array<String, Operation::clients> names{"a", "b", "c"};
  return names;
}

const std::array<IpGenAddr, Operation::nexthops>& nexthopAddrs() {
  static const std::array<IpGenAddr, Operation::nexthops> addrs{Support::addr("10.1.1.1"),
                                                                Support::addr("10.1.1.2"),
                                                                Support::addr("10.1.2.1"),
                                                                Support::addr("10.2.0.1"),
                                                                Support::addr("2001:db8:1:1::1"),
                                                                Support::addr("2001:db8:1:2::1"),
                                                                Support::addr("2001:db8:2::1")};
  return addrs;
}

const std::array<IpGenPrefix, Operation::prefixes>& routePrefixes() {
  static const std::array<IpGenPrefix, Operation::prefixes> prefixes{
      Support::prefix("0.0.0.0/0"),
      Support::prefix("10.0.0.0/8"),
      Support::prefix("10.1.0.0/16"),
      Support::prefix("10.1.1.0/24"),
      Support::prefix("10.1.1.1/32"),
      Support::prefix("::/0"),
      Support::prefix("2001:db8::/32"),
      Support::prefix("2001:db8:1::/48"),
      Support::prefix("2001:db8:1:1::/64"),
      Support::prefix("2001:db8:1:1::1/128")};
  return prefixes;
}

constexpr std::array<FecId, Operation::fecs> fecIds{1, 2, 3, 4, 5, 6, 0x1200000000000004, 0};

}  // namespace

VrfName Operation::vrfName() const { return vrfNames()[vrf]; }
String Operation::clientName() const { return clientNames()[client]; }
IpGenAddr Operation::addr() const { return nexthopAddrs()[nexthop]; }
IpGenPrefix Operation::routePrefix() const {
  return prefix < prefixes ? routePrefixes()[prefix] : IpGenPrefix();
}
AddressFamily Operation::family() const {
  const IpGenPrefix of = routePrefix();
  if (kind == Kind::announce && of) {
    return of.family();
  }
  return ipv6 ? AddressFamily::ipv6 : AddressFamily::ipv4;
}
FecId Operation::fecId() const { return fecIds[fec]; }
NexthopStatusFecIdType Operation::identifierKind() const {
  return flag ? NexthopStatusFecIdType::resolverId : NexthopStatusFecIdType::fibFecId;
}

// Never the default route value, which reads as no route.
Fib::Route Operation::route() const {
  return {fecId(),
          static_cast<std::uint32_t>(number % 5 * 10),
          static_cast<std::uint8_t>(2 + number / 5 % 3),
          static_cast<std::uint8_t>(number / 15 % 3)};
}

// Up to three vias, a boundary at any of them or none. Not all fields can be read off the number of
// vias, so that a record that was not written again differs.
FibGen::Fec Operation::fecValue() const {
  FibGen::Fec value(fecId());
  const auto vias = static_cast<std::uint32_t>(number % 4);
  for (std::uint32_t i = 0; i < vias; ++i) {
    FibGen::Via via;
    via.hop = i == 1 ? Support::addr("2001:db8:ffff::1") : IpGenAddr::ipv4(0xc0000201 + i);
    via.intfId.value = 1 + i + static_cast<std::uint32_t>(number / 4 % 3);
    via.weight = 1 + static_cast<std::uint32_t>(number / 12 % 3);
    if (i == 2) {
      via.labelAndAction.labelIs(16 + static_cast<std::uint32_t>(number % 7));
      via.labelAndAction.actionIs(1);
    }
    value.viaIs(via);
  }
  value.viaIndexBoundaryIs(static_cast<std::uint32_t>(number / 36 % 3));
  return value;
}

namespace {

// True when it changes one VRF's own inputs alone.
bool isOfOneVrf(Operation::Kind kind) noexcept {
  using Kind = Operation::Kind;
  switch (kind) {
    case Kind::configVrfDel:
    case Kind::nexthop:
    case Kind::nexthopDel:
    case Kind::route:
    case Kind::routeDel:
    case Kind::announce:
    case Kind::routing:
    case Kind::routingDel:
    case Kind::context:
    case Kind::published:
    case Kind::manager:
    case Kind::managerDel:
    case Kind::notificationsOff:
    case Kind::notificationsOn:
      return true;
    case Kind::config:
    case Kind::configDel:
    case Kind::configVrf:
    case Kind::status:
    case Kind::statusDel:
    case Kind::renotifyConfig:
    case Kind::renotifyStatus:
    case Kind::fec:
    case Kind::fecDel:
    case Kind::announceFec:
    case Kind::slice:
    case Kind::drain:
    case Kind::advance:
      return false;
  }
  return false;
}

}  // namespace

Step Operation::step() const {
  Step step;
  step.start = kind == Kind::manager ? vrfName() : VrfName();
  step.vrf = isOfOneVrf(kind) ? vrfName() : VrfName();
  if (kind == Kind::fec || kind == Kind::fecDel || kind == Kind::announceFec) {
    step.fec = fecId();
  }
  step.usesFecZero = (kind == Kind::fec || kind == Kind::route) && fecId() == 0;
  step.switchesNotifications = kind == Kind::notificationsOff || kind == Kind::notificationsOn;
  return step;
}

// ---- what fits ----

namespace {

bool routingPresent(const ModelVrf& vrf, AddressFamily family) {
  return (family == AddressFamily::ipv4 ? vrf.routing.first : vrf.routing.second) != nullptr;
}

bool fitsClient(const Operation& operation, const ReferenceModel& model) {
  using Kind = Operation::Kind;
  const String client = operation.clientName();
  switch (operation.kind) {
    case Kind::nexthop:
    case Kind::nexthopDel: {
      const auto record = model.configs().value(client);
      return record && record->vrfs.has(operation.vrfName());
    }
    case Kind::status:
      return !model.statuses(!operation.flag).has(client);
    case Kind::renotifyConfig:
      return model.configs().has(client);
    case Kind::renotifyStatus:
      return model.statuses(operation.flag).has(client);
    default:
      return true;
  }
}

bool fitsMachine(const Operation& operation, const ReferenceModel& model) {
  using Kind = Operation::Kind;
  static const ModelVrf none;
  const auto found = model.vrfs().find(operation.vrfName());
  const ModelVrf& vrf = found == model.vrfs().end() ? none : found->second;
  const bool active = vrf.manager && vrf.manager->active;
  switch (operation.kind) {
    case Kind::routing:
      // What a manager may have taken for absent stays absent.
      return !vrf.manager || routingPresent(vrf, operation.family());
    case Kind::context:
    case Kind::published:
    case Kind::manager:
      return !vrf.manager;
    case Kind::managerDel:
      return vrf.manager != nullptr;
    case Kind::notificationsOff:
      return active;
    case Kind::notificationsOn:
      return vrf.manager && !active;
    default:
      return true;
  }
}

}  // namespace

bool Operation::fits(const ReferenceModel& model) const {
  if (kind == Kind::announceFec) {
    return model.fecs().count(fecId()) != 0;
  }
  return fitsClient(*this, model) && fitsMachine(*this, model);
}

// ---- text ----

namespace {

String fecText(const FibGen::Fec& fec) {
  String text = std::to_string(fec.fecId());
  if (fec.viaIndexBoundary() != 0) {
    text += " boundary " + std::to_string(fec.viaIndexBoundary());
  }
  for (const FibGen::Via& via : fec.via()) {
    text += " via " + via.hop.stringValue() + " intf " + std::to_string(via.intfId.value) +
            " weight " + std::to_string(via.weight) + " label " +
            std::to_string(via.labelAndAction.label()) + " action " +
            std::to_string(via.labelAndAction.action());
  }
  return text;
}

String routeText(const Fib::Route& route) {
  return " fec " + std::to_string(route.fecId()) + " metric " +
         std::to_string(route.metricPref() & 0xffffffffU) + " preference " +
         std::to_string(route.metricPref() >> 32U) + " type " + std::to_string(route.routeType());
}

String clientText(const Operation& operation) {
  using Kind = Operation::Kind;
  const String client = ' ' + operation.clientName();
  const String place = client + (operation.flag ? " cell" : "");
  const String ofVrf = client + ' ' + operation.vrfName();
  switch (operation.kind) {
    case Kind::config:
      return "config" + client;
    case Kind::configDel:
      return "config-del" + client;
    case Kind::configVrf:
      return "config-vrf" + ofVrf + (operation.flag ? " resolver" : " fib");
    case Kind::configVrfDel:
      return "config-vrf-del" + ofVrf;
    case Kind::nexthop:
      return "nexthop" + ofVrf + ' ' + operation.addr().stringValue();
    case Kind::nexthopDel:
      return "nexthop-del" + ofVrf + ' ' + operation.addr().stringValue();
    case Kind::status:
      return "status" + place;
    case Kind::statusDel:
      return "status-del" + place;
    case Kind::renotifyConfig:
      return "renotify config" + client;
    case Kind::renotifyStatus:
      return (operation.flag ? "renotify cell" : "renotify status") + client;
    default:
      return {};
  }
}

String tableText(const Operation& operation) {
  using Kind = Operation::Kind;
  const String vrf = ' ' + operation.vrfName();
  const String family = operation.family() == AddressFamily::ipv4 ? " ipv4" : " ipv6";
  const IpGenPrefix prefix = operation.routePrefix();
  switch (operation.kind) {
    case Kind::route:
      return "route" + vrf + ' ' + prefix.stringValue() + routeText(operation.route());
    case Kind::routeDel:
      return "route-del" + vrf + ' ' + prefix.stringValue();
    case Kind::announce:
      return "announce" + vrf + family + (prefix ? ' ' + prefix.stringValue() : String());
    case Kind::routing:
      return "routing" + vrf + family + (operation.flag ? " on" : " off");
    case Kind::routingDel:
      return "routing" + vrf + family + " absent";
    case Kind::fec:
      return "fec " + fecText(operation.fecValue());
    case Kind::fecDel:
      return "fec-del " + std::to_string(operation.fecId());
    case Kind::announceFec:
      return "announce-fec " + std::to_string(operation.fecId());
    case Kind::context:
      return "context" + vrf + ' ' + std::to_string(operation.number);
    case Kind::published:
      return "published" + vrf + ' ' + std::to_string(operation.number);
    default:
      return {};
  }
}

String machineText(const Operation& operation) {
  using Kind = Operation::Kind;
  const String vrf = ' ' + operation.vrfName();
  switch (operation.kind) {
    case Kind::manager:
      return "manager" + vrf + (operation.flag ? "" : " no-cells");
    case Kind::managerDel:
      return "manager-del" + vrf;
    case Kind::notificationsOff:
      return "notifications" + vrf + " off";
    case Kind::notificationsOn:
      return "notifications" + vrf + " on";
    case Kind::slice:
      return "budget " + std::to_string(operation.number) + "\nstep";
    case Kind::drain:
      return "budget 0\nrun";
    case Kind::advance:
      return "advance " + std::to_string(operation.number);
    default:
      return {};
  }
}

}  // namespace

String Operation::text() const {
  return clientText(*this) + tableText(*this) + machineText(*this) + '\n';
}

String textOf(const Sequence& sequence) {
  String text;
  for (const Operation& operation : sequence) {
    text += operation.text();
  }
  return text;
}

// In the order of the enumerators.
constexpr std::array kindNames{
    "config",      "config-del",  "config-vrf",        "config-vrf-del",   "nexthop",
    "nexthop-del", "status",      "status-del",        "renotify-config",  "renotify-status",
    "route",       "route-del",   "announce",          "routing",          "routing-del",
    "fec",         "fec-del",     "announce-fec",      "context",          "published",
    "manager",     "manager-del", "notifications-off", "notifications-on", "slice",
    "drain",       "advance"};
static_assert(kindNames.size() == Operation::kinds);

const char* nameOf(Operation::Kind kind) noexcept {
  return kindNames[static_cast<std::size_t>(kind)];
}

}  // namespace Routing::Support
