#include "host/feed/FibFeed.h"

namespace Routing::Host {

FibFeed::FibFeed(Vrf& vrf, FecIdSource& source, const Ptr<TaskScheduler>& scheduler)
    : vrf_(vrf), fecs_(vrf.fecs(), source, scheduler) {}

Fib::Route FibFeed::route(const IpGenPrefix& prefix) const {
  return prefix.family() == AddressFamily::ipv4 ? vrf_.routes4()->route(Prefix(prefix))
                                                : vrf_.routes6()->route(Ip6Prefix(prefix));
}

void FibFeed::routeIs(const IpGenPrefix& prefix, const Fib::Route& route) {
  if (prefix.family() == AddressFamily::ipv4) {
    routeIsIn(*vrf_.routes4(), *vrf_.trie4(), prefix, route);
  } else {
    routeIsIn(*vrf_.routes6(), *vrf_.trie6(), prefix, route);
  }
}

void FibFeed::routeDel(const IpGenPrefix& prefix) {
  if (prefix.family() == AddressFamily::ipv4) {
    routeDelIn(*vrf_.routes4(), *vrf_.trie4(), prefix);
  } else {
    routeDelIn(*vrf_.routes6(), *vrf_.trie6(), prefix);
  }
}

template <class Table>
void FibFeed::routeIsIn(Table& table,
                        TrieGen& trie,
                        const IpGenPrefix& prefix,
                        const Fib::Route& route) {
  const typename Table::Key key(prefix);
  const Fib::Route old = table.route(key);
  if (old == route) {
    return;
  }
  ++changes_;
  fecs_.hold(route.fecId());
  table.routeIs(key, route);
  if (old.fecId() == 0) {
    trie.routeIs(prefix, true);
  } else {
    trie.changedPrefixIs(prefix);
    fecs_.release(old.fecId());
  }
}

template <class Table>
void FibFeed::routeDelIn(Table& table, TrieGen& trie, const IpGenPrefix& prefix) {
  const typename Table::Key key(prefix);
  const FecId fec = table.route(key).fecId();
  if (fec == 0) {
    return;
  }
  ++changes_;
  table.routeDel(key);
  trie.routeDel(prefix);
  fecs_.release(fec);
}

const Ptr<TrieGen>& FibFeed::trie(AddressFamily family) const {
  return family == AddressFamily::ipv4 ? vrf_.trie4() : vrf_.trie6();
}

std::size_t FibFeed::routeCount() const noexcept {
  return vrf_.routes4()->routeCount() + vrf_.routes6()->routeCount();
}

}  // namespace Routing::Host
