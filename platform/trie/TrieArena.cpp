#include "platform/trie/TrieArena.h"

namespace Routing {

using ChildArrays::sizes;

void ArrayPool::reserve(unsigned count, std::size_t arrays) {
  const unsigned sizeClass = classOf(count);
  const std::uint32_t words = sizes[sizeClass];
  while (free_[sizeClass] < arrays) {
    const auto end = static_cast<std::uint32_t>(chunks_.size() * chunkSize);
    if (end < next_ + words) {
      addChunk();
      // An array does not straddle two chunks.
      if (end > next_) {
        scatter(next_, end - next_);
        next_ = end;
      }
      continue;
    }
    push(sizeClass, next_);
    next_ += words;
  }
}

void ArrayPool::addChunk() {
  if (chunks_.size() >= limit_ / chunkSize) {
    throw std::bad_alloc();
  }
  chunks_.push_back(std::make_unique<TrieRef[]>(chunkSize));
}

std::uint32_t ArrayPool::take(unsigned count) noexcept {
  const unsigned sizeClass = classOf(count);
  const std::uint32_t index = firstFree_[sizeClass];
  std::memcpy(&firstFree_[sizeClass], at(index), sizeof(index));
  --free_[sizeClass];
  if (free_[sizeClass] != 0) {
    prefetch(at(firstFree_[sizeClass]));
  }
  used_ += sizes[sizeClass];
  return index;
}

void ArrayPool::give(std::uint32_t index, unsigned count) noexcept {
  const unsigned sizeClass = classOf(count);
  push(sizeClass, index);
  used_ -= sizes[sizeClass];
}

void ArrayPool::cut(std::uint32_t index, unsigned oldCount, unsigned newCount) noexcept {
  const unsigned kept = wordsOf(newCount);
  const unsigned freed = wordsOf(oldCount) - kept;
  scatter(index + kept, freed);
  used_ -= freed;
}

void ArrayPool::scatter(std::uint32_t index, unsigned words) noexcept {
  for (unsigned sizeClass = sizes.size(); words != 0;) {
    if (sizes[sizeClass - 1] > words) {
      --sizeClass;
      continue;
    }
    push(sizeClass - 1, index);
    index += sizes[sizeClass - 1];
    words -= sizes[sizeClass - 1];
  }
}

void ArrayPool::push(unsigned sizeClass, std::uint32_t index) noexcept {
  std::memcpy(static_cast<void*>(at(index)), &firstFree_[sizeClass], sizeof(index));
  firstFree_[sizeClass] = index;
  ++free_[sizeClass];
}

void ArrayPool::trim() noexcept {
  chunks_.resize(chunks_.empty() ? 0 : 1);
  chunks_.shrink_to_fit();
  next_ = 1;
  firstFree_.fill(0);
  free_.fill(0);
}

template <class Family>
std::shared_ptr<TrieArena<Family>> TrieArena<Family>::ofThread() {
  thread_local std::weak_ptr<TrieArena> current;
  auto arena = current.lock();
  if (!arena) {
    arena = std::make_shared<TrieArena>();
    current = arena;
  }
  return arena;
}

template <class Family>
void TrieArena<Family>::trim() noexcept {
  if (nodes.used() == 0 && leaves.used() == 0 && arrays.used() == 0) {
    nodes.trim();
    leaves.trim();
    arrays.trim();
  }
}

template struct TrieArena<TrieFamily4>;
template struct TrieArena<TrieFamily6>;

}  // namespace Routing
