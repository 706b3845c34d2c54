// What a trie answers: has, longest match, longer present, walk.

#include <algorithm>
#include <bit>

#include "platform/trie/PrefixTrie.h"

namespace Routing {

namespace {

// Visits those of `some`, all of one first slot, shorter first. `here` is that slot's key.
template <class Key, class Visit>
bool visitStarters(std::uint64_t some, const Key& here, unsigned depth, Visit& visit) {
  for (; some != 0; some &= some - 1) {
    const LocalPrefix local = TrieBits::localOf(static_cast<unsigned>(std::countr_zero(some)));
    if (!visit(here, depth + local.length)) {
      return false;
    }
  }
  return true;
}

// Visits a choice of a node's prefixes and, in between and in order, descends into its slots.
// `key` is the node's, with zeros after its depth. False when somebody stopped the walk.
template <class Key, class Visit, class Descend>
bool walkBits(const TrieBits& bits,
              const Key& key,
              unsigned depth,
              TrieMask mask,
              Visit visit,
              Descend descend) {
  const std::uint64_t low = bits.low & mask.low;
  const std::uint64_t high = bits.high & mask.slots;
  const std::uint64_t children = bits.children & mask.slots;
  const std::uint64_t own = high | TrieBits::startsOf(low);
  for (std::uint64_t stops = own | children; stops != 0; stops &= stops - 1) {
    const auto slot = static_cast<unsigned>(std::countr_zero(stops));
    if ((own >> slot & 1U) != 0) {
      const Key here = key.withChunk(depth, slot);
      const std::uint64_t starters = slot % 2 == 0 ? low & TrieMasks::starters[slot / 2] : 0;
      if (!visitStarters(starters, here, depth, visit) ||
          ((high >> slot & 1U) != 0 && !visit(here, depth + trieStride))) {
        return false;
      }
    }
    if ((children >> slot & 1U) != 0 && !descend(slot)) {
      return false;
    }
  }
  return true;
}

// Marks a trie as being walked.
class WalkMark {
 public:
  explicit WalkMark(std::uint16_t& walking) noexcept : walking_(walking) { ++walking_; }
  WalkMark(const WalkMark&) = delete;
  WalkMark& operator=(const WalkMark&) = delete;
  ~WalkMark() { --walking_; }

 private:
  std::uint16_t& walking_;
};

}  // namespace

template <class Family>
bool PrefixTrie<Family>::has(const IpGenPrefix& prefix) const noexcept {
  if (!inFamily(prefix)) {
    return false;
  }
  const Stored stored = Stored::of(prefix);
  if (inTop(stored)) {
    return top_->bits(stored.level(), stored.key).has(localOf(stored));
  }
  TrieRef ref = rootOf(stored);
  while (ref.isNode()) {
    const Node& node = nodeOf(ref);
    if (!leadsTo(node, stored)) {
      return false;
    }
    if (node.level() == stored.level()) {
      return node.has(localOf(stored));
    }
    const unsigned slot = stored.key.chunk(node.depth());
    if (!node.hasChild(slot)) {
      return false;
    }
    ref = childOf(node, slot);
  }
  return ref && leafOf(ref) == stored;
}

template <class Family>
IpGenPrefix PrefixTrie<Family>::longestMatch(const IpGenPrefix& prefix) const noexcept {
  if (!inFamily(prefix)) {
    return {};
  }
  const Stored stored = Stored::of(prefix);
  return matchOf(stored, longest(stored, rootOf(stored), nullptr));
}

template <class Family>
TrieSearch PrefixTrie<Family>::searchBegin(const IpGenPrefix& prefix) const noexcept {
  TrieSearch search;
  search.slot = top_ ? &top_->ref(Key::of(prefix.words())) : &root_;
  prefetch(search.slot);
  return search;
}

template <class Family>
bool PrefixTrie<Family>::searchStep(const IpGenPrefix& prefix, TrieSearch& search) const noexcept {
  if (search.slot != nullptr) {
    search.ref = *search.slot;
    search.slot = nullptr;
    prefetchRef(search.ref);
    return search.ref.isNode();
  }
  const Stored stored = Stored::of(prefix);
  const Node& node = nodeOf(search.ref);
  const unsigned chunk = stored.key.chunk(node.depth());
  if (!leadsTo(node, stored) || node.level() == stored.level() || !node.hasChild(chunk)) {
    return false;
  }
  search.covering = node.meets(chunk) ? &node : search.covering;
  search.slot = &arena_->arrays.at(node.array())[node.rank(chunk)];
  prefetch(search.slot);
  return true;
}

template <class Family>
IpGenPrefix PrefixTrie<Family>::searchEnd(const IpGenPrefix& prefix,
                                          const TrieSearch& search) const noexcept {
  if (!inFamily(prefix)) {
    return {};
  }
  const Stored stored = Stored::of(prefix);
  return matchOf(stored,
                 longest(stored,
                         search.slot != nullptr ? *search.slot : search.ref,
                         static_cast<const Node*>(search.covering)));
}

// On the way down only the last node with a covering prefix is remembered; how long that prefix is
// need be asked of this one alone.
template <class Family>
inline int PrefixTrie<Family>::longest(const Stored prefix,
                                       TrieRef ref,
                                       const Node* covering) const noexcept {
  const unsigned level = prefix.level();
  while (ref.isNode()) {
    const Node& node = nodeOf(ref);
    const unsigned depth = node.depth();
    if (node.level() > level || !node.key.agrees(prefix.key, depth)) {
      ref = TrieRef();
      break;
    }
    const unsigned chunk = prefix.key.chunk(depth);
    if (node.level() == level) {
      const int local = node.longest(chunk, prefix.length - depth);
      if (local >= 0) {
        return static_cast<int>(depth) + local;
      }
      ref = TrieRef();
      break;
    }
    covering = node.meets(chunk) ? &node : covering;
    ref = node.hasChild(chunk) ? childOf(node, chunk) : TrieRef();
  }
  if (ref) {
    const Stored leaf = leafOf(ref);
    if (leaf.covers(prefix)) {
      return static_cast<int>(leaf.length);
    }
  }
  if (covering != nullptr) {
    const unsigned depth = covering->depth();
    return static_cast<int>(depth) + covering->longest(prefix.key.chunk(depth), trieStride);
  }
  return top_ ? longestInTop(prefix) : -1;
}

template <class Family>
int PrefixTrie<Family>::longestInTop(const Stored& prefix) const noexcept {
  for (unsigned level = std::min(prefix.level() + 1, Top::levels); level-- > 0;) {
    const unsigned depth = level * trieStride;
    const int local = top_->bits(level, prefix.key)
                          .longest(prefix.key.chunk(depth), std::min(prefix.length - depth, 6U));
    if (local >= 0) {
      return static_cast<int>(depth) + local;
    }
  }
  return -1;
}

template <class Family>
template <class OnPart, class OnWhole>
bool PrefixTrie<Family>::locate(const Stored& prefix, OnPart onPart, OnWhole onWhole) const {
  TrieRef ref = rootOf(prefix);
  while (ref.isNode()) {
    const Node& node = nodeOf(ref);
    if (node.level() > prefix.level()) {
      return node.key.agrees(prefix.key, prefix.length) && onWhole(ref);
    }
    if (!node.key.agrees(prefix.key, node.depth())) {
      return false;
    }
    if (node.level() == prefix.level()) {
      return onPart(node);
    }
    const unsigned slot = prefix.key.chunk(node.depth());
    if (!node.hasChild(slot)) {
      return false;
    }
    ref = childOf(node, slot);
  }
  return ref && prefix.covers(leafOf(ref)) && onWhole(ref);
}

template <class Family>
bool PrefixTrie<Family>::longerPresent(const IpGenPrefix& prefix) const noexcept {
  // Nothing is longer than a host.
  if (!inFamily(prefix) || prefix.isHost()) {
    return false;
  }
  const Stored stored = Stored::of(prefix);
  const LocalPrefix local = localOf(stored);
  if (inTop(stored)) {
    return top_->bits(stored.level(), stored.key).hasInside(local);
  }
  return locate(
      stored,
      [local](const Node& node) { return node.hasInside(local); },
      [this, &stored](TrieRef ref) { return ref.isNode() || leafOf(ref).length > stored.length; });
}

template <class Family>
void PrefixTrie<Family>::walk(const IpGenPrefix& prefix, PrefixVisitor visitor) const {
  if (!inFamily(prefix)) {
    return;
  }
  const WalkMark mark(walking_);
  const Stored stored = Stored::of(prefix);
  const TrieMask mask = TrieMask::inside(localOf(stored));
  if (inTop(stored)) {
    const Key above = stored.key.first(stored.level() * trieStride);
    walkTop(stored.level(), above, mask, visitor);
    return;
  }
  locate(
      stored,
      [this, mask, &visitor](const Node& node) { return walkNode(node, mask, visitor); },
      [this, &visitor](TrieRef ref) { return walkRef(ref, visitor); });
}

template <class Family>
bool PrefixTrie<Family>::walkRef(TrieRef subtree, const PrefixVisitor& visitor) const {
  if (subtree.isNode()) {
    return walkNode(nodeOf(subtree), TrieMask{}, visitor);
  }
  const Stored leaf = leafOf(subtree);
  return visitor(prefixOf(leaf.key, leaf.length));
}

template <class Family>
bool PrefixTrie<Family>::walkNode(const Node& node,
                                  TrieMask mask,
                                  const PrefixVisitor& visitor) const {
  const std::uint64_t slots = node.children & mask.slots;
  const TrieRef* child = slots == 0 ? nullptr
                                    : arena_->arrays.at(node.array()) +
                                          node.rank(static_cast<unsigned>(std::countr_zero(slots)));
  // All that hangs below, before the first visit: a visitor takes its time.
  for (unsigned i = 0, count = static_cast<unsigned>(std::popcount(slots)); i < count; ++i) {
    prefetchRef(child[i]);
  }
  return walkBits(
      node,
      node.key,
      node.depth(),
      mask,
      [&visitor](const Key& key, unsigned length) { return visitor(prefixOf(key, length)); },
      [this, &child, &visitor](unsigned /*slot*/) { return walkRef(*child++, visitor); });
}

template <class Family>
bool PrefixTrie<Family>::walkTop(unsigned level,
                                 const Key& key,
                                 TrieMask mask,
                                 const PrefixVisitor& visitor) const {
  return walkBits(
      top_->bits(level, key),
      key,
      level * trieStride,
      mask,
      [&visitor](const Key& at, unsigned length) { return visitor(prefixOf(at, length)); },
      [this, level, &key, &visitor](unsigned slot) {
        const Key at = key.withChunk(level * trieStride, slot);
        return level + 1 == Top::levels ? walkRef(top_->ref(at), visitor)
                                        : walkTop(level + 1, at, TrieMask{}, visitor);
      });
}

template bool PrefixTrie<TrieFamily4>::has(const IpGenPrefix&) const noexcept;
template bool PrefixTrie<TrieFamily6>::has(const IpGenPrefix&) const noexcept;
template IpGenPrefix PrefixTrie<TrieFamily4>::longestMatch(const IpGenPrefix&) const noexcept;
template IpGenPrefix PrefixTrie<TrieFamily6>::longestMatch(const IpGenPrefix&) const noexcept;
template IpGenPrefix PrefixTrie<TrieFamily4>::searchEnd(const IpGenPrefix&,
                                                        const TrieSearch&) const noexcept;
template IpGenPrefix PrefixTrie<TrieFamily6>::searchEnd(const IpGenPrefix&,
                                                        const TrieSearch&) const noexcept;
template TrieSearch PrefixTrie<TrieFamily4>::searchBegin(const IpGenPrefix&) const noexcept;
template TrieSearch PrefixTrie<TrieFamily6>::searchBegin(const IpGenPrefix&) const noexcept;
template bool PrefixTrie<TrieFamily4>::searchStep(const IpGenPrefix&, TrieSearch&) const noexcept;
template bool PrefixTrie<TrieFamily6>::searchStep(const IpGenPrefix&, TrieSearch&) const noexcept;
template bool PrefixTrie<TrieFamily4>::longerPresent(const IpGenPrefix&) const noexcept;
template bool PrefixTrie<TrieFamily6>::longerPresent(const IpGenPrefix&) const noexcept;
template void PrefixTrie<TrieFamily4>::walk(const IpGenPrefix&, PrefixVisitor) const;
template void PrefixTrie<TrieFamily6>::walk(const IpGenPrefix&, PrefixVisitor) const;

}  // namespace Routing
