#pragma once

// Numbers and strings in bytes, as encoded arguments and the ring's file hold them.
//
// Numbers stand least significant byte first, whatever the machine's own order; a string is its
// length in 4 bytes and its bytes. Reading is checked: bytes may come from a damaged or made-up
// file.

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace Routing {

// The same number in little-endian order if it is in the machine's, and the other way round.
template <std::unsigned_integral T>
constexpr T littleEndian(T value) noexcept {
  if constexpr (std::endian::native == std::endian::little) {
    return value;
  } else {
    T swapped = 0;
    for (std::size_t byte = 0; byte < sizeof(T); ++byte) {
      swapped = static_cast<T>((swapped << 8U) | ((value >> (8U * byte)) & 0xffU));
    }
    return swapped;
  }
}

// Requires: sizeof(T) readable bytes.
template <std::unsigned_integral T>
T loadLittleEndian(const char* from) noexcept {
  T value = 0;
  std::memcpy(&value, from, sizeof value);
  return littleEndian(value);
}

// Requires: sizeof(T) writable bytes.
template <std::unsigned_integral T>
void storeLittleEndian(char* to, T value) noexcept {
  const T ordered = littleEndian(value);
  std::memcpy(to, &ordered, sizeof ordered);
}

// To the end of a string or of a vector of char.
void appendBytes(auto& to, std::string_view bytes) {
  if constexpr (requires { to.append(bytes); }) {
    to.append(bytes);
  } else {
    to.insert(to.end(), bytes.begin(), bytes.end());
  }
}

template <std::unsigned_integral T>
void appendNumber(auto& to, T value) {
  std::array<char, sizeof(T)> bytes{};
  storeLittleEndian(bytes.data(), value);
  appendBytes(to, {bytes.data(), bytes.size()});
}

// Requires: a text of less than 4 GiB.
void appendText(auto& to, std::string_view text) {
  appendNumber(to, static_cast<std::uint32_t>(text.size()));
  appendBytes(to, text);
}

// Takes values off the front of bytes that it refers to. A value that is not all there reads as
// nothing and takes nothing.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) noexcept : bytes_(bytes) {}

  template <std::unsigned_integral T>
  std::optional<T> number() noexcept {
    if (bytes_.size() < sizeof(T)) {
      return std::nullopt;
    }
    const T value = loadLittleEndian<T>(bytes_.data());
    bytes_.remove_prefix(sizeof(T));
    return value;
  }

  std::optional<std::string_view> text() noexcept {
    ByteReader ahead = *this;
    const auto length = ahead.number<std::uint32_t>();
    if (!length || ahead.bytes_.size() < *length) {
      return std::nullopt;
    }
    const std::string_view value = ahead.bytes_.substr(0, *length);
    bytes_ = ahead.bytes_.substr(*length);
    return value;
  }

  // What was not taken.
  std::string_view rest() const noexcept { return bytes_; }

 private:
  std::string_view bytes_;
};

}  // namespace Routing
