#pragma once

// PrefixTrie: a set of prefixes of one family that answers what covers a prefix and what lies
// inside.
//
// The structure is a path-compressed trie with a stride of six bits. A node at depth d, a multiple
// of six, owns the prefixes of length d+1 to d+6 below it as bits of a bitmap (TrieBits.h); a /24
// of IPv4 is one bit of a node at depth 18 and nothing else. Below a node hang up to 64 slots, each
// empty, or holding a leaf (a single prefix, in full) or a node at any greater depth. The whole
// trie hangs in one such slot, the root, so an empty trie has no node and a trie of one prefix one
// leaf. There are no parent links; nodes, leaves and child arrays live in an arena that all tries
// of the family share (TrieArena.h).
//
// Past topLimit prefixes the nodes above depth 18 (IPv4) or 12 (IPv6) give way to plain arrays
// (DenseTop.h), whose slots are roots of the same kind; below a quarter of the limit they come
// back.
//
// Owner: whoever holds it; it is neither copied nor moved. It throws nothing but std::bad_alloc,
// only from the constructor and from insert(), and then it is as it was.
//
// Arguments of the other family and the empty prefix are in no trie: not inserted, not found,
// covered by nothing and covering nothing.
//
// Invariants:
//   1. A prefix is in exactly one place: a bit of the node at its own level, or a leaf when there
//      is no such node.
//   2. Key bits after a node's depth or a leaf's length are zero.
//   3. A node has at least two prefix and child bits together. (A node left with one prefix when no
//      memory for a leaf could be had stays as it is; it answers like any other.)
//   4. A child bit is set exactly when the child array has a reference for the slot, and what it
//      leads to is not empty.
//   5. Below depth d there are only nodes of depth d+6 and more, in the slot that their key says.
//   6. An empty trie takes nothing from the arena.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

#include "platform/entity/Prefetch.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/trie/DenseTop.h"
#include "platform/trie/TrieArena.h"
#include "platform/trie/TrieBits.h"
#include "platform/trie/TrieKey.h"

namespace Routing {

// What a walk calls for every prefix: refers to a callable of its caller's, which returns false to
// stop the walk.
class PrefixVisitor {
 public:
  template <class Callable>
  requires(!std::is_same_v<std::remove_cvref_t<Callable>, PrefixVisitor>)
      // NOLINTNEXTLINE(google-explicit-constructor): a walk is given a lambda
      PrefixVisitor(const Callable& callable)
  noexcept
      : callable_(&callable), call_([](const void* target, const IpGenPrefix& prefix) -> bool {
          return (*static_cast<const Callable*>(target))(prefix);
        }) {}

  bool operator()(const IpGenPrefix& prefix) const { return call_(callable_, prefix); }

 private:
  const void* callable_;
  bool (*call_)(const void* target, const IpGenPrefix& prefix);
};

// How far a longest match has come that is made in steps.
struct TrieSearch {
  // The slot that is to be read next; null when it was read.
  const TrieRef* slot = nullptr;
  // What the last slot held, to be looked at next.
  TrieRef ref;
  // The last node above with a prefix that covers the one searched for.
  const void* covering = nullptr;
};

// A trie of either family, for who knows which.
class AnyPrefixTrie {
 public:
  AnyPrefixTrie(const AnyPrefixTrie&) = delete;
  AnyPrefixTrie& operator=(const AnyPrefixTrie&) = delete;
  virtual ~AnyPrefixTrie() = default;

 protected:
  AnyPrefixTrie() = default;
};

template <class Family>
class PrefixTrie final : public AnyPrefixTrie {
 public:
  // A trie with more prefixes than this has a dense top; it keeps it down to a quarter of them.
  static constexpr std::size_t topLimit = 16384;

  // Throws: std::bad_alloc.
  PrefixTrie();
  ~PrefixTrie() override;

  std::size_t size() const noexcept { return size_; }
  // Prefixes inserted and erased so far, modulo 2^32.
  std::uint32_t changes() const noexcept { return changes_; }
  bool hasDenseTop() const noexcept { return top_ != nullptr; }
  // Bytes of this trie's own: the object, its share of the arena, its dense top.
  std::size_t memory() const noexcept;
  // The arena it shares.
  const TrieArena<Family>& arena() const noexcept { return *arena_; }

  // Adds the prefix; true when it was absent. Requires: no walk under way.
  // Throws: std::bad_alloc; the trie is unchanged then.
  bool insert(const IpGenPrefix& prefix);
  // Removes the prefix; true when it was there. Requires: no walk under way.
  bool erase(const IpGenPrefix& prefix) noexcept;

  bool has(const IpGenPrefix& prefix) const noexcept;
  // The longest prefix of the trie that covers the argument; the empty prefix when none does.
  IpGenPrefix longestMatch(const IpGenPrefix& prefix) const noexcept;
  // True when a prefix of the trie is strictly longer than the argument and inside it.
  bool longerPresent(const IpGenPrefix& prefix) const noexcept;
  // The same for who has other things to do while memory is fetched. Each step reads what the one
  // before it fetched, until one returns false: all that the longest match will read is at hand.
  // Requires: the same prefix throughout; no change of the trie since the beginning.
  TrieSearch searchBegin(const IpGenPrefix& prefix) const noexcept;
  bool searchStep(const IpGenPrefix& prefix, TrieSearch& search) const noexcept;
  IpGenPrefix searchEnd(const IpGenPrefix& prefix, const TrieSearch& search) const noexcept;
  // Visits the prefixes of the trie inside the argument, itself included: by address, and of those
  // with the same address the shorter first, so that a parent comes before what is inside it. The
  // visitor may ask this trie anything, may walk it again and may change other tries.
  // Throws: what the visitor throws; the walk ends there.
  void walk(const IpGenPrefix& prefix, PrefixVisitor visitor) const;

  // What is broken, with the place; empty when every invariant holds. Looks at the whole trie.
  String checkInvariants() const;

 private:
  using Key = typename Family::Key;
  using Stored = TriePrefix<Key>;
  using Arena = TrieArena<Family>;
  using Node = typename Arena::Node;
  using Leaf = typename Arena::Leaf;
  using Top = DenseTop<Family>;
  struct Census;

  // A slot on the way down to a prefix and the node that it belongs to, which is null for the root
  // and for the slots of the dense top.
  struct Place {
    TrieRef* slot = nullptr;
    Node* owner = nullptr;
  };

  // What is left of the prefix below a node of its own level.
  static LocalPrefix localOf(const Stored& prefix) noexcept {
    const unsigned depth = prefix.level() * trieStride;
    const unsigned length = prefix.length - depth;
    return {length, prefix.key.chunk(depth) >> (trieStride - length)};
  }
  // Requires: no bit after the first `length` is set.
  static IpGenPrefix prefixOf(const Key& key, unsigned length) noexcept {
    return IpGenPrefix::ofNetwork(key.address(), static_cast<std::uint8_t>(length));
  }
  static bool inFamily(const IpGenPrefix& prefix) noexcept {
    return prefix.family() == Family::family;
  }
  // True when the prefix is owned by the dense top itself.
  bool inTop(const Stored& prefix) const noexcept {
    return top_ != nullptr && prefix.level() < Top::levels;
  }
  // The slot from which everything of the prefix's level or below hangs.
  TrieRef& rootOf(const Stored& prefix) noexcept { return top_ ? top_->ref(prefix.key) : root_; }
  TrieRef rootOf(const Stored& prefix) const noexcept {
    return top_ ? top_->ref(prefix.key) : root_;
  }
  TrieRef& childOf(const Node& node, unsigned slot) noexcept {
    return arena_->arrays.at(node.array())[node.rank(slot)];
  }
  TrieRef childOf(const Node& node, unsigned slot) const noexcept {
    return arena_->arrays.at(node.array())[node.rank(slot)];
  }
  Node& nodeOf(TrieRef ref) noexcept { return arena_->nodes[ref.index()]; }
  const Node& nodeOf(TrieRef ref) const noexcept { return arena_->nodes[ref.index()]; }
  void prefetchRef(TrieRef ref) const noexcept {
    if (ref.isNode()) {
      arena_->nodes.fetch(ref.index());
    } else if (ref) {
      arena_->leaves.fetch(ref.index());
    }
  }
  Stored leafOf(TrieRef ref) const noexcept {
    return arena_->leaves[ref.index()].prefix(ref.isHost());
  }
  // True when the prefix belongs to this node or below it.
  static bool leadsTo(const Node& node, const Stored& prefix) noexcept {
    return node.level() <= prefix.level() && node.key.agrees(prefix.key, node.depth());
  }

  // Taking needs what it takes to be reserved. None of these touches the tree.
  TrieRef takeLeaf(const Stored& prefix) noexcept {
    const std::uint32_t index = arena_->leaves.take();
    arena_->leaves[index] = Leaf::of(prefix);
    ++leaves_;
    return TrieRef::leaf(index, prefix.length == Key::bits);
  }
  void giveLeaf(TrieRef leaf) noexcept {
    arena_->leaves.give(leaf.index());
    --leaves_;
  }
  // A node of that level on the way to the key, without bits.
  TrieRef takeNode(unsigned level, const Key& key) noexcept {
    const TrieRef taken = TrieRef::node(arena_->nodes.take());
    Node& node = nodeOf(taken);
    node = Node{};
    node.key = key.first(level * trieStride);
    node.levelIs(level);
    ++nodes_;
    return taken;
  }
  void giveNode(TrieRef node) noexcept {
    arena_->nodes.give(node.index());
    --nodes_;
  }
  std::uint32_t takeArray(unsigned count) noexcept {
    arrayWords_ += ArrayPool::wordsOf(count);
    return arena_->arrays.take(count);
  }
  void giveArray(std::uint32_t array, unsigned count) noexcept {
    arrayWords_ -= ArrayPool::wordsOf(count);
    arena_->arrays.give(array, count);
  }
  void release(TrieRef subtree) noexcept;

  bool insertInTop(const Stored& prefix) noexcept;
  bool insertBelow(const Stored& prefix);
  void addLeaf(Node& node, const Stored& prefix);
  void addChild(Node& node, unsigned slot, TrieRef child) noexcept;
  // Puts a node in the slot that holds what the slot held, and the prefix.
  void split(TrieRef& slot, const Stored& prefix);

  bool eraseInTop(const Stored& prefix) noexcept;
  bool eraseBelow(const Stored& prefix) noexcept;
  // Takes what is in the place away; `above` is the slot of the place's owner.
  void emptyPlace(const Place& place, TrieRef* above, const Key& key) noexcept;
  void removeChild(Node& node, unsigned slot) noexcept;
  // Gives up the node in the slot when a leaf or its only child can stand for it.
  void settle(TrieRef& slot) noexcept;
  bool canTakeLeaf() noexcept;
  bool canTakeArray(unsigned count) noexcept;

  // Throws: std::bad_alloc; the trie is unchanged then.
  void makeTop();
  // Moves a subtree into the dense top.
  void plant(Top& top, TrieRef subtree) noexcept;
  void plantNode(Top& top, TrieRef subtree) noexcept;
  // Keeps the dense top when there is no memory for nodes in its place: it is tried again at the
  // next removal.
  void dropTop() noexcept;
  void reserveForTop();
  // Moves the part of the dense top below a bitmap into nodes.
  TrieRef uproot(unsigned level, const Key& key) noexcept;

  // Length of the longest match, -1 for none, looked for from a place on the way down and the last
  // node above it with a covering prefix.
  int longest(Stored prefix, TrieRef ref, const Node* covering) const noexcept;
  static IpGenPrefix matchOf(const Stored& prefix, int length) noexcept {
    const auto count = static_cast<unsigned>(length);
    return length < 0 ? IpGenPrefix() : prefixOf(prefix.key.first(count), count);
  }
  int longestInTop(const Stored& prefix) const noexcept;
  // Finds what of the trie below the dense top lies inside the prefix: onPart(node) when it is a
  // part of the node of the prefix's level, onWhole(ref) when it is all of a subtree. False when it
  // is nothing.
  template <class OnPart, class OnWhole>
  bool locate(const Stored& prefix, OnPart onPart, OnWhole onWhole) const;
  bool walkRef(TrieRef subtree, const PrefixVisitor& visitor) const;
  bool walkNode(const Node& node, TrieMask mask, const PrefixVisitor& visitor) const;
  bool walkTop(unsigned level, const Key& key, TrieMask mask, const PrefixVisitor& visitor) const;

  // Called after every change in a build with NEXTHOP_CHECK_TRIE.
  void assertInvariants() const;
  String checkTop(unsigned level, const Key& key, Census& census) const;
  String checkSlot(TrieRef ref, const Key& key, unsigned level, Census& census) const;
  String checkNode(const Node& node, Census& census) const;

  std::shared_ptr<Arena> arena_;
  std::unique_ptr<Top> top_;
  TrieRef root_;
  std::uint32_t nodes_ = 0;
  std::uint32_t leaves_ = 0;
  std::uint32_t arrayWords_ = 0;
  std::size_t size_ = 0;
  std::uint32_t changes_ = 0;
  // Walks under way, one inside the other.
  mutable std::uint16_t walking_ = 0;
  // Set when erase() kept a node with a single prefix for want of memory.
  bool leafRefused_ = false;
};

}  // namespace Routing
