// Making and dropping a trie's dense top.

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <new>
#include <utility>

#include "platform/trie/PrefixTrie.h"

namespace Routing {

template <class Family>
void PrefixTrie<Family>::makeTop() {
  auto top = std::make_unique<Top>();
  plant(*top, root_);
  root_ = TrieRef();
  top_ = std::move(top);
}

template <class Family>
void PrefixTrie<Family>::plant(Top& top, TrieRef subtree) noexcept {
  if (subtree.isNode()) {
    plantNode(top, subtree);
  } else if (subtree) {
    const Stored prefix = leafOf(subtree);
    if (prefix.level() >= Top::levels) {
      top.ref(prefix.key) = subtree;
      top.mark(Top::levels, prefix.key);
    } else {
      top.mark(prefix.level(), prefix.key);
      top.bits(prefix.level(), prefix.key).set(localOf(prefix));
      giveLeaf(subtree);
    }
  }
}

template <class Family>
void PrefixTrie<Family>::plantNode(Top& top, TrieRef subtree) noexcept {
  const Node& node = nodeOf(subtree);
  if (node.level() >= Top::levels) {
    top.ref(node.key) = subtree;
    top.mark(Top::levels, node.key);
    return;
  }
  top.mark(node.level(), node.key);
  TrieBits& bits = top.bits(node.level(), node.key);
  const unsigned count = node.childCount();
  bits.low |= node.low;
  bits.high |= node.high;
  for (unsigned i = 0; i < count; ++i) {
    plant(top, arena_->arrays.at(node.array())[i]);
  }
  if (count != 0) {
    giveArray(node.array(), count);
  }
  giveNode(subtree);
}

template <class Family>
void PrefixTrie<Family>::dropTop() noexcept {
  try {
    reserveForTop();
  } catch (const std::bad_alloc&) {
    return;
  }
  root_ = uproot(0, Key{});
  top_.reset();
}

template <class Family>
void PrefixTrie<Family>::reserveForTop() {
  std::size_t nodes = 0;
  std::size_t leaves = 0;
  std::array<std::size_t, 65> arraysOfSize{};
  for (const TrieBits& bits : top_->allBits()) {
    const unsigned children = bits.childCount();
    const unsigned prefixes = bits.prefixCount();
    if (children + prefixes > 1) {
      ++nodes;
      arraysOfSize[children == 0 ? 0 : ArrayPool::wordsOf(children)] += 1;
    } else {
      leaves += prefixes;
    }
  }
  arena_->nodes.reserve(nodes);
  arena_->leaves.reserve(leaves);
  for (unsigned size = 1; size < arraysOfSize.size(); ++size) {
    arena_->arrays.reserve(size, arraysOfSize[size]);
  }
}

template <class Family>
TrieRef PrefixTrie<Family>::uproot(unsigned level, const Key& key) noexcept {
  const TrieBits& bits = top_->bits(level, key);
  const unsigned depth = level * trieStride;
  std::array<TrieRef, 64> children;
  unsigned count = 0;
  for (std::uint64_t slots = bits.children; slots != 0; slots &= slots - 1) {
    const Key below = key.withChunk(depth, static_cast<unsigned>(std::countr_zero(slots)));
    children[count++] = level + 1 == Top::levels ? top_->ref(below) : uproot(level + 1, below);
  }
  const unsigned prefixes = bits.prefixCount();
  if (prefixes == 0 && count <= 1) {
    return children[0];
  }
  if (prefixes == 1 && count == 0) {
    const LocalPrefix local = bits.onlyPrefix();
    return takeLeaf(
        {key.withChunk(depth, local.value << (trieStride - local.length)), depth + local.length});
  }
  const TrieRef taken = takeNode(level, key);
  Node& node = nodeOf(taken);
  static_cast<TrieBits&>(node) = bits;
  if (count != 0) {
    node.arrayIs(takeArray(count));
    std::copy_n(children.begin(), count, arena_->arrays.at(node.array()));
  }
  return taken;
}

// What other source files need of this one.
template void PrefixTrie<TrieFamily4>::makeTop();
template void PrefixTrie<TrieFamily6>::makeTop();
template void PrefixTrie<TrieFamily4>::dropTop() noexcept;
template void PrefixTrie<TrieFamily6>::dropTop() noexcept;

}  // namespace Routing
