#pragma once

// The memory that the tries of a family share: nodes, leaves and child arrays, each handed out
// under a 32-bit index from chunks that never move.
//
// Owner: the tries. Each holds its arena by shared pointer; ofThread() gives the one that the
// living tries of this thread use, and makes one when there is none. So an idle trie costs nothing,
// a small one only what it stores, and the arena goes with its last trie: it is no global, and
// nothing of it is left at the end of the process. Tries of one thread share an arena and therefore
// belong to one thread at a time, all together.
//
//   Slab        elements of one size
//   ArrayPool   arrays of 1 to 64 references, in size classes
//
// Taking is two steps, so that a change of a trie can get everything it may fail on first:
//   reserve     makes sure that one element (or more) can be taken. Throws: std::bad_alloc; then
//               nothing has changed.
//   take/give   never fail.
//
// Invariants:
//   1. An element never moves; index 0 is never handed out.
//   2. used() counts what was taken and not given back.
//   3. Given elements are taken again before new ones, the last given first.
//   4. Chunks are kept until trim() finds nothing used, when all but the first go. A pool keeps
//      arrays of one size class for that class: what it holds is bounded by the sum over the
//      classes of the most that was ever used at one time.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "platform/entity/Prefetch.h"
#include "platform/trie/TrieBits.h"
#include "platform/trie/TrieKey.h"

namespace Routing {

// What a trie holds for a subtree: nothing, a leaf or a node. Says of a leaf whether it is a host.
class TrieRef {
 public:
  constexpr TrieRef() noexcept = default;
  static constexpr TrieRef node(std::uint32_t index) noexcept { return TrieRef(index); }
  static constexpr TrieRef leaf(std::uint32_t index, bool isHost) noexcept {
    return TrieRef(index | leafTag | (isHost ? hostTag : 0));
  }

  constexpr explicit operator bool() const noexcept { return value_ != 0; }
  constexpr bool isLeaf() const noexcept { return (value_ & leafTag) != 0; }
  constexpr bool isNode() const noexcept { return value_ != 0 && !isLeaf(); }
  constexpr bool isHost() const noexcept { return (value_ & hostTag) != 0; }
  constexpr std::uint32_t index() const noexcept { return value_ & (indexLimit - 1); }

  // Indices of nodes and leaves stay below this.
  static constexpr std::uint32_t indexLimit = std::uint32_t{1} << 30U;

 private:
  static constexpr std::uint32_t leafTag = std::uint32_t{1} << 31U;
  static constexpr std::uint32_t hostTag = std::uint32_t{1} << 30U;
  constexpr explicit TrieRef(std::uint32_t value) noexcept : value_(value) {}

  std::uint32_t value_ = 0;
};

static_assert(sizeof(TrieRef) == 4);

// 32 bytes for IPv4, 48 for IPv6. The key has zeros after the node's depth. The children stand in
// an array of the pool, as many as there are child bits, in slot order.
template <class Key>
struct TrieNode : TrieBits {
  Key key;
  std::uint32_t link = 0;

  // The level takes 5 bits, the index of the child array the rest.
  static constexpr std::uint32_t arrayLimit = std::uint32_t{1} << 27U;

  constexpr unsigned level() const noexcept { return link >> 27U; }
  constexpr unsigned depth() const noexcept { return level() * trieStride; }
  constexpr std::uint32_t array() const noexcept { return link & (arrayLimit - 1); }
  constexpr void levelIs(unsigned level) noexcept { link = level << 27U | array(); }
  constexpr void arrayIs(std::uint32_t array) noexcept { link = level() << 27U | array; }
};

// A lone prefix below a slot, in as many bytes as an address of the family has: a host as it is,
// any other prefix with its end marked (TrieKey.h).
template <class Key>
struct TrieLeaf {
  typename Key::Packed packed{};

  static constexpr TrieLeaf of(const TriePrefix<Key>& prefix) noexcept {
    return {prefix.length == Key::bits ? prefix.key.packed()
                                       : prefix.key.ended(prefix.length).packed()};
  }
  constexpr TriePrefix<Key> prefix(bool isHost) const noexcept {
    const Key key = Key::of(packed);
    return isHost ? TriePrefix<Key>{key, Key::bits}
                  : TriePrefix<Key>{key.unended(), key.endedLength()};
  }
};

template <class Element>
class Slab {
  static_assert(std::is_trivially_copyable_v<Element> && sizeof(Element) >= sizeof(std::uint32_t));

 public:
  explicit Slab(std::uint32_t limit) noexcept : limit_(limit) {}

  Element& operator[](std::uint32_t index) noexcept {
    return chunks_[index >> chunkShift]->elements[index & (chunkSize - 1)];
  }
  const Element& operator[](std::uint32_t index) const noexcept {
    return chunks_[index >> chunkShift]->elements[index & (chunkSize - 1)];
  }
  // Hints that the element will be read soon.
  void fetch(std::uint32_t index) const noexcept {
    if constexpr (cacheLineBytes % sizeof(Element) == 0) {
      prefetch(&(*this)[index]);
    } else {
      prefetchObject(&(*this)[index]);
    }
  }
  std::size_t used() const noexcept { return used_; }
  std::size_t held() const noexcept { return chunks_.size() * sizeof(Chunk); }

  void reserve(std::size_t count = 1) {
    while (free_ + chunks_.size() * chunkSize < count + next_) {
      addChunk();
    }
  }
  // Requires: reserved.
  std::uint32_t take() noexcept {
    ++used_;
    if (free_ == 0) {
      return next_++;
    }
    --free_;
    const std::uint32_t index = firstFree_;
    std::memcpy(&firstFree_, &(*this)[index], sizeof(firstFree_));
    // It tells, when it is taken, where the one after it is; by then it may have left the caches.
    if (free_ != 0) {
      fetch(firstFree_);
    }
    return index;
  }
  void give(std::uint32_t index) noexcept {
    std::memcpy(static_cast<void*>(&(*this)[index]), &firstFree_, sizeof(firstFree_));
    firstFree_ = index;
    ++free_;
    --used_;
  }
  // Requires: nothing is used.
  void trim() noexcept {
    chunks_.resize(chunks_.empty() ? 0 : 1);
    chunks_.shrink_to_fit();
    next_ = 1;
    free_ = 0;
  }

 private:
  // About 64 KB a chunk.
  static constexpr unsigned chunkShift = sizeof(Element) <= 4    ? 14
                                         : sizeof(Element) <= 16 ? 12
                                         : sizeof(Element) <= 32 ? 11
                                                                 : 10;
  static constexpr std::uint32_t chunkSize = std::uint32_t{1} << chunkShift;

  // Elements that fit a cache line evenly take no line more than they need.
  struct alignas(cacheLineBytes) Chunk {
    std::array<Element, chunkSize> elements{};
  };

  void addChunk() {
    if (chunks_.size() >= limit_ / chunkSize) {
      throw std::bad_alloc();
    }
    chunks_.push_back(std::make_unique<Chunk>());
  }

  std::vector<std::unique_ptr<Chunk>> chunks_;
  std::uint32_t limit_;
  std::uint32_t next_ = 1;
  std::uint32_t firstFree_ = 0;
  std::size_t free_ = 0;
  std::size_t used_ = 0;
};

// Sizes of child arrays, in references.
namespace ChildArrays {

inline constexpr std::array<std::uint8_t, 20> sizes{1,  2,  3,  4,  5,  6,  7,  8,  10, 12,
                                                    14, 16, 20, 24, 28, 32, 40, 48, 56, 64};

constexpr std::array<std::uint8_t, 65> makeClasses() noexcept {
  std::array<std::uint8_t, 65> result{};
  std::uint8_t sizeClass = 0;
  for (unsigned count = 0; count < result.size(); ++count) {
    if (count > sizes[sizeClass]) {
      ++sizeClass;
    }
    result[count] = sizeClass;
  }
  return result;
}

// The smallest size that holds a count of references.
inline constexpr std::array<std::uint8_t, 65> classes = makeClasses();

}  // namespace ChildArrays

class ArrayPool {
 public:
  explicit ArrayPool(std::uint32_t limit) noexcept : limit_(limit) {}

  // Two counts of the same class take arrays of the same size. Count is 1 to 64.
  static constexpr unsigned classOf(unsigned count) noexcept { return ChildArrays::classes[count]; }
  static constexpr unsigned wordsOf(unsigned count) noexcept {
    return ChildArrays::sizes[classOf(count)];
  }

  TrieRef* at(std::uint32_t index) noexcept {
    return &chunks_[index >> chunkShift][index & (chunkSize - 1)];
  }
  const TrieRef* at(std::uint32_t index) const noexcept {
    return &chunks_[index >> chunkShift][index & (chunkSize - 1)];
  }
  // In references, as the classes round them up.
  std::size_t used() const noexcept { return used_; }
  std::size_t held() const noexcept { return chunks_.size() * chunkSize * sizeof(TrieRef); }

  // Room for `arrays` arrays of `count` references.
  void reserve(unsigned count, std::size_t arrays = 1);
  // Requires: reserved for that count.
  std::uint32_t take(unsigned count) noexcept;
  void give(std::uint32_t index, unsigned count) noexcept;
  // Shortens an array in its place; for when no shorter one can be had.
  void cut(std::uint32_t index, unsigned oldCount, unsigned newCount) noexcept;
  // Requires: nothing is used.
  void trim() noexcept;

 private:
  static constexpr unsigned chunkShift = 14;
  static constexpr std::uint32_t chunkSize = std::uint32_t{1} << chunkShift;
  void addChunk();
  // Hands a run of references to the free lists.
  void scatter(std::uint32_t index, unsigned words) noexcept;
  void push(unsigned sizeClass, std::uint32_t index) noexcept;

  std::vector<std::unique_ptr<TrieRef[]>> chunks_;
  std::uint32_t limit_;
  std::uint32_t next_ = 1;
  std::array<std::uint32_t, ChildArrays::sizes.size()> firstFree_{};
  std::array<std::uint32_t, ChildArrays::sizes.size()> free_{};
  std::size_t used_ = 0;
};

template <class Family>
struct TrieArena {
  using Node = TrieNode<typename Family::Key>;
  using Leaf = TrieLeaf<typename Family::Key>;

  // Throws: std::bad_alloc.
  static std::shared_ptr<TrieArena> ofThread();

  // Gives chunks back when no trie uses any.
  void trim() noexcept;
  // Bytes of all chunks.
  std::size_t held() const noexcept { return nodes.held() + leaves.held() + arrays.held(); }

  Slab<Node> nodes{TrieRef::indexLimit};
  Slab<Leaf> leaves{TrieRef::indexLimit};
  ArrayPool arrays{Node::arrayLimit};
};

static_assert(sizeof(TrieArena<TrieFamily4>::Node) == 32);
static_assert(sizeof(TrieArena<TrieFamily6>::Node) == 48);
static_assert(sizeof(TrieArena<TrieFamily4>::Leaf) == 4);
static_assert(sizeof(TrieArena<TrieFamily6>::Leaf) == 16);

extern template struct TrieArena<TrieFamily4>;
extern template struct TrieArena<TrieFamily6>;

}  // namespace Routing
