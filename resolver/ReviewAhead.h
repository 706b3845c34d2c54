#pragma once

// ReviewAhead: makes ready what the review will read of the nexthops that come next.
//
// Nexthops spread over a full table are cache misses in every table that is asked for one. So the
// review looks a few nexthops ahead and fetches what it will read of all of them together, in
// steps, each of which reads what the step before it fetched:
//
//   queue        the nexthops, and for each its slots in configuration, status and queue
//   members      what those lead to
//   tries        the way through the FIB trie and the trie of nexthops
//   matches      the longest matches, and the slots of their routes
//   routes       the routes
//   references   for a client of resolver identifiers: what will hold its references
//
// Nothing but the longest match is kept, and that is used only while the trie is as it was. All
// else is read when the nexthop's turn comes.
//
// Owner: one run of the review, for as long as it lasts.

#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <type_traits>

#include "platform/entity/DenseTable.h"
#include "platform/entity/Ptr.h"
#include "platform/fib/RouteTable.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/trie/TrieGen.h"
#include "resolver/NexthopResolverLocal.h"

namespace Routing {

class NexthopResolverSm;

// A nexthop that was prepared.
struct PreparedNexthop {
  IpGenPrefix host;
  std::uint32_t place = 0;
  std::uint32_t hash = 0;
  // The longest match in the FIB trie when that had changed so often.
  IpGenPrefix match;
  std::uint32_t changes = 0;
  bool matched = false;

  // For the preparation alone, as all that follows. It shares its FEC with the nexthop before it.
  bool sharesFec = false;
  std::uint32_t keyHash = 0;
  std::uint32_t fecHash = 0;
  FecId fecId = 0;
  const NexthopResolverFecIdRef* fec = nullptr;
  const NexthopResolverClientRef* client = nullptr;
  const TrieGen* fibTrie = nullptr;
  const TrieGen* nexthopTrie = nullptr;
  TrieSearch search;
  TrieSearch nexthopSearch;
};

class ReviewAhead {
 public:
  using Cursor = DenseSet<IpGenAddr>::Cursor;

  using Next = PreparedNexthop;

  explicit ReviewAhead(const NexthopResolverSm& sm) noexcept;

  // For a host route, which moves one nexthop at most: fetches what will decide about that and what
  // its review will write.
  static void fetchNexthop(const NexthopResolverSm& sm,
                           const TrieGen& nexthopTrie,
                           const IpGenPrefix& host) noexcept;

  // The nexthop under the cursor, prepared together with those after it.
  const Next& at(const Cursor& cursor);
  // The longest match for the nexthop in the FIB trie of its family, as that is now; the empty
  // prefix when there is no trie.
  IpGenPrefix longestMatch(const Next& next) const;

 private:
  static constexpr std::uint32_t most = 24;

  Next* prepared() noexcept { return std::launder(reinterpret_cast<Next*>(room_.data())); }
  std::span<Next> batch() noexcept { return {prepared(), count_}; }
  bool seemsConfigured(const Next& next) const;
  FecId fecIdOf(const Next& next) const;
  const Ptr<const TrieGen>& fibTrie(const Next& next) const;
  const Ptr<TrieGen>& nexthopTrie(const Next& next) const;
  void prepare(const Cursor& cursor);
  void fetchQueue(const Cursor& cursor);
  void fetchMembers();
  void fetchTries();
  void fetchMatches();
  void fetchRoutes();
  void fetchReferences();
  void fetchFecs();
  void fetchClients();

  const NexthopResolverSm& sm_;
  // The client's nexthops are referenced.
  bool references_;
  // Each is made when it is prepared, so that a run that reviews one nexthop makes one.
  static_assert(std::is_trivially_destructible_v<Next>);
  alignas(Next) std::array<std::byte, most * sizeof(Next)> room_;
  std::size_t count_ = 0;
  std::size_t index_ = 0;
};

}  // namespace Routing
