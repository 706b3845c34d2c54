#pragma once

// Queries: the requests that look and change nothing. Each answers from what stands at that moment:
// routes from the tables, what clients are told from the last commit. The tables of a VRF without a
// manager have not been read whole: nothing is answered from them.
//
// Throws: RequestError.

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host/service/Messages.h"
#include "host/service/NexthopTable.h"
#include "host/service/Registrations.h"
#include "host/vrf/Vrfs.h"

namespace Routing::Host {

// What the service asks of the rest of the daemon. A hook that is not set knows nothing.
struct ServiceHooks {
  // The kernel's tables have been read whole. Not set: they have.
  std::function<bool()> synced;
  // Of an interface index; empty when there is none.
  std::function<std::string(std::uint32_t index)> interfaceName;
  // The kernel's routes under a prefix, the preferred first, a line each.
  std::function<std::vector<std::string>(const Vrf& vrf, const IpGenPrefix& prefix)> kernelRoutes;
  // Figures by name, beside the service's own.
  std::function<void(std::map<std::string, std::uint64_t>& counters)> counters;
};

// What is constant while the daemon runs.
struct ServiceIdentity {
  std::string version;
  // Of the daemon's runs; a later one has a greater number.
  std::uint64_t run = 0;
  // Nanoseconds since 1970-01-01T00:00:00Z.
  std::int64_t startedAt = 0;
};

// Calls with each prefix of the VRF that covers the address, the longest first.
void walkCovering(const Vrf& vrf,
                  const IpGenAddr& addr,
                  const std::function<void(const IpGenPrefix& prefix)>& visit);
// The route under exactly this prefix.
Fib::Route routeOf(const Vrf& vrf, const IpGenPrefix& prefix);

class Queries {
 public:
  Queries(Vrfs& vrfs,
          const NexthopTable& table,
          const Registrations& registrations,
          const ServiceHooks& hooks,
          ServiceIdentity identity);

  VrfCondition condition(const VrfName& name) const;
  // Throws: RequestError for "vrf" when there is none.
  Vrf& vrf(const std::string& name) const;
  // The name, unless there is neither such a VRF nor a registration that waits for it. Throws:
  // RequestError for "vrf".
  VrfName registeredVrf(const std::string& name) const;
  // True when the VRF is still the one that publishes there.
  bool publishes(const VrfName& name, const Ptr<NexthopResolverForwardingStatus>& forwarding) const;
  void interfaceNameTo(Proto::Via& via) const;
  const ServiceIdentity& identity() const noexcept { return identity_; }

  void resolve(const Proto::ResolveRequest& request, Proto::ResolveResponse& response) const;
  void explain(const Proto::ExplainRequest& request, Proto::ExplainResponse& response) const;
  void history(const Proto::HistoryRequest& request, Proto::HistoryResponse& response) const;
  void graph(const Proto::GraphRequest& request, Proto::GraphResponse& response) const;
  void listVrfs(const Proto::ListVrfsRequest& request, Proto::ListVrfsResponse& response) const;
  void listClients(const Proto::ListClientsRequest& request,
                   Proto::ListClientsResponse& response) const;
  void getInfo(const Proto::GetInfoRequest& request, Proto::GetInfoResponse& response) const;

 private:
  using Vias = ::google::protobuf::RepeatedPtrField<Proto::Via>;
  using Histories = ::google::protobuf::RepeatedPtrField<Proto::ClientHistory>;
  class FecList;

  // What a registration of the address would be told now; the identifier is the route's FEC.
  Told lookUp(const Vrf& vrf, const IpGenAddr& addr, const Policy& policy) const;
  void viasTo(Vias& vias, const Vrf& vrf, FecId fec) const;
  void historiesTo(Histories& histories,
                   const VrfName& vrf,
                   const IpGenAddr& addr,
                   const std::string& client) const;
  void candidatesTo(Proto::ExplainResponse& response,
                    const Vrf& vrf,
                    const IpGenAddr& addr,
                    const Policy& policy) const;
  // Throws: RequestError for "client" or "policy.minimum_prefix_length".
  Policy explainedPolicy(const Proto::ExplainRequest& request,
                         const VrfName& vrf,
                         const IpGenAddr& addr) const;

  Vrfs& vrfs_;
  const NexthopTable& table_;
  const Registrations& registrations_;
  const ServiceHooks& hooks_;
  ServiceIdentity identity_;
};

}  // namespace Routing::Host
