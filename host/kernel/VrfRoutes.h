#pragma once

// VrfRoutes: which routes the kernel holds in the table of one VRF, and which of them is the best
// of each prefix; the best ones go to the VRF's tables through the FibFeed.
//
// A prefix may stand several times: in table "local" beside "main" (both are the default VRF's), at
// several metrics, and several times at one metric. Best is: local before main, then the lowest
// metric, then the kernel's own order. The others take over when it goes.
//
// The VRF's tables are the memory of this mirror. A prefix with one route, which is nearly every
// one, has no byte here: its Fib::Route tells the metric, the type, and by its FEC the hops. Only
// prefixes with several routes are kept, and local ones, which are the routes of a link without a
// FEC that says so.
//
//   message                          what it does
//   IPv4 new, NLM_F_EXCL             the only route of its metric
//   IPv4 new, NLM_F_REPLACE          takes the place of the first of its metric; names only the new
//   IPv4 new, NLM_F_APPEND           behind those of its metric; without any flag before them
//   IPv6 new, with gateways          all hops, or one more hop, of the one multipath route of its
//                                    metric; with NLM_F_REPLACE in place of it
//   IPv6 new, without                behind those of its metric; NLM_F_REPLACE as above
//   removed                          the route with the same hops and type; in IPv6 a hop of one
//   removed, but fits nothing here   nothing; the answer is false, for whoever can ask the kernel
// A route that says what is known already changes nothing.
//
// A dump of a scope (a family of one kernel table, or what of it uses an interface) is marked and
// swept: what was there before and neither the dump nor a notification named meanwhile is removed
// at its end, if it was whole. What a notification said during a dump counts for more than the
// dump, which may have read the route before that: the notification was later in any case.
//
// An IPv6 dump of the kernel goes on after a change of its table by counting prefixes: it passes
// over as many as it has named. When one of those is gone by then, it passes over another, and says
// nothing of it. Whatever calls for the new count (a route that came, a link, a nexthop object)
// need not be told of, so every dump in which the last route of a prefix was removed counts as
// disturbed: nothing is swept, and who asked should ask again.
//
// Owner: KernelState, one for each VRF. It must end before the VRF.

#include <cstdint>
#include <functional>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/feed/FibFeed.h"
#include "host/kernel/Messages.h"
#include "platform/entity/DenseTable.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Host {

class VrfRoutes {
 public:
  struct Alternative {
    FecId fec = 0;
    std::uint32_t metric = 0;
    std::uint8_t preference = 0;
    RouteType type = RouteType::none;
    // From the kernel's table "local", merged into this VRF.
    bool local = false;
    // RouteMessage::interface.
    std::uint32_t interface = 0;

    friend bool operator==(const Alternative&, const Alternative&) noexcept = default;
  };
  // Best first.
  using Alternatives = std::vector<Alternative>;

  struct Scope {
    AddressFamily family = AddressFamily::unset;
    bool local = false;
    // Routes with a hop on this interface; 0: all.
    std::uint32_t interface = 0;
  };

  VrfRoutes(Vrf& vrf, FecIdSource& source, const Ptr<TaskScheduler>& scheduler)
      : feed_(vrf, source, scheduler), mergesLocal_(vrf.table() == mainTable) {}

  FibFeed& feed() noexcept { return feed_; }
  const FibFeed& feed() const noexcept { return feed_; }
  // True for the VRF that table "local" is merged into.
  bool mergesLocal() const noexcept { return mergesLocal_; }

  // The route of a message, over this FEC of the feed's: 0 for a route without a live hop, which
  // the kernel does not use. `flags` are the message's NLM_F_....
  void routeIs(const RouteMessage& route, FecId fec, std::uint16_t flags);
  // False when the prefix has a route of that metric, but not this one. The FEC is 0 when no route
  // uses these hops.
  bool routeDel(const RouteMessage& route, FecId fec);

  // True while routes of this kind are read.
  bool inDump(const RouteMessage& route) const noexcept {
    return dump_ && dump_->scope.family == route.prefix.family() &&
           dump_->scope.local == isLocal(route);
  }
  // One dump at a time. Requires: no dump under way.
  void dumpBegin(const Scope& scope);
  void dumpRoute(const RouteMessage& route, FecId fec);
  // `whole`: the kernel sent all that it meant to. False when the dump was disturbed.
  // Requires: a dump under way.
  bool dumpEnd(bool whole);

  // True when a dump of an interface added a route beside others of its metric since this was asked
  // last. It stands behind them here; where the kernel has it only a dump of everything tells.
  bool takeUnordered() noexcept { return std::exchange(unordered_, false); }

  // Removes the routes over unusable FECs, if there are any.
  void unusableDel();

  // Every route of the prefix that the kernel holds, best first.
  Alternatives alternatives(const IpGenPrefix& prefix) const;

  static constexpr std::uint32_t mainTable = 254;
  static constexpr std::uint32_t localTable = 255;

 private:
  struct Key {
    IpGenPrefix prefix;
    std::uint32_t metric = 0;
    friend bool operator==(const Key&, const Key&) noexcept = default;
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const noexcept { return key.prefix.hash(key.metric); }
  };
  // What is known of a dump under way.
  struct Dump {
    Dump(const Scope& dumped, bool nothingBefore);

    Scope scope;
    // Nothing was there before, so there will be nothing to sweep.
    bool first;
    // The prefixes that the dump named.
    DenseSet<Prefix> seen4;
    DenseSet<Ip6Prefix> seen6;
    // What notifications named meanwhile, with the routes that they took away.
    std::unordered_map<Key, Alternatives, KeyHash> touched;
    // The routes of the prefix that the dump stands on; they come one after the other.
    IpGenPrefix current;
    Alternatives group;
    // Those whose metric was touched.
    Alternatives late;
    // It may have passed over what is there.
    bool disturbed = false;

    bool seen(const IpGenPrefix& prefix) const noexcept;
    void seenIs(const IpGenPrefix& prefix);
    bool covers(const IpGenPrefix& prefix, const Alternative& alternative) const;
  };
  using Range = std::pair<Alternatives::iterator, Alternatives::iterator>;
  using Doomed = std::function<bool(const IpGenPrefix& prefix, const Alternative& alternative)>;

  static Range rangeOf(Alternatives& alternatives, const Alternative& key) noexcept;
  Alternative alternativeOf(const RouteMessage& route, FecId fec) const noexcept;
  // True when the scope is of all interfaces, or of one that the route uses.
  bool isIn(const Scope& scope, const Alternative& alternative) const;
  Alternative plainOf(const Fib::Route& route) const noexcept;
  bool isPlain(const Alternatives& alternatives) const noexcept;
  void alternativesIs(const IpGenPrefix& prefix, Alternatives alternatives);
  bool isLocal(const RouteMessage& route) const noexcept {
    return mergesLocal_ && route.table == localTable;
  }
  void routeAdd(const RouteMessage& route, const Alternative& added, std::uint16_t flags);
  bool routeRemove(const RouteMessage& route, const Alternative& removed);
  void touch(const Key& key, const Alternatives& before);
  void regroup(const Key& key, const Alternatives& gone);
  bool dumpedTableHas(const IpGenPrefix& prefix) const;
  void lateApply(Alternatives& present);
  bool routeIsAlone(const IpGenPrefix& prefix, const Alternative& alternative, std::uint16_t flags);
  void add4(Alternatives& present, const Alternative& added, std::uint16_t flags) const;
  void add6(Alternatives& present,
            Alternative added,
            const RouteMessage& route,
            std::uint16_t flags);
  // Taking one hop from a multipath route makes another set of hops.
  bool remove6(Alternatives& present, const Alternative& removed, const RouteMessage& route);
  bool isMultipath(const Alternative& alternative) const;
  Alternatives::iterator findMultipath(Range range) const;
  void groupApply();
  void removeIf(AddressFamily family, const Doomed& doomed);

  FibFeed feed_;
  bool mergesLocal_;
  std::unordered_map<IpGenPrefix, Alternatives> several_;
  std::optional<Dump> dump_;
  // Scopes that were dumped whole, as bits.
  std::uint8_t dumped_ = 0;
  bool unordered_ = false;
};

}  // namespace Routing::Host
