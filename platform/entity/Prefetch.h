#pragma once

// Tells the processor what will be read soon, so that it has it when it is. Nothing changes but
// where the time goes: the address may be anything.

#include <cstddef>

namespace Routing {

inline void prefetch(const void* address) noexcept {
  __builtin_prefetch(address);
  // g++ takes a function that does nothing else for one without effect and drops its calls.
  asm volatile("");
}

inline constexpr std::size_t cacheLineBytes = 64;

// All of an object, wherever in a line it begins; nothing for null.
template <class T>
void prefetchObject(const T* object) noexcept {
  if (object == nullptr) {
    return;
  }
  const char* const first = reinterpret_cast<const char*>(object);
  for (std::size_t offset = 0; offset < sizeof(T); offset += cacheLineBytes) {
    prefetch(first + offset);
  }
  prefetch(first + sizeof(T) - 1);
}

}  // namespace Routing
