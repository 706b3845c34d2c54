#include "host/kernel/KernelState.h"

#include <linux/rtnetlink.h>

#include <algorithm>
#include <utility>

#include "host/loop/Log.h"

namespace Routing::Host {

KernelState::KernelState(Vrfs& vrfs, FecIdSource& source, const Ptr<TaskScheduler>& scheduler)
    : vrfs_(vrfs), source_(source), scheduler_(scheduler) {
  for (const auto& vrf : vrfs.all()) {
    routes_.push_back(std::make_unique<VrfRoutes>(*vrf, source_, scheduler_));
  }
  vrfs.listenerIs([this](Vrf& vrf, bool added) { vrfChanged(vrf, added); });
}

KernelState::~KernelState() = default;

// ---- messages
// ------------------------------------------------------------------------------------

void KernelState::apply(const Message& message, bool inDump) {
  switch (message.type) {
    case RTM_NEWROUTE:
    case RTM_DELROUTE:
      return routeMessage(message, inDump);
    case RTM_NEWNEXTHOP:
    case RTM_DELNEXTHOP:
      return nexthopMessage(message);
    case RTM_NEWLINK:
    case RTM_DELLINK:
      return linkMessage(message);
    case RTM_NEWADDR:
    case RTM_DELADDR:
      return addressMessage(message);
    case RTM_NEWNETCONF:
    case RTM_DELNETCONF:
      return settingMessage(message);
    default:
      ++counters_.passedOver;
  }
}

// A damaged message says that something happened, not what. In a dump it may have been the only
// sign of something that is there.
bool KernelState::accept(Parsed parsed) {
  switch (parsed) {
    case Parsed::value:
      ++counters_.applied;
      return true;
    case Parsed::passedOver:
      ++counters_.passedOver;
      return false;
    case Parsed::damaged:
      ++counters_.damaged;
      damaged_ = true;
      recheck_.damaged = true;
      return false;
  }
  return false;
}

void KernelState::routeMessage(const Message& message, bool inDump) {
  if (!accept(parseRoute(message.body, route_))) {
    return;
  }
  VrfRoutes* routes = routesOfTable(route_.table);
  if (routes == nullptr || (inDump && (routes != dumping_ || route_.table != dump_.table))) {
    ++counters_.otherTables;
    return;
  }
  if (message.type == RTM_DELROUTE) {
    // A dump may have read the route before, and name it yet.
    const FecId fec = routes->inDump(route_) ? fecOf(*routes, route_) : knownFecOf(*routes, route_);
    if (!routes->routeDel(route_, fec)) {
      ++counters_.doubtful;
      recheck_.everything = true;
    }
    return;
  }
  counters_.deepLabelStacks += route_.deepLabelStacks;
  preferredSourceIs(route_);
  if (!inDump && route_.object != 0 && !objects_.has(route_.object)) {
    recheck_.everything = true;
  }
  const FecId fec = fecOf(*routes, route_);
  if (route_.interface != 0) {
    otherInterfaces_.insert(route_.interface);
  }
  if (fec == 0) {
    for (const Hop& hop : route_.hops) {
      otherInterfaces_.insert(hop.via.intfId.value);
    }
  }
  if (inDump) {
    routes->dumpRoute(route_, fec);
  } else {
    routes->routeIs(route_, fec, message.flags);
  }
}

void KernelState::nexthopMessage(const Message& message) {
  if (!accept(parseNexthop(message.body, nexthop_))) {
    return;
  }
  const std::uint32_t object = nexthop_.object;
  if (message.type == RTM_DELNEXTHOP) {
    return objectDel(object);
  }
  counters_.deepLabelStacks += nexthop_.deepLabelStacks;
  const bool known = objects_.has(object);
  const bool blackholed = objects_.blackhole(object);
  if (!known) {
    routesOfGoneDel(object);
  }
  objectsChanged(objects_.nexthopIs(nexthop_));
  // Its routes change their type.
  if (known && blackholed != objects_.blackhole(object)) {
    recheck_.everything = true;
  }
}

void KernelState::linkMessage(const Message& message) {
  LinkMessage link;
  if (accept(parseLink(message.body, link))) {
    if (message.type == RTM_NEWLINK) {
      linkIs(link);
    } else {
      linkDel(link.interface);
    }
  }
}

void KernelState::addressMessage(const Message& message) {
  AddressMessage address;
  if (accept(parseAddress(message.body, address))) {
    if (message.type == RTM_NEWADDR) {
      links_.addressIs(address);
    } else {
      addressDel(address);
    }
  }
}

// Which routes the kernel uses now it does not tell.
void KernelState::settingMessage(const Message& message) {
  SettingMessage setting;
  if (!accept(parseSetting(message.body, setting))) {
    return;
  }
  if (setting.interface == 0) {
    recheck_.everything = true;
  } else if (interfaceUsed(setting.interface)) {
    recheck_.interfaces.insert(setting.interface);
  }
}

// ---- routes
// --------------------------------------------------------------------------------------

VrfRoutes* KernelState::routesOfTable(std::uint32_t table) noexcept {
  if (table == VrfRoutes::localTable) {
    table = VrfRoutes::mainTable;
  }
  for (const auto& routes : routes_) {
    if (routes->feed().vrf().table() == table) {
      return routes.get();
    }
  }
  return nullptr;
}

const VrfRoutes* KernelState::routes(const Vrf& vrf) const noexcept {
  for (const auto& routes : routes_) {
    if (&routes->feed().vrf() == &vrf) {
      return routes.get();
    }
  }
  return nullptr;
}

// An interface that is down carries nothing, whatever a message that was on its way says.
void KernelState::deadOnDownLinks(Hops& hops) const noexcept {
  for (Hop& hop : hops) {
    hop.dead = hop.dead || links_.down(hop.via.intfId.value);
  }
}

FecId KernelState::fecOf(VrfRoutes& routes, RouteMessage& route) {
  Fecs& fecs = routes.feed().fecs();
  if (route.hops.empty() && route.object == 0) {
    return fecs.ofType(route.type);
  }
  if (route.object == 0) {
    deadOnDownLinks(route.hops);
    return fecs.ofHops(route.prefix.family(), route.hops);
  }
  // Kept up to date by whatever changes the object.
  const FecId present = fecs.findObject(route.object);
  if (present != 0 && fecs.usable(present)) {
    return present;
  }
  Hops hops = objects_.has(route.object) ? objects_.hops(route.object) : route.hops;
  deadOnDownLinks(hops);
  return fecs.ofObject(route.object, hops);
}

FecId KernelState::knownFecOf(const VrfRoutes& routes, const RouteMessage& route) const {
  const Fecs& fecs = routes.feed().fecs();
  if (route.object != 0) {
    return fecs.findObject(route.object);
  }
  return route.hops.empty() ? fecs.findType(route.type)
                            : fecs.findHops(route.prefix.family(), route.hops);
}

// The kernel's own routes name the address that they came with, and go with it by a notification.
void KernelState::preferredSourceIs(const RouteMessage& route) {
  if (route.protocol != RTPROT_KERNEL && route.preferredSource &&
      route.preferredSource != lastPreferredSource_) {
    lastPreferredSource_ = route.preferredSource;
    preferredSources_.insert(route.preferredSource);
  }
}

// ---- interfaces and nexthop objects
// --------------------------------------------------------------

// Whether routes can appear on the interface or vanish from it without a word.
bool KernelState::interfaceUsed(std::uint32_t interface) const {
  return otherInterfaces_.count(interface) != 0 ||
         std::any_of(routes_.begin(), routes_.end(), [interface](const auto& routes) {
           return routes->feed().fecs().usesInterface(interface);
         });
}

void KernelState::linkIs(const LinkMessage& link) {
  const Links::Link* known = links_.link(link.interface);
  const bool wasUp = known != nullptr && known->content.up;
  const bool wasRunning = known != nullptr && known->content.running;
  if (known != nullptr && (wasUp != link.up || wasRunning != link.running) &&
      interfaceUsed(link.interface)) {
    recheck_.interfaces.insert(link.interface);
  }
  const bool named = known == nullptr || known->content.name != link.name;
  links_.linkIs(link);
  vrfDeviceIs(link, named);
  if (wasUp && !link.up) {
    linkDown(link.interface);
  } else if (wasRunning && !link.running) {
    objectsChanged(objects_.interfaceDel(link.interface));
  }
}

void KernelState::linkDel(std::uint32_t interface) {
  if (interfaceUsed(interface)) {
    recheck_.interfaces.insert(interface);
  }
  otherInterfaces_.erase(interface);
  linkDown(interface);
  links_.linkDel(interface);
  vrfDeviceDel(interface);
}

void KernelState::linkDown(std::uint32_t interface) {
  objectsChanged(objects_.interfaceDel(interface));
  for (const auto& routes : routes_) {
    routes->feed().fecs().interfaceDead(interface, AddressFamily::unset);
  }
}

void KernelState::addressDel(const AddressMessage& address) {
  if (links_.addressDel(address)) {
    if (interfaceUsed(address.interface)) {
      recheck_.interfaces.insert(address.interface);
    }
    for (const auto& routes : routes_) {
      routes->feed().fecs().interfaceDead(address.interface, AddressFamily::ipv4);
    }
  }
  if (preferredSources_.count(address.address) != 0) {
    recheck_.everything = true;
  }
}

// The kernel drops the routes over the object without a word. Those over a blackhole do not name it
// here: they are of that type, as any other blackhole.
void KernelState::objectDel(std::uint32_t object) {
  const Hops hops = objects_.hops(object);
  const bool blackholed = objects_.has(object) && hops.empty();
  const NexthopObjects::Ids changed = objects_.nexthopDel(object);
  for (const auto& routes : routes_) {
    const Fecs& fecs = routes->feed().fecs();
    if (blackholed && fecs.findType(RouteType::blackhole) != 0) {
      recheck_.everything = true;
    }
    if (std::any_of(changed.begin(), changed.end(), [&fecs](std::uint32_t one) {
          return fecs.findObject(one) != 0;
        })) {
      for (const Hop& hop : hops) {
        recheck_.interfaces.insert(hop.via.intfId.value);
      }
    }
  }
  objectsChanged(changed);
}

// An object comes again under the number of one that went in the same batch. Routes over the old
// one went with it, and must not be taken for routes over the new one.
void KernelState::routesOfGoneDel(std::uint32_t object) {
  for (const auto& routes : routes_) {
    const Fecs& fecs = routes->feed().fecs();
    const FecId fec = fecs.findObject(object);
    if (fec != 0 && !fecs.usable(fec)) {
      routes->unusableDel();
    }
  }
}

void KernelState::objectsChanged(const NexthopObjects::Ids& objects) {
  for (const std::uint32_t object : objects) {
    Hops hops = objects_.hops(object);
    deadOnDownLinks(hops);
    for (const auto& routes : routes_) {
      Fecs& fecs = routes->feed().fecs();
      if (fecs.findObject(object) != 0) {
        fecs.ofObject(object, hops);
      }
    }
  }
}

std::uint64_t KernelState::viasBeyondLimit() const noexcept {
  std::uint64_t sum = viasBeyondLimit_;
  for (const auto& routes : routes_) {
    sum += routes->feed().fecs().viasBeyondLimit();
  }
  return sum;
}

// ---- VRFs
// ----------------------------------------------------------------------------------------

// `named`: the link was not told of under this name before.
void KernelState::vrfDeviceIs(const LinkMessage& link, bool named) {
  if (link.vrfTable == 0 || vrfs_.vrfOfTable(link.vrfTable) != nullptr) {
    return;
  }
  if (vrfs_.vrf(link.name) != nullptr) {
    if (named) {
      log(LogLevel::warning,
          "VRF device " + link.name + " is not followed: another VRF has its name");
    }
    return;
  }
  devices_[link.interface] = link.name;
  vrfs_.vrfIs(link.name, link.vrfTable);
}

// Another device of the table stands in: one of the same name, which was made anew while messages
// were lost, for the VRF as it is.
void KernelState::vrfDeviceDel(std::uint32_t interface) {
  const auto found = devices_.find(interface);
  if (found == devices_.end()) {
    return;
  }
  const VrfName name = found->second;
  devices_.erase(found);
  const Vrf* vrf = vrfs_.vrf(name);
  const Links::Link* other = vrf == nullptr ? nullptr : links_.vrfDevice(vrf->table());
  if (other != nullptr && other->content.name == name) {
    devices_[other->content.interface] = name;
    return;
  }
  vrfs_.vrfDel(name);
  if (other != nullptr) {
    vrfDeviceIs(other->content, true);
  }
}

void KernelState::vrfChanged(Vrf& vrf, bool added) {
  if (added) {
    routes_.push_back(std::make_unique<VrfRoutes>(vrf, source_, scheduler_));
    if (vrfAdded_) {
      vrfAdded_(vrf);
    }
    return;
  }
  std::erase_if(routes_, [this, &vrf](const std::unique_ptr<VrfRoutes>& routes) {
    if (&routes->feed().vrf() != &vrf) {
      return false;
    }
    if (dumping_ == routes.get()) {
      dumping_ = nullptr;
    }
    viasBeyondLimit_ += routes->feed().fecs().viasBeyondLimit();
    return true;
  });
}

// ---- dumps
// ---------------------------------------------------------------------------------------

std::vector<DumpRequest> KernelState::everything() const {
  using Kind = DumpRequest::Kind;
  std::vector<DumpRequest> requests{{Kind::links}, {Kind::addresses}, {Kind::nexthops}};
  for (const auto& vrf : vrfs_.all()) {
    const std::vector<DumpRequest> more = routesOf(*vrf, 0);
    requests.insert(requests.end(), more.begin(), more.end());
  }
  return requests;
}

std::vector<DumpRequest> KernelState::routesOf(const Vrf& vrf, std::uint32_t interface) const {
  using Kind = DumpRequest::Kind;
  std::vector<DumpRequest> requests;
  for (const AddressFamily family : {AddressFamily::ipv4, AddressFamily::ipv6}) {
    if (vrf.table() == VrfRoutes::mainTable) {
      requests.push_back({Kind::routes, family, VrfRoutes::localTable, interface});
    }
    requests.push_back({Kind::routes, family, vrf.table(), interface});
  }
  return requests;
}

void KernelState::dumpBegin(const DumpRequest& request) {
  reading_ = true;
  dump_ = request;
  damaged_ = false;
  switch (request.kind) {
    case DumpRequest::Kind::links:
      links_.markLinks();
      break;
    case DumpRequest::Kind::addresses:
      links_.markAddresses();
      break;
    case DumpRequest::Kind::nexthops:
      objects_.mark();
      break;
    case DumpRequest::Kind::routes:
      dumping_ = routesOfTable(request.table);
      if (dumping_ != nullptr) {
        dumping_->dumpBegin(
            {request.family, request.table == VrfRoutes::localTable, request.interface});
      }
      break;
  }
}

void KernelState::dumpEnd(bool complete) {
  const bool whole = complete && !damaged_;
  switch (dump_.kind) {
    case DumpRequest::Kind::links:
      for (const std::uint32_t interface :
           whole ? links_.unnamedLinks() : std::vector<std::uint32_t>{}) {
        linkDel(interface);
      }
      break;
    case DumpRequest::Kind::addresses:
      for (const AddressMessage& address :
           whole ? links_.unnamedAddresses() : std::vector<AddressMessage>{}) {
        addressDel(address);
      }
      break;
    case DumpRequest::Kind::nexthops:
      if (whole) {
        objectsChanged(objects_.sweep());
      }
      break;
    case DumpRequest::Kind::routes:
      if (dumping_ != nullptr) {
        recheck_.disturbed = !dumping_->dumpEnd(whole) || recheck_.disturbed;
        dumping_ = nullptr;
      }
      break;
  }
}

void KernelState::unusableDel() {
  for (const auto& routes : routes_) {
    routes->unusableDel();
  }
}

Recheck KernelState::takeRecheck() {
  for (const auto& routes : routes_) {
    recheck_.everything = routes->takeUnordered() || recheck_.everything;
  }
  return std::exchange(recheck_, {});
}

}  // namespace Routing::Host
