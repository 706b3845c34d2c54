#include "tests/support/Allocations.h"

#include <malloc.h>

#include <cstdlib>
#include <new>
#include <optional>

namespace Routing::Support {

namespace {

std::uint64_t made = 0;
std::size_t held = 0;
// How many allocations succeed before one fails; nothing when none is to fail.
std::optional<std::uint64_t> successesLeft;

void* allocate(std::size_t bytes, std::size_t alignment) noexcept {
  if (successesLeft && (*successesLeft)-- == 0) {
    successesLeft.reset();
    return nullptr;
  }
  const std::size_t rounded = (bytes + alignment - 1) / alignment * alignment;
  void* const block = alignment <= alignof(std::max_align_t)
                          ? std::malloc(bytes == 0 ? 1 : bytes)
                          : std::aligned_alloc(alignment, rounded == 0 ? alignment : rounded);
  if (block != nullptr) {
    ++made;
    held += malloc_usable_size(block);
  }
  return block;
}

void* allocateOrThrow(std::size_t bytes, std::size_t alignment) {
  void* const block = allocate(bytes, alignment);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void release(void* block) noexcept {
  held -= block == nullptr ? 0 : malloc_usable_size(block);
  std::free(block);
}

constexpr std::size_t plain = alignof(std::max_align_t);

}  // namespace

std::uint64_t allocations() noexcept { return made; }
std::size_t allocatedBytes() noexcept { return held; }

FailingAllocation::FailingAllocation(std::uint64_t successes) noexcept {
  successesLeft = successes;
}
FailingAllocation::~FailingAllocation() { successesLeft.reset(); }
bool FailingAllocation::fired() const noexcept { return !successesLeft; }

}  // namespace Routing::Support

using Routing::Support::allocate;
using Routing::Support::allocateOrThrow;
using Routing::Support::plain;
using Routing::Support::release;

void* operator new(std::size_t bytes) { return allocateOrThrow(bytes, plain); }
void* operator new[](std::size_t bytes) { return allocateOrThrow(bytes, plain); }
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return allocateOrThrow(bytes, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t bytes, std::align_val_t alignment) {
  return allocateOrThrow(bytes, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(bytes, plain);
}
void* operator new[](std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(bytes, plain);
}
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t /*bytes*/) noexcept { release(block); }
void operator delete[](void* block, std::size_t /*bytes*/) noexcept { release(block); }
void operator delete(void* block, std::align_val_t /*alignment*/) noexcept { release(block); }
void operator delete[](void* block, std::align_val_t /*alignment*/) noexcept { release(block); }
void operator delete(void* block, std::size_t /*bytes*/, std::align_val_t /*alignment*/) noexcept {
  release(block);
}
void operator delete[](void* block,
                       std::size_t /*bytes*/,
                       std::align_val_t /*alignment*/) noexcept {
  release(block);
}
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { release(block); }
void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept { release(block); }
