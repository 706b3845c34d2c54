#include "host/service/Queries.h"

#include <algorithm>
#include <set>
#include <utility>

namespace Routing::Host {

namespace {

constexpr std::uint32_t mostGraphNexthops = 10'000;
constexpr double nanosecondsASecond = 1e9;

const TrieGen& trieOf(const Vrf& vrf, AddressFamily family) noexcept {
  return family == AddressFamily::ipv4 ? *vrf.trie4() : *vrf.trie6();
}

// The entry that the library would write for a client of FIB identifiers.
NexthopStatusEntry entryOf(const IpGenAddr& addr,
                           const IpGenPrefix& prefix,
                           const Fib::Route& route) {
  NexthopStatusEntry entry;
  entry.addr = addr;
  if (route.isEq(Fib::Route())) {
    entry.resolutionState = NexthopResolutionState::failed;
    return entry;
  }
  entry.resolutionState = NexthopResolutionState::resolved;
  entry.fecId = route.fecId();
  entry.prefix = prefix;
  entry.metric = static_cast<std::uint32_t>(route.metricPref());
  entry.preference = static_cast<std::uint8_t>(route.metricPref() >> 32U);
  const bool ipv4 = addr.family() == AddressFamily::ipv4;
  (ipv4 ? entry.routeType : entry.route6Type) = route.routeType();
  return entry;
}

}  // namespace

void walkCovering(const Vrf& vrf,
                  const IpGenAddr& addr,
                  const std::function<void(const IpGenPrefix& prefix)>& visit) {
  const TrieGen& trie = trieOf(vrf, addr.family());
  IpGenPrefix prefix = trie.longestMatch(IpGenPrefix::host(addr));
  while (prefix) {
    visit(prefix);
    if (prefix.length() == 0) {
      return;
    }
    prefix = trie.longestMatch(IpGenPrefix(addr, static_cast<std::uint8_t>(prefix.length() - 1)));
  }
}

Fib::Route routeOf(const Vrf& vrf, const IpGenPrefix& prefix) {
  return prefix.family() == AddressFamily::ipv4 ? vrf.routes4()->route(Prefix(prefix))
                                                : vrf.routes6()->route(Ip6Prefix(prefix));
}

// The FECs that a graph's nexthops refer to, each added once.
class Queries::FecList {
 public:
  FecList(const Queries& queries, Proto::GraphResponse& response)
      : queries_(queries), response_(response) {}

  void add(const Vrf& vrf, FecId fec) {
    if (fec == 0 || !seen_.emplace(vrf.name(), fec).second) {
      return;
    }
    Proto::GraphFec& message = *response_.add_fecs();
    message.set_vrf(vrf.name());
    message.set_fec_id(fec);
    queries_.viasTo(*message.mutable_vias(), vrf, fec);
  }

 private:
  const Queries& queries_;
  Proto::GraphResponse& response_;
  std::set<std::pair<VrfName, FecId>> seen_;
};

Queries::Queries(Vrfs& vrfs,
                 const NexthopTable& table,
                 const Registrations& registrations,
                 const ServiceHooks& hooks,
                 ServiceIdentity identity)
    : vrfs_(vrfs),
      table_(table),
      registrations_(registrations),
      hooks_(hooks),
      identity_(std::move(identity)) {}

// ---- what the others share ---------------------------------------------------------------------

VrfCondition Queries::condition(const VrfName& name) const {
  const SharedRecords& records = vrfs_.records();
  VrfCondition condition;
  const Vrf* vrf = vrfs_.vrf(name);
  condition.present = vrf != nullptr;
  condition.synced = (!hooks_.synced || hooks_.synced()) && vrf != nullptr && vrf->managed();
  condition.routing4 =
      routingEnabled<Ipv4Routing>(entityOf<const RoutingInfo>(*records.routing4, name));
  condition.routing6 =
      routingEnabled<Ipv6Routing>(entityOf<const Routing6::RoutingInfo>(*records.routing6, name));
  return condition;
}

Vrf& Queries::vrf(const std::string& name) const {
  if (Vrf* present = vrfs_.vrf(vrfOf(name))) {
    return *present;
  }
  throw RequestError(RequestFault::notFound, "vrf", "there is no VRF " + vrfOf(name));
}

VrfName Queries::registeredVrf(const std::string& name) const {
  const VrfName asked = vrfOf(name);
  bool registered = false;
  table_.walk(
      [&](const NexthopTable::Group& group) { registered = registered || group.vrf == asked; });
  return registered ? asked : vrf(name).name();
}

bool Queries::publishes(const VrfName& name,
                        const Ptr<NexthopResolverForwardingStatus>& forwarding) const {
  const Vrf* present = vrfs_.vrf(name);
  return present != nullptr && present->forwarding() == forwarding;
}

void Queries::interfaceNameTo(Proto::Via& via) const {
  if (hooks_.interfaceName) {
    via.set_interface(hooks_.interfaceName(via.interface_index()));
  }
}

void Queries::viasTo(Vias& vias, const Vrf& vrf, FecId fec) const {
  const FibGen::Fec found = vrf.fecs()->fec(fec);
  for (const FibGen::Via& via : found.via()) {
    Proto::Via& message = *vias.Add();
    viaTo(message, via);
    interfaceNameTo(message);
  }
}

Told Queries::lookUp(const Vrf& vrf, const IpGenAddr& addr, const Policy& policy) const {
  Told told;
  const VrfCondition known = condition(vrf.name());
  if (!vrf.managed()) {
    told.view = judge(nullptr, addr.family(), policy, known);
    return told;
  }
  const IpGenPrefix prefix = trieOf(vrf, addr.family()).longestMatch(IpGenPrefix::host(addr));
  const bool routing = addr.family() == AddressFamily::ipv4 ? known.routing4 : known.routing6;
  const Fib::Route route = prefix && routing ? routeOf(vrf, prefix) : Fib::Route();
  const NexthopStatusEntry entry = entryOf(addr, prefix, route);
  told.view = judge(&entry, addr.family(), policy, known);
  return told;
}

// ---- requests ----------------------------------------------------------------------------------

void Queries::resolve(const Proto::ResolveRequest& request,
                      Proto::ResolveResponse& response) const {
  const Vrf& asked = vrf(request.vrf());
  const Policy policy = policyOf(request.policy());
  const std::vector<IpGenAddr> addrs = addressesOf(request.addresses());
  checkPolicy(policy, addrs);
  for (const IpGenAddr& addr : addrs) {
    Proto::Resolution& resolution = *response.add_resolutions();
    const Told told = lookUp(asked, addr, policy);
    statusTo(*resolution.mutable_status(), addr, told);
    resolution.mutable_status()->set_stale(false);
    if (told.view.state == NexthopState::resolved) {
      viasTo(*resolution.mutable_vias(), asked, told.view.identifier);
    }
  }
}

Policy Queries::explainedPolicy(const Proto::ExplainRequest& request,
                                const VrfName& vrf,
                                const IpGenAddr& addr) const {
  const Registrations::Client* client = registrations_.client(request.client());
  if (client == nullptr && !request.client().empty()) {
    throw RequestError(RequestFault::notFound, "client", "there is no client " + request.client());
  }
  if (request.has_policy()) {
    const Policy policy = policyOf(request.policy());
    checkPolicy(policy, {addr});
    return policy;
  }
  if (client != nullptr) {
    const auto part = client->parts.find(vrf);
    if (part != client->parts.end()) {
      if (const SlotId* id = NexthopTable::find(*part->second.group, addr)) {
        return table_.slots()[*id].policy;
      }
    }
  }
  return {};
}

void Queries::candidatesTo(Proto::ExplainResponse& response,
                           const Vrf& vrf,
                           const IpGenAddr& addr,
                           const Policy& policy) const {
  const VrfCondition known = condition(vrf.name());
  const bool routing = addr.family() == AddressFamily::ipv4 ? known.routing4 : known.routing6;
  walkCovering(vrf, addr, [&](const IpGenPrefix& prefix) {
    const bool longest = response.candidates().empty();
    const Fib::Route route = routeOf(vrf, prefix);
    const NexthopReason reason = refusal(policy, prefix, route.routeType());
    Proto::Candidate& candidate = *response.add_candidates();
    addressTo(*candidate.mutable_prefix(), prefix.address());
    candidate.set_prefix_length(prefix.length());
    candidate.set_fec_id(route.fecId());
    candidate.set_metric(static_cast<std::uint32_t>(route.metricPref()));
    candidate.set_preference(static_cast<std::uint8_t>(route.metricPref() >> 32U));
    candidate.set_route_type(route.routeType());
    if (!routing) {
      candidate.set_verdict(Proto::VERDICT_ROUTING_OFF);
    } else if (!longest) {
      candidate.set_verdict(Proto::VERDICT_SHORTER);
    } else if (reason == NexthopReason::none) {
      candidate.set_verdict(Proto::VERDICT_WON);
    } else {
      candidate.set_verdict(Proto::VERDICT_REFUSED);
      candidate.set_reason(static_cast<Proto::Reason>(reason));
    }
    if (hooks_.kernelRoutes) {
      for (std::string& line : hooks_.kernelRoutes(vrf, prefix)) {
        candidate.add_kernel_routes(std::move(line));
      }
    }
  });
}

void Queries::explain(const Proto::ExplainRequest& request,
                      Proto::ExplainResponse& response) const {
  const Vrf& asked = vrf(request.vrf());
  const IpGenAddr addr = addressOf(request.address(), "address");
  const Policy policy = explainedPolicy(request, asked.name(), addr);
  const Told told = lookUp(asked, addr, policy);
  statusTo(*response.mutable_status(), addr, told);
  response.mutable_status()->set_stale(false);
  if (told.view.state == NexthopState::resolved) {
    viasTo(*response.mutable_vias(), asked, told.view.identifier);
  }
  if (asked.managed()) {
    candidatesTo(response, asked, addr, policy);
  }
  historiesTo(*response.mutable_histories(), asked.name(), addr, {});
}

void Queries::historiesTo(Histories& histories,
                          const VrfName& vrf,
                          const IpGenAddr& addr,
                          const std::string& client) const {
  table_.walk([&](const NexthopTable::Group& group) {
    const SlotId* id = NexthopTable::find(group, addr);
    if (id == nullptr || group.vrf != vrf || (!client.empty() && client != group.client)) {
      return;
    }
    const NexthopSlot& slot = table_.slots()[*id];
    Proto::ClientHistory& history = *histories.Add();
    history.set_client(group.client);
    history.set_kind(kindOf(group.kind));
    policyTo(*history.mutable_policy(), slot.policy);
    statusTo(*history.mutable_status(), addr, slot.told);
    for (const NexthopEvent& event : table_.history(*id)) {
      eventTo(*history.add_events(), event);
    }
  });
}

void Queries::history(const Proto::HistoryRequest& request,
                      Proto::HistoryResponse& response) const {
  historiesTo(*response.mutable_histories(),
              registeredVrf(request.vrf()),
              addressOf(request.address(), "address"),
              request.client());
}

void Queries::graph(const Proto::GraphRequest& request, Proto::GraphResponse& response) const {
  const auto limit = static_cast<int>(
      request.limit() == 0 ? mostGraphNexthops : std::min(request.limit(), mostGraphNexthops));
  const StreamFilter filter{request.client(),
                            request.vrf().empty() ? VrfName() : registeredVrf(request.vrf())};
  FecList fecs(*this, response);
  table_.walk([&](const NexthopTable::Group& group) {
    const Vrf* vrf = vrfs_.vrf(group.vrf);
    if (!filter.admits(group)) {
      return;
    }
    group.walk([&](SlotId id) {
      if (response.nexthops_size() == limit) {
        response.set_truncated(true);
        return;
      }
      const NexthopSlot& slot = table_.slots()[id];
      Proto::GraphNexthop& nexthop = *response.add_nexthops();
      nexthop.set_client(group.client);
      nexthop.set_vrf(group.vrf);
      nexthop.set_kind(kindOf(group.kind));
      statusTo(*nexthop.mutable_status(), slot.addr, slot.told);
      if (vrf != nullptr && slot.told.view.state == NexthopState::resolved) {
        const FecId fec = routeOf(*vrf, slot.told.view.prefix).fecId();
        nexthop.set_fec_id(fec);
        fecs.add(*vrf, fec);
      }
    });
  });
}

void Queries::listVrfs(const Proto::ListVrfsRequest& /*request*/,
                       Proto::ListVrfsResponse& response) const {
  for (const auto& vrf : vrfs_.all()) {
    const VrfCondition known = condition(vrf->name());
    Proto::Vrf& message = *response.add_vrfs();
    message.set_name(vrf->name());
    message.set_table(vrf->table());
    message.set_serving(vrf->managed());
    message.set_routing4(known.routing4);
    message.set_routing6(known.routing6);
    message.set_routes4(vrf->routes4()->routeCount());
    message.set_routes6(vrf->routes6()->routeCount());
    message.set_fecs(vrf->fecs()->fecCount());
    if (const auto forwarding = vrf->forwarding()->vrf(vrf->name())) {
      message.set_identifiers(forwarding->nexthopResolverIdVia().size());
    }
    table_.walk([&](const NexthopTable::Group& group) {
      if (group.vrf == vrf->name()) {
        message.set_registrations(message.registrations() + group.count());
      }
    });
  }
}

void Queries::listClients(const Proto::ListClientsRequest& /*request*/,
                          Proto::ListClientsResponse& response) const {
  for (const auto& [name, client] : registrations_.clients()) {
    Proto::Client& message = *response.add_clients();
    message.set_name(name);
    message.set_user(client.user);
    message.set_live(client.live());
    if (client.live()) {
      message.set_backlog(client.stream->backlog());
    } else {
      const auto left = client.deadline - registrations_.now();
      message.set_grace_left(std::max(0.0, static_cast<double>(left.count()) / nanosecondsASecond));
    }
    for (const auto& [vrf, part] : client.parts) {
      Proto::ClientVrf& inVrf = *message.add_vrfs();
      inVrf.set_vrf(vrf);
      inVrf.set_kind(kindOf(part.group->kind));
      inVrf.set_registrations(part.group->count());
    }
  }
}

void Queries::getInfo(const Proto::GetInfoRequest& /*request*/,
                      Proto::GetInfoResponse& response) const {
  response.set_version(identity_.version);
  response.set_run(identity_.run);
  response.set_started_at(identity_.startedAt);
  response.set_synced(!hooks_.synced || hooks_.synced());
  std::map<std::string, std::uint64_t> counters;
  counters["clients"] = registrations_.clients().size();
  counters["registrations"] = table_.slots().live();
  if (hooks_.counters) {
    hooks_.counters(counters);
  }
  for (const auto& [name, value] : counters) {
    (*response.mutable_counters())[name] = value;
  }
}

}  // namespace Routing::Host
