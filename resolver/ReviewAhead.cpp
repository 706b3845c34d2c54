#include "resolver/ReviewAhead.h"

#include <algorithm>
#include <bit>
#include <memory>

#include "platform/entity/Prefetch.h"
#include "resolver/NexthopResolverSm.h"

namespace Routing {

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): there is nothing in the room yet
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
  while (index_ < count_ && prepared()[index_].place != cursor.place()) {
    ++index_;
  }
  if (index_ == count_) {
    prepare(cursor);
  }
  return prepared()[index_];
}

void ReviewAhead::fetchNexthop(const NexthopResolverSm& sm,
                               const TrieGen& nexthopTrie,
                               const IpGenPrefix& host) noexcept {
  const auto& configured = sm.nexthopVrfConfig()->nexthop();
  const auto& statuses = sm.nexthopVrfStatus()->nexthop();
  const std::uint32_t hash = hashOf(host.address());
  configured.prefetchFar(hash);
  statuses.prefetchFar(hash);
  TrieSearch search = nexthopTrie.searchBegin(host);
  // Most host routes are no nexthop of this client.
  if (const auto* const entry = configured.hint(hash)) {
    prefetchObject(entry);
    statuses.prefetchNear(hash);
    nexthopTrie.searchStep(host, search);
  }
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
  for (std::uint32_t places = 0; places < std::min(most, cursor.placesLeft()); ++places) {
    if (const IpGenAddr* const addr = cursor.ahead(places)) {
      Next& next = *std::construct_at(prepared() + count_);
      ++count_;
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

namespace {

// One step of each search whose bit is set. A bit goes when its search has no more to wait for.
template <class Searches>
void stepEach(std::uint32_t& waiting, const Searches& step) {
  for (std::uint32_t bits = waiting; bits != 0; bits &= bits - 1) {
    const auto i = static_cast<unsigned>(std::countr_zero(bits));
    waiting &= ~(std::uint32_t{!step(i)} << i);
  }
}

}  // namespace

bool ReviewAhead::seemsConfigured(const Next& next) const {
  const NexthopVrfConfig& config = *sm_.nexthopVrfConfig();
  return config.nexthop().hint(next.hash) != nullptr ||
         config.nexthopConfigured(next.host.address(), next.hash);
}

void ReviewAhead::fetchTries() {
  std::uint32_t matches = 0;
  std::uint32_t nexthops = 0;
  for (std::size_t i = 0; i < count_; ++i) {
    Next& next = prepared()[i];
    next.nexthopTrie = nexthopTrie(next).get();
    next.fibTrie = seemsConfigured(next) ? fibTrie(next).get() : nullptr;
    if (next.fibTrie != nullptr) {
      next.search = next.fibTrie->searchBegin(next.host);
      matches |= 1U << i;
    }
    if (next.nexthopTrie != nullptr) {
      next.nexthopSearch = next.nexthopTrie->searchBegin(next.host);
      nexthops |= 1U << i;
    }
  }
  while ((matches | nexthops) != 0) {
    stepEach(matches, [this](std::size_t i) {
      Next& next = prepared()[i];
      return next.fibTrie->searchStep(next.host, next.search);
    });
    stepEach(nexthops, [this](std::size_t i) {
      Next& next = prepared()[i];
      return next.nexthopTrie->searchStep(next.host, next.nexthopSearch);
    });
  }
}

void ReviewAhead::fetchMatches() {
  for (Next& next : batch()) {
    next.matched = next.fibTrie != nullptr;
    if (next.matched) {
      next.match = next.fibTrie->searchEnd(next.host, next.search);
      next.changes = next.fibTrie->changes();
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
    const auto* const entry = sm_.fecIdToClientHop()->clientNexthopToFecId().hint(next.keyHash);
    fecId = entry == nullptr ? 0 : entry->value;
  }
  return fecId;
}

void ReviewAhead::fetchReferences() {
  fetchFecs();
  fetchClients();
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

namespace {

template <class Entry>
auto* entityIn(const Entry* entry) {
  return entry == nullptr ? nullptr : entry->value.get();
}

}  // namespace

void ReviewAhead::fetchFecs() {
  const auto& references = sm_.fecIdToClientHop()->fecIdRef();
  const auto& identifiers = sm_.fecIdToResolverId()->fecIdToResolverIdMap();
  // Neighbours often share their FEC: what was found for the one is there for the other.
  FecId before = 0;
  for (Next& next : batch()) {
    next.fecId = fecIdOf(next);
    next.sharesFec = next.fecId == before;
    before = next.fecId;
    if (!next.sharesFec) {
      next.fecHash = hashOf(next.fecId);
      references.prefetchFar(next.fecHash);
      identifiers.prefetchFar(next.fecHash);
    }
  }
  for (const Next& next : batch()) {
    if (!next.sharesFec) {
      references.prefetchNear(next.fecHash);
      identifiers.prefetchNear(next.fecHash);
    }
  }
  for (Next& next : batch()) {
    if (!next.sharesFec) {
      next.fec = entityIn(references.find(next.fecId, next.fecHash));
      prefetchObject(next.fec);
    }
  }
}

void ReviewAhead::fetchClients() {
  const std::uint32_t nameHash = hashOf(sm_.name());
  for (const Next& next : batch()) {
    if (next.fec != nullptr) {
      next.fec->clientRef().prefetchFar(nameHash);
    }
  }
  const NexthopResolverClientRef* before = nullptr;
  for (Next& next : batch()) {
    if (next.sharesFec) {
      next.client = before;
    } else if (next.fec != nullptr) {
      next.client = entityIn(next.fec->clientRef().find(sm_.name(), nameHash));
      prefetchObject(next.client);
    }
    before = next.client;
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
