#pragma once

// The CRC-32 of zip files and Ethernet, eight bytes at a time. Records of the store are some fifty
// bytes, too short for what zlib gains from long ones.

#include <array>
#include <cstdint>
#include <string_view>

namespace Routing::Host {

namespace Crc32 {

inline constexpr unsigned atOnce = 8;
using Tables = std::array<std::array<std::uint32_t, 256>, atOnce>;

// tables[n][byte]: what the byte does to the check when n more bytes follow it.
constexpr Tables tablesMake() noexcept {
  constexpr std::uint32_t polynomial = 0xedb88320U;
  Tables tables{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t check = byte;
    for (unsigned bit = 0; bit < 8; ++bit) {
      check = check >> 1U ^ ((check & 1U) != 0 ? polynomial : 0U);
    }
    tables[0][byte] = check;
  }
  for (unsigned more = 1; more < atOnce; ++more) {
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
      const std::uint32_t before = tables[more - 1][byte];
      tables[more][byte] = before >> 8U ^ tables[0][before & 0xffU];
    }
  }
  return tables;
}
inline constexpr Tables tables = tablesMake();

}  // namespace Crc32

// Of the bytes that `check` is the check of, 0 for none, with these behind them.
inline std::uint32_t crc32(std::uint32_t check, std::string_view bytes) noexcept {
  using Crc32::atOnce;
  using Crc32::tables;
  const auto byteAt = [&bytes](std::size_t index) {
    return std::uint32_t{static_cast<std::uint8_t>(bytes[index])};
  };
  check = ~check;
  for (; bytes.size() >= atOnce; bytes.remove_prefix(atOnce)) {
    std::uint32_t next = 0;
    for (unsigned index = 0; index < atOnce; ++index) {
      const std::uint32_t earlier = index < 4 ? check >> (8U * index) & 0xffU : 0U;
      next ^= tables[atOnce - 1 - index][byteAt(index) ^ earlier];
    }
    check = next;
  }
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    check = check >> 8U ^ tables[0][(byteAt(index) ^ check) & 0xffU];
  }
  return ~check;
}

}  // namespace Routing::Host
