#include "resolver/ReviewAhead.h"

#include <bit>

#include "platform/entity/Prefetch.h"
#include "resolver/NexthopResolverSm.h"

namespace Routing {

ReviewAhead::ReviewAhead(const NexthopResolverSm& sm) noexcept
    : sm_(sm),
      references_(sm.nexthopVrfStatus()->fecIdType() == NexthopStatusFecIdType::resolverId &&
                  sm.fecIdToClientHop() && sm.fecIdToResolverId()) {}

// The unset address is in neither: an entry of it counts as none.
const Ptr<const TrieGen>& ReviewAhead::fibTrie(const Next& next) const {
  return next.host.family() == AddressFamily::ipv4 ? sm_.trie4() : sm_.trie6();
}

const Ptr<TrieGen>& ReviewAhead::nexthopTrie(const Next& next) const {
  return next.host.family() == AddressFamily::ipv4 ? sm_.nexthopTrie4() : sm_.nexthopTrie6();
}

const ReviewAhead::Next& ReviewAhead::at(const Cursor& cursor) {
  // Those that left the queue since they were prepared are passed over.
  while (index_ < count_ && next_[index_].place != cursor.place()) {
    ++index_;
  }
  if (index_ == count_) {
    prepare(cursor);
  }
  return next_[index_];
}

void ReviewAhead::prepare(const Cursor& cursor) {
  fetchQueue(cursor);
  fetchMembers();
  fetchTries();
  fetchMatches();
  fetchRoutes();
  if (references_) {
    fetchReferences();
  }
}

void ReviewAhead::fetchQueue(const Cursor& cursor) {
  index_ = 0;
  count_ = 0;
  for (std::uint32_t places = 0; places < next_.size(); ++places) {
    if (const IpGenAddr* const addr = cursor.ahead(places)) {
      Next& next = next_[count_++];
      next.host = IpGenPrefix::host(*addr);
      next.place = cursor.place() + places;
      next.hash = hashOf(*addr);
      if (references_) {
        next.keyHash = NexthopResolverClientNexthopKey::hashOfParts(sm_.name(), *addr);
        sm_.fecIdToClientHop()->clientNexthopToFecId().prefetchFar(next.keyHash);
      }
      sm_.nexthopVrfConfig()->nexthop().prefetchFar(next.hash);
      sm_.nexthopVrfStatus()->nexthop().prefetchFar(next.hash);
      sm_.reviewNexthop().prefetchFar(next.hash);
    }
  }
}

void ReviewAhead::fetchMembers() {
  for (const Next& next : batch()) {
    sm_.nexthopVrfConfig()->nexthop().prefetchNear(next.hash);
    sm_.nexthopVrfStatus()->nexthop().prefetchNear(next.hash);
    if (references_) {
      sm_.fecIdToClientHop()->clientNexthopToFecId().prefetchNear(next.keyHash);
    }
  }
}

void ReviewAhead::fetchTries() {
  // A bit for each search that has steps to take.
  std::uint32_t matches = 0;
  std::uint32_t nexthops = 0;
  for (std::size_t i = 0; i < count_; ++i) {
    Next& next = next_[i];
    next.matched =
        sm_.nexthopVrfConfig()->nexthopConfigured(next.host.address(), next.hash) && fibTrie(next);
    if (next.matched) {
      next.search = fibTrie(next)->searchBegin(next.host);
      matches |= 1U << i;
    }
    if (const Ptr<TrieGen>& trie = nexthopTrie(next)) {
      next.nexthopSearch = trie->searchBegin(next.host);
      nexthops |= 1U << i;
    }
  }
  while ((matches | nexthops) != 0) {
    for (std::uint32_t bits = matches; bits != 0; bits &= bits - 1) {
      Next& next = next_[static_cast<std::size_t>(std::countr_zero(bits))];
      if (!fibTrie(next)->searchStep(next.host, next.search)) {
        matches ^= bits & (~bits + 1);
      }
    }
    for (std::uint32_t bits = nexthops; bits != 0; bits &= bits - 1) {
      Next& next = next_[static_cast<std::size_t>(std::countr_zero(bits))];
      if (!nexthopTrie(next)->searchStep(next.host, next.nexthopSearch)) {
        nexthops ^= bits & (~bits + 1);
      }
    }
  }
}

void ReviewAhead::fetchMatches() {
  for (Next& next : batch()) {
    if (next.matched) {
      const Ptr<const TrieGen>& trie = fibTrie(next);
      next.match = trie->searchEnd(next.host, next.search);
      next.changes = trie->changes();
      sm_.withRoutes(next.match,
                     [](const auto& routes, const auto& key) { routes.prefetchFar(key); });
    }
  }
}

void ReviewAhead::fetchRoutes() {
  for (const Next& next : batch()) {
    if (next.matched) {
      sm_.withRoutes(next.match,
                     [](const auto& routes, const auto& key) { routes.prefetchNear(key); });
    }
  }
}

// The FEC that the nexthop will reference; of one that goes, the FEC that it does.
FecId ReviewAhead::fecIdOf(const Next& next) const {
  FecId fecId = 0;
  if (next.matched) {
    sm_.withRoutes(next.match, [&fecId](const auto& routes, const auto& key) {
      fecId = routes.routeHint(key).fecId();
    });
  } else {
    const NexthopResolverClientNexthopKey key(sm_.name(), next.host.address());
    const auto* const entry =
        sm_.fecIdToClientHop()->clientNexthopToFecId().find(key, next.keyHash);
    fecId = entry == nullptr ? 0 : entry->value;
  }
  return fecId;
}

void ReviewAhead::fetchReferences() {
  const auto& references = sm_.fecIdToClientHop()->fecIdRef();
  const auto& identifiers = sm_.fecIdToResolverId()->fecIdToResolverIdMap();
  for (Next& next : batch()) {
    next.fecId = fecIdOf(next);
    references.prefetchFar(hashOf(next.fecId));
    identifiers.prefetchFar(hashOf(next.fecId));
  }
  for (const Next& next : batch()) {
    references.prefetchNear(hashOf(next.fecId));
    identifiers.prefetchNear(hashOf(next.fecId));
  }
  for (Next& next : batch()) {
    const auto* const entry = references.find(next.fecId);
    next.fec = entry == nullptr ? nullptr : entry->value.get();
    if (next.fec != nullptr) {
      prefetchObject(next.fec);
    }
  }
  const std::uint32_t nameHash = hashOf(sm_.name());
  for (const Next& next : batch()) {
    if (next.fec != nullptr) {
      next.fec->clientRef().prefetchFar(nameHash);
    }
  }
  for (Next& next : batch()) {
    const auto* const entry =
        next.fec == nullptr ? nullptr : next.fec->clientRef().find(sm_.name(), nameHash);
    next.client = entry == nullptr ? nullptr : entry->value.get();
    if (next.client != nullptr) {
      prefetchObject(next.client);
    }
  }
  for (const Next& next : batch()) {
    if (next.client != nullptr) {
      next.client->nexthopRef().prefetchFar(next.hash);
    }
  }
  for (const Next& next : batch()) {
    if (next.client != nullptr) {
      next.client->nexthopRef().prefetchNear(next.hash);
    }
  }
}

IpGenPrefix ReviewAhead::longestMatch(const Next& next) const {
  const Ptr<const TrieGen>& trie = fibTrie(next);
  if (!trie) {
    return {};
  }
  return next.matched && next.changes == trie->changes() ? next.match
                                                         : trie->longestMatch(next.host);
}

}  // namespace Routing
