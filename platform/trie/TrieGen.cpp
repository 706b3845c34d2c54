#include "platform/trie/TrieGen.h"

#include <array>
#include <utility>

#include "platform/entity/Assert.h"
#include "platform/entity/Inspection.h"
#include "platform/entity/TypeData.h"

namespace Routing {

TrieGen::TrieGen(String name, AddressFamily family) : name_(std::move(name)), family_(family) {
  ROUTING_ASSERT((family == AddressFamily::ipv4 || family == AddressFamily::ipv6) &&
                 "invalid address family");
}

void TrieGen::makeTrie() {
  if (family_ == AddressFamily::ipv4) {
    trie_ = std::make_unique<Trie4>();
  } else {
    trie_ = std::make_unique<Trie6>();
  }
}

std::size_t TrieGen::routeCount() const noexcept {
  return withTrie([](const auto& trie) { return trie.size(); });
}

std::size_t TrieGen::memory() const noexcept {
  return sizeof(*this) + withTrie([](const auto& trie) { return trie.memory(); });
}

std::uint32_t TrieGen::changes() const noexcept {
  return withTrie([](const auto& trie) { return trie.changes(); });
}

String TrieGen::checkInvariants() const {
  return withTrie([](const auto& trie) { return trie.checkInvariants(); });
}

void TrieGen::routeIs(const IpGenPrefix& prefix, bool present) {
  if (!present) {
    routeDel(prefix);
    return;
  }
  ROUTING_ASSERT(prefix.family() == family_ && "prefix of the trie's family");
  if (trie_ == nullptr) {
    makeTrie();
  }
  if (withTrie([&prefix](auto& trie) { return trie.insert(prefix); })) {
    changedPrefixIs(prefix);
  }
}

void TrieGen::routeDel(const IpGenPrefix& prefix) {
  if (withTrie([&prefix](auto& trie) { return trie.erase(prefix); })) {
    changedPrefixIs(prefix);
  }
}

// The argument may be a reference into something that a notifiee releases, and this trie may be
// released too: what is published is a copy of the caller's own.
void TrieGen::changedPrefixIs(const IpGenPrefix& prefix) {
  const IpGenPrefix key = prefix;
  const Announcement announcement(*this, key);
  publish(changedPrefixField, &key);
}

// Who is still to be told of the outer change reads the outer prefix.
TrieGen::Announcement::Announcement(TrieGen& trie, const IpGenPrefix& prefix)
    : trie_(&trie), outer_(trie.changedPrefix_) {
  trie.changedPrefix_ = prefix;
}

TrieGen::Announcement::~Announcement() {
  if (trie_->delivers()) {
    trie_->changedPrefix_ = outer_;
  }
}

bool TrieGen::routeHas(const IpGenPrefix& prefix) const noexcept {
  return withTrie([&prefix](const auto& trie) { return trie.has(prefix); });
}

IpGenPrefix TrieGen::longestMatch(const IpGenPrefix& prefix) const noexcept {
  return withTrie([&prefix](const auto& trie) { return trie.longestMatch(prefix); });
}

bool TrieGen::longerRoutePresent(const IpGenPrefix& prefix) const noexcept {
  return withTrie([&prefix](const auto& trie) { return trie.longerPresent(prefix); });
}

void TrieGen::preOrderWalk(const IpGenPrefix& prefix,
                           const Ptr<TrieGenWalkCallback>& callback) const {
  ROUTING_ASSERT(callback && "a walk needs a callback");
  const Ptr<const TrieGen> self(this);
  const Ptr<TrieGenWalkCallback> held = callback;
  withTrie([&prefix, &held](const auto& trie) {
    trie.walk(prefix, [&held](const IpGenPrefix& found) { return held->handlePrefix(found); });
  });
}

TrieSearch TrieGen::searchBegin(const IpGenPrefix& prefix) const noexcept {
  return withTrie([&prefix](const auto& trie) { return trie.searchBegin(prefix); });
}

IpGenPrefix TrieGen::searchEnd(const IpGenPrefix& prefix, const TrieSearch& search) const noexcept {
  return withTrie([&prefix, &search](const auto& trie) { return trie.searchEnd(prefix, search); });
}

const TypeData& TrieGen::typeData() const {
  static constexpr std::array attributes{attribute<&TrieGen::name>("name"),
                                         attribute<&TrieGen::addressFamily>("addressFamily"),
                                         attribute<&TrieGen::routeCount>("routes"),
                                         attribute<&TrieGen::changedPrefix>("changedPrefix")};
  static constexpr std::array operations{
      operation<&TrieGen::routeIs>("routeIs"),
      operation<&TrieGen::routeDel>("routeDel"),
      operation<&TrieGen::changedPrefixIs>("changedPrefixIs"),
      operation<&TrieGen::routeHas>("routeHas"),
      operation<&TrieGen::longestMatch>("longestMatch"),
      operation<&TrieGen::longerRoutePresent>("longerRoutePresent")};
  static const TypeData type("Routing::TrieGen", attributes, operations);
  return type;
}

}  // namespace Routing
