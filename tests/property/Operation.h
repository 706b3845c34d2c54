#pragma once

// Operation: one thing that a host does, out of a small universe, as a plain value that can be
// drawn, dropped from a sequence, printed as lines of a replay file, and done: to the library and
// to the reference model by the same call.
//
// The universe: VRFs v1 and v2, clients a, b and c, four IPv4 and three IPv6 nexthops, five nested
// prefixes a family (the default route and the host route of a nexthop among them), the FecIds 1 to
// 6 and one with information bits. FecId 0 is there too, for sequences that ask for it.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/fib/Fec.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "records/NexthopConfig.h"
#include "tests/invariant/Invariant.h"

namespace Routing::Support {

class ReferenceModel;

struct Operation {
  enum class Kind : std::uint8_t {
    config,
    configDel,
    configVrf,
    configVrfDel,
    nexthop,
    nexthopDel,
    status,
    statusDel,
    renotifyConfig,
    renotifyStatus,
    route,
    routeDel,
    announce,
    routing,
    routingDel,
    fec,
    fecDel,
    announceFec,
    context,
    published,
    manager,
    managerDel,
    notificationsOff,
    notificationsOn,
    slice,
    drain,
    advance,
  };
  static constexpr std::size_t kinds = static_cast<std::size_t>(Kind::advance) + 1;
  static constexpr std::size_t vrfs = 2;
  static constexpr std::size_t clients = 3;
  static constexpr std::size_t nexthops = 7;
  static constexpr std::size_t prefixes = 10;
  // FecId 0 is the last.
  static constexpr std::size_t fecs = 8;

  Kind kind = Kind::drain;
  // Places in the universe; each kind reads those that it needs.
  std::uint8_t vrf = 0;
  std::uint8_t client = 0;
  std::uint8_t nexthop = 0;
  // `prefixes` and above: the unset prefix.
  std::uint8_t prefix = 0;
  std::uint8_t fec = 0;
  // Of configVrf: for resolver identifiers; of status: the per-cell directory; of routing: on; of
  // manager: with per-cell statuses.
  bool flag = false;
  // Whether the family is IPv6, where no prefix says it.
  bool ipv6 = false;
  // The contents of a route or FEC, the budget of a slice, seconds, the context's value, the
  // ResolverId of what an earlier run published.
  std::uint64_t number = 0;

  friend bool operator==(const Operation&, const Operation&) = default;

  VrfName vrfName() const;
  String clientName() const;
  IpGenAddr addr() const;
  IpGenPrefix routePrefix() const;
  AddressFamily family() const;
  FecId fecId() const;
  Fib::Route route() const;
  FibGen::Fec fecValue() const;
  NexthopStatusFecIdType identifierKind() const;

  // What invariants ask of it.
  Step step() const;
  // One or two lines of a replay file, each with its newline.
  String text() const;
  // Whether a host may do it as things stand: not to what is absent, and by the rules for hosts.
  bool fits(const ReferenceModel& model) const;
};

const char* nameOf(Operation::Kind kind) noexcept;

using Sequence = std::vector<Operation>;

// A replay file.
String textOf(const Sequence& sequence);

// The target is the library's world or the model.
template <class Target>
void doIt(const Operation& operation, Target& target) {
  using Kind = Operation::Kind;
  const VrfName vrf = operation.vrfName();
  const String client = operation.clientName();
  switch (operation.kind) {
    case Kind::config:
      return target.config(client);
    case Kind::configDel:
      return target.configDel(client);
    case Kind::configVrf:
      return target.configVrf(client, vrf, operation.identifierKind());
    case Kind::configVrfDel:
      return target.configVrfDel(client, vrf);
    case Kind::nexthop:
      return target.nexthop(client, vrf, operation.addr());
    case Kind::nexthopDel:
      return target.nexthopDel(client, vrf, operation.addr());
    case Kind::status:
      return target.status(client, operation.flag);
    case Kind::statusDel:
      return target.statusDel(client, operation.flag);
    case Kind::renotifyConfig:
      return target.renotifyConfig(client);
    case Kind::renotifyStatus:
      return target.renotifyStatus(client, operation.flag);
    case Kind::route:
      return target.route(vrf, operation.routePrefix(), operation.route());
    case Kind::routeDel:
      return target.routeDel(vrf, operation.routePrefix());
    case Kind::announce:
      return target.announce(vrf, operation.family(), operation.routePrefix());
    case Kind::routing:
      return target.routing(vrf, operation.family(), operation.flag);
    case Kind::routingDel:
      return target.routingDel(vrf, operation.family());
    case Kind::fec:
      return target.fec(operation.fecValue());
    case Kind::fecDel:
      return target.fecDel(operation.fecId());
    case Kind::announceFec:
      return target.announceFec(operation.fecId());
    case Kind::context:
      return target.context(vrf, operation.number);
    case Kind::published:
      return target.published(vrf, operation.number);
    case Kind::manager:
      return target.manager(vrf, operation.flag);
    case Kind::managerDel:
      return target.managerDel(vrf);
    case Kind::notificationsOff:
      return target.notifications(vrf, false);
    case Kind::notificationsOn:
      return target.notifications(vrf, true);
    case Kind::slice:
      target.budget(operation.number);
      return target.step();
    case Kind::drain:
      target.budget(0);
      return target.run();
    case Kind::advance:
      return target.advance(operation.number);
  }
}

}  // namespace Routing::Support
