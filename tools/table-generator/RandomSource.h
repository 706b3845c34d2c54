#pragma once

// Random numbers that are the same on every machine: the splitmix64 sequence and integer
// arithmetic only, because the distributions of the standard library differ between its
// implementations.

#include <bit>
#include <cstdint>

namespace Routing {

class RandomSource {
 public:
  explicit constexpr RandomSource(std::uint64_t seed) noexcept : state_(seed) {}

  constexpr std::uint64_t next() noexcept {
    state_ += 0x9e3779b97f4a7c15U;
    std::uint64_t value = state_;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31);
  }

  // A number from 0 to limit - 1; 0 for a limit of 0. The bias is below limit / 2^32.
  constexpr std::uint32_t below(std::uint32_t limit) noexcept {
    return static_cast<std::uint32_t>(((next() >> 32) * limit) >> 32);
  }

  // True in `part` of `whole` cases.
  constexpr bool chance(std::uint32_t part, std::uint32_t whole) noexcept {
    return below(whole) < part;
  }

  // A number from 0 to limit - 1 of which small ones are frequent: each halving of the range, up to
  // half as many as there are, is as likely as the others.
  constexpr std::uint32_t skewedBelow(std::uint32_t limit) noexcept {
    const auto halvings = static_cast<std::uint32_t>(std::bit_width(limit)) / 2 + 1;
    return below(limit >> below(halvings));
  }

 private:
  std::uint64_t state_;
};

}  // namespace Routing
