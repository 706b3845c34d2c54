#pragma once

// Hashing of collection keys: 32 bits, the same in every run, well mixed in all bits (a table takes
// the low ones for the place and the high ones for a tag).
//
// hashOf(key) works for unsigned integers, text, and every type with hash(seed).

#include <concepts>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Routing {

// Folds a 128-bit product: both factors reach every bit of the result.
constexpr std::uint64_t hashMix(std::uint64_t left, std::uint64_t right) noexcept {
  __extension__ using Product = unsigned __int128;
  const Product product = static_cast<Product>(left) * right;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64U);
}

// Accumulates the parts of a key.
class HashState {
 public:
  explicit constexpr HashState(std::uint32_t seed) noexcept : state_(seed ^ offset) {}

  constexpr HashState& mix(std::uint64_t word) noexcept {
    state_ = hashMix(state_ ^ word, factor);
    return *this;
  }
  HashState& mix(std::string_view text) noexcept {
    while (text.size() >= sizeof(std::uint64_t)) {
      mix(wordAt<std::uint64_t>(text.data()));
      text.remove_prefix(sizeof(std::uint64_t));
    }
    // The number of bytes keeps a text apart from the same text followed by zero bytes.
    return mix(wordOf(text)).mix(text.size());
  }
  constexpr std::uint32_t result() const noexcept {
    const std::uint64_t mixed = hashMix(state_, factor);
    return static_cast<std::uint32_t>(mixed ^ (mixed >> 32U));
  }

 private:
  // Digits of the golden ratio and of pi: no structure that keys could share.
  static constexpr std::uint64_t factor = 0x9e3779b97f4a7c15U;
  static constexpr std::uint64_t offset = 0x243f6a8885a308d3U;

  template <class Word>
  static std::uint64_t wordAt(const char* text) noexcept {
    Word word = 0;
    std::memcpy(&word, text, sizeof(word));
    return word;
  }
  // Fewer than eight bytes, each of them in the word; with their number they are told from others.
  static std::uint64_t wordOf(std::string_view text) noexcept {
    using Half = std::uint32_t;
    const char* const end = text.data() + text.size();
    if (text.size() >= sizeof(Half)) {
      return wordAt<Half>(text.data()) | wordAt<Half>(end - sizeof(Half)) << 32U;
    }
    if (text.empty()) {
      return 0;
    }
    return wordAt<std::uint8_t>(text.data()) |
           wordAt<std::uint8_t>(text.data() + text.size() / 2) << 8U |
           wordAt<std::uint8_t>(end - 1) << 16U;
  }

  std::uint64_t state_;
};

template <std::unsigned_integral T>
constexpr std::uint32_t hashOf(T key) noexcept {
  return HashState(0).mix(key).result();
}

inline std::uint32_t hashOf(std::string_view key) noexcept {
  return HashState(0).mix(key).result();
}

template <class T>
requires requires(const T& key) {
  { key.hash(std::uint32_t{}) } -> std::same_as<std::uint32_t>;
}
std::uint32_t hashOf(const T& key) noexcept { return key.hash(0); }

}  // namespace Routing
