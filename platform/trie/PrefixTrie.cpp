#include "platform/trie/PrefixTrie.h"

#include <algorithm>
#include <new>

#include "platform/entity/Assert.h"

namespace Routing {

namespace {

#ifdef NEXTHOP_CHECK_TRIE
constexpr bool checksEveryChange = true;
#else
constexpr bool checksEveryChange = false;
#endif

}  // namespace

template <class Family>
PrefixTrie<Family>::PrefixTrie() : arena_(Arena::ofThread()) {}

template <class Family>
PrefixTrie<Family>::~PrefixTrie() {
  release(root_);
  if (top_) {
    for (const TrieRef ref : top_->allRefs()) {
      release(ref);
    }
  }
  arena_->trim();
}

template <class Family>
std::size_t PrefixTrie<Family>::memory() const noexcept {
  return sizeof(*this) + nodes_ * sizeof(Node) + leaves_ * sizeof(Leaf) +
         arrayWords_ * sizeof(TrieRef) + (top_ ? top_->memory() : 0);
}

template <class Family>
void PrefixTrie<Family>::release(TrieRef subtree) noexcept {
  if (subtree.isLeaf()) {
    giveLeaf(subtree);
  } else if (subtree.isNode()) {
    const Node& node = nodeOf(subtree);
    const unsigned count = node.childCount();
    for (unsigned i = 0; i < count; ++i) {
      release(arena_->arrays.at(node.array())[i]);
    }
    if (count != 0) {
      giveArray(node.array(), count);
    }
    giveNode(subtree);
  }
}

// Inserting. Whatever can fail is reserved before the first change.

template <class Family>
bool PrefixTrie<Family>::insert(const IpGenPrefix& prefix) {
  if (!inFamily(prefix)) {
    return false;
  }
  if (walking_) {
    // Who is called by the walk may add what is there.
    ROUTING_ASSERT(has(prefix) && "trie changed by its own walk");
    return false;
  }
  if (!top_ && size_ >= topLimit && !has(prefix)) {
    makeTop();
  }
  const Stored stored = Stored::of(prefix);
  const bool added = inTop(stored) ? insertInTop(stored) : insertBelow(stored);
  size_ += added ? 1 : 0;
  changes_ += added ? 1 : 0;
  if (checksEveryChange) {
    assertInvariants();
  }
  return added;
}

template <class Family>
bool PrefixTrie<Family>::insertInTop(const Stored& prefix) noexcept {
  TrieBits& bits = top_->bits(prefix.level(), prefix.key);
  const LocalPrefix local = localOf(prefix);
  if (bits.has(local)) {
    return false;
  }
  if (bits.empty()) {
    top_->mark(prefix.level(), prefix.key);
  }
  bits.set(local);
  return true;
}

template <class Family>
bool PrefixTrie<Family>::insertBelow(const Stored& prefix) {
  TrieRef* slot = &rootOf(prefix);
  while (slot->isNode() && leadsTo(nodeOf(*slot), prefix)) {
    Node& node = nodeOf(*slot);
    if (node.level() == prefix.level()) {
      const LocalPrefix local = localOf(prefix);
      const bool added = !node.has(local);
      node.set(local);
      return added;
    }
    const unsigned at = prefix.key.chunk(node.depth());
    if (!node.hasChild(at)) {
      addLeaf(node, prefix);
      return true;
    }
    slot = &childOf(node, at);
  }
  if (*slot) {
    if (slot->isLeaf() && leafOf(*slot) == prefix) {
      return false;
    }
    split(*slot, prefix);
    return true;
  }
  arena_->leaves.reserve();
  *slot = takeLeaf(prefix);
  if (top_) {
    top_->mark(Top::levels, prefix.key);
  }
  return true;
}

template <class Family>
void PrefixTrie<Family>::addLeaf(Node& node, const Stored& prefix) {
  arena_->leaves.reserve();
  arena_->arrays.reserve(node.childCount() + 1);
  addChild(node, prefix.key.chunk(node.depth()), takeLeaf(prefix));
}

template <class Family>
void PrefixTrie<Family>::addChild(Node& node, unsigned slot, TrieRef child) noexcept {
  const unsigned count = node.childCount();
  const unsigned rank = node.rank(slot);
  TrieRef* const old = arena_->arrays.at(node.array());
  if (count != 0 && ArrayPool::classOf(count) == ArrayPool::classOf(count + 1)) {
    std::copy_backward(old + rank, old + count, old + count + 1);
    old[rank] = child;
  } else {
    const std::uint32_t array = takeArray(count + 1);
    TrieRef* const target = arena_->arrays.at(array);
    std::copy(old, old + rank, target);
    target[rank] = child;
    std::copy(old + rank, old + count, target + rank + 1);
    if (count != 0) {
      giveArray(node.array(), count);
    }
    node.arrayIs(array);
  }
  node.children |= std::uint64_t{1} << slot;
}

// The new node's level is the highest at which both still have a place in it. There one of them is
// a bit, or they part ways, so the node has two bits.
template <class Family>
void PrefixTrie<Family>::split(TrieRef& slot, const Stored& prefix) {
  const TrieRef old = slot;
  const Stored other = old.isLeaf() ? leafOf(old) : Stored{nodeOf(old).key, nodeOf(old).depth()};
  const unsigned level =
      std::min({prefix.key.common(other.key) / trieStride, prefix.level(), other.level()});
  const bool prefixIsBit = prefix.level() == level;
  const bool otherIsBit = old.isLeaf() && other.level() == level;
  const unsigned children = (prefixIsBit ? 0U : 1U) + (otherIsBit ? 0U : 1U);

  arena_->nodes.reserve();
  arena_->leaves.reserve();
  if (children != 0) {
    arena_->arrays.reserve(children);
  }

  const TrieRef taken = takeNode(level, prefix.key);
  Node& node = nodeOf(taken);
  const unsigned prefixSlot = prefix.key.chunk(node.depth());
  const unsigned otherSlot = other.key.chunk(node.depth());
  if (children != 0) {
    node.arrayIs(takeArray(children));
    node.children = (prefixIsBit ? 0 : std::uint64_t{1} << prefixSlot) |
                    (otherIsBit ? 0 : std::uint64_t{1} << otherSlot);
  }
  if (otherIsBit) {
    node.set(localOf(other));
    giveLeaf(old);
  } else {
    childOf(node, otherSlot) = old;
  }
  if (prefixIsBit) {
    node.set(localOf(prefix));
  } else {
    childOf(node, prefixSlot) = takeLeaf(prefix);
  }
  slot = taken;
}

// Erasing. Nothing here may fail; where a smaller form needs memory that is not to be had, the
// larger one stays.

template <class Family>
bool PrefixTrie<Family>::erase(const IpGenPrefix& prefix) noexcept {
  if (!inFamily(prefix)) {
    return false;
  }
  if (walking_) {
    ROUTING_ASSERT(!has(prefix) && "trie changed by its own walk");
    return false;
  }
  const Stored stored = Stored::of(prefix);
  const bool removed = inTop(stored) ? eraseInTop(stored) : eraseBelow(stored);
  if (removed) {
    --size_;
    ++changes_;
    if (top_ && size_ <= topLimit / 4) {
      dropTop();
    }
    if (size_ == 0) {
      arena_->trim();
    }
  }
  if (checksEveryChange) {
    assertInvariants();
  }
  return removed;
}

template <class Family>
bool PrefixTrie<Family>::eraseInTop(const Stored& prefix) noexcept {
  TrieBits& bits = top_->bits(prefix.level(), prefix.key);
  const LocalPrefix local = localOf(prefix);
  if (!bits.has(local)) {
    return false;
  }
  bits.clear(local);
  if (bits.empty()) {
    top_->unmark(prefix.level(), prefix.key);
  }
  return true;
}

template <class Family>
bool PrefixTrie<Family>::eraseBelow(const Stored& prefix) noexcept {
  Place place{&rootOf(prefix), nullptr};
  TrieRef* above = nullptr;
  while (place.slot->isNode()) {
    Node& node = nodeOf(*place.slot);
    if (!leadsTo(node, prefix)) {
      return false;
    }
    if (node.level() == prefix.level()) {
      const LocalPrefix local = localOf(prefix);
      if (!node.has(local)) {
        return false;
      }
      node.clear(local);
      if (node.empty()) {
        emptyPlace(place, above, prefix.key);
      } else {
        settle(*place.slot);
      }
      return true;
    }
    const unsigned at = prefix.key.chunk(node.depth());
    if (!node.hasChild(at)) {
      return false;
    }
    above = place.slot;
    place = {&childOf(node, at), &node};
  }
  if (!*place.slot || !(leafOf(*place.slot) == prefix)) {
    return false;
  }
  emptyPlace(place, above, prefix.key);
  return true;
}

template <class Family>
void PrefixTrie<Family>::emptyPlace(const Place& place, TrieRef* above, const Key& key) noexcept {
  if (place.slot->isLeaf()) {
    giveLeaf(*place.slot);
  } else {
    giveNode(*place.slot);
  }
  if (place.owner != nullptr) {
    removeChild(*place.owner, key.chunk(place.owner->depth()));
    settle(*above);
    return;
  }
  *place.slot = TrieRef();
  if (top_) {
    top_->unmark(Top::levels, key);
  }
}

template <class Family>
void PrefixTrie<Family>::removeChild(Node& node, unsigned slot) noexcept {
  const unsigned count = node.childCount();
  const unsigned rank = node.rank(slot);
  TrieRef* const old = arena_->arrays.at(node.array());
  node.children &= ~(std::uint64_t{1} << slot);
  if (count == 1) {
    giveArray(node.array(), 1);
    node.arrayIs(0);
    return;
  }
  const bool sameSize = ArrayPool::classOf(count) == ArrayPool::classOf(count - 1);
  if (!sameSize && canTakeArray(count - 1)) {
    const std::uint32_t array = takeArray(count - 1);
    TrieRef* const target = arena_->arrays.at(array);
    std::copy(old, old + rank, target);
    std::copy(old + rank + 1, old + count, target + rank);
    giveArray(node.array(), count);
    node.arrayIs(array);
    return;
  }
  std::copy(old + rank + 1, old + count, old + rank);
  if (!sameSize) {
    arrayWords_ -= ArrayPool::wordsOf(count) - ArrayPool::wordsOf(count - 1);
    arena_->arrays.cut(node.array(), count, count - 1);
  }
}

template <class Family>
void PrefixTrie<Family>::settle(TrieRef& slot) noexcept {
  const Node& node = nodeOf(slot);
  if (node.bitCount() > 1) {
    return;
  }
  const TrieRef old = slot;
  if (node.children != 0) {
    slot = *arena_->arrays.at(node.array());
    giveArray(node.array(), 1);
  } else if (canTakeLeaf()) {
    const LocalPrefix local = node.onlyPrefix();
    const unsigned value = local.value << (trieStride - local.length);
    slot = takeLeaf({node.key.withChunk(node.depth(), value), node.depth() + local.length});
  } else {
    leafRefused_ = true;
    return;
  }
  giveNode(old);
}

template <class Family>
bool PrefixTrie<Family>::canTakeLeaf() noexcept {
  try {
    arena_->leaves.reserve();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

template <class Family>
bool PrefixTrie<Family>::canTakeArray(unsigned count) noexcept {
  try {
    arena_->arrays.reserve(count);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// What other source files and the library's users need of this one.
template PrefixTrie<TrieFamily4>::PrefixTrie();
template PrefixTrie<TrieFamily6>::PrefixTrie();
template PrefixTrie<TrieFamily4>::~PrefixTrie();
template PrefixTrie<TrieFamily6>::~PrefixTrie();
template std::size_t PrefixTrie<TrieFamily4>::memory() const noexcept;
template std::size_t PrefixTrie<TrieFamily6>::memory() const noexcept;
template bool PrefixTrie<TrieFamily4>::insert(const IpGenPrefix&);
template bool PrefixTrie<TrieFamily6>::insert(const IpGenPrefix&);
template bool PrefixTrie<TrieFamily4>::erase(const IpGenPrefix&) noexcept;
template bool PrefixTrie<TrieFamily6>::erase(const IpGenPrefix&) noexcept;

}  // namespace Routing
