// Whether a trie is what its header says it is. Looking allocates nothing as long as it is, so that
// a build that checks after every change fails where any other does.

#include <algorithm>
#include <bit>

#include "platform/entity/Assert.h"
#include "platform/trie/PrefixTrie.h"

namespace Routing {

// What the check counted on its way.
template <class Family>
struct PrefixTrie<Family>::Census {
  std::size_t prefixes = 0;
  std::size_t nodes = 0;
  std::size_t leaves = 0;
  std::size_t arrayWords = 0;
};

template <class Family>
String PrefixTrie<Family>::checkInvariants() const {
  Census census;
  String broken = top_ ? checkTop(0, Key{}, census) : checkSlot(root_, Key{}, 0, census);
  if (!broken.empty()) {
    return broken;
  }
  if (top_ && root_) {
    return "root beside the dense top";
  }
  if (!top_ && size_ > topLimit) {
    return "no dense top";
  }
  if (census.prefixes != size_) {
    return "size " + std::to_string(size_) + " with " + std::to_string(census.prefixes) +
           " prefixes";
  }
  if (census.nodes != nodes_ || census.leaves != leaves_ || census.arrayWords != arrayWords_) {
    return "memory not counted right";
  }
  return {};
}

template <class Family>
String PrefixTrie<Family>::checkTop(unsigned level, const Key& key, Census& census) const {
  const TrieBits& bits = top_->bits(level, key);
  const unsigned depth = level * trieStride;
  census.prefixes += bits.prefixCount();
  for (unsigned slot = 0; slot < 64; ++slot) {
    const Key below = key.withChunk(depth, slot);
    const bool lastLevel = level + 1 == Top::levels;
    const bool filled =
        lastLevel ? static_cast<bool>(top_->ref(below)) : !top_->bits(level + 1, below).empty();
    if (filled != bits.hasChild(slot)) {
      return "child bit of the dense top at " + prefixOf(below, depth + trieStride).stringValue();
    }
    String broken = lastLevel ? checkSlot(top_->ref(below), below, Top::levels, census)
                              : checkTop(level + 1, below, census);
    if (!broken.empty()) {
      return broken;
    }
  }
  const bool defaultRouteTwice = level != 0 && bits.has({0, 0});
  return (bits.low & 1U) != 0 || defaultRouteTwice ? "stray bit in the dense top" : "";
}

template <class Family>
String PrefixTrie<Family>::checkSlot(TrieRef ref,
                                     const Key& key,
                                     unsigned level,
                                     Census& census) const {
  if (!ref) {
    return {};
  }
  if (ref.isNode()) {
    const Node& node = nodeOf(ref);
    if (node.level() < level || !node.key.agrees(key, level * trieStride)) {
      return "node in the wrong slot below " + prefixOf(key, level * trieStride).stringValue();
    }
    return checkNode(node, census);
  }
  const Stored leaf = leafOf(ref);
  ++census.leaves;
  ++census.prefixes;
  if (leaf.length > Key::bits || leaf.level() < level ||
      !leaf.key.agrees(key, level * trieStride)) {
    return "leaf in the wrong slot below " + prefixOf(key, level * trieStride).stringValue();
  }
  if (leaf.key.first(leaf.length) != leaf.key) {
    return "host bits in leaf " + prefixOf(leaf.key, leaf.length).stringValue();
  }
  return {};
}

template <class Family>
String PrefixTrie<Family>::checkNode(const Node& node, Census& census) const {
  const unsigned depth = node.depth();
  if (depth >= Key::bits || node.key.first(depth) != node.key) {
    return "bits after the depth of node " + prefixOf(node.key, Key::bits).stringValue();
  }
  const auto broken = [&node, depth](const char* what) {
    return "node " + prefixOf(node.key, depth).stringValue() + " has " + what;
  };
  const unsigned children = node.childCount();
  ++census.nodes;
  census.prefixes += node.prefixCount();
  census.arrayWords += children == 0 ? 0 : ArrayPool::wordsOf(children);
  if (node.bitCount() < 2 && !(leafRefused_ && node.bitCount() == 1 && children == 0)) {
    return broken("too few bits");
  }
  const unsigned limit = std::min(Key::bits - depth, trieStride);
  const bool tooLong =
      limit < trieStride && (node.high | node.children | (node.low & ~TrieMasks::upTo[limit])) != 0;
  if (tooLong || (node.low & 1U) != 0 || (depth != 0 && node.has({0, 0}))) {
    return broken("a stray bit");
  }
  for (std::uint64_t slots = node.children; slots != 0; slots &= slots - 1) {
    const auto slot = static_cast<unsigned>(std::countr_zero(slots));
    const TrieRef child = childOf(node, slot);
    if (!child) {
      return broken("a child bit without a child");
    }
    String below = checkSlot(child, node.key.withChunk(depth, slot), node.level() + 1, census);
    if (!below.empty()) {
      return below;
    }
  }
  return {};
}

// Looks at all of a small trie, all of a large one each time that its size is a power of two, and
// when it has a top for the first time: often enough to catch a fault in its first form, and a full
// table can still be built.
template <class Family>
void PrefixTrie<Family>::assertInvariants() const {
  if (size_ <= 64 || std::has_single_bit(size_) || size_ == topLimit + 1) {
    ROUTING_ASSERT(checkInvariants().empty() && "trie invariants");
  }
}

template String PrefixTrie<TrieFamily4>::checkInvariants() const;
template String PrefixTrie<TrieFamily6>::checkInvariants() const;
template void PrefixTrie<TrieFamily4>::assertInvariants() const;
template void PrefixTrie<TrieFamily6>::assertInvariants() const;

}  // namespace Routing
