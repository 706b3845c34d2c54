#pragma once

// Reading the attributes of a netlink message: type, length and value, one after the other, each
// aligned to 4 bytes. Nothing outside the bytes given is read, whatever the lengths claim.

#include <linux/netlink.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

#include "platform/net/IpGenAddr.h"

namespace Routing::Host {

using Bytes = std::span<const std::byte>;

struct Attribute {
  // Without the flags for nesting and byte order.
  std::uint16_t type = 0;
  Bytes value;

  // The value, if it is exactly that large.
  template <class T>
  std::optional<T> as() const noexcept {
    if (value.size() != sizeof(T)) {
      return std::nullopt;
    }
    T result{};
    std::memcpy(&result, value.data(), sizeof result);
    return result;
  }
  // Without the terminating zero.
  std::string_view text() const noexcept {
    const std::string_view whole(reinterpret_cast<const char*>(value.data()), value.size());
    return whole.substr(0, whole.find('\0'));
  }
};

// The structure that the bytes begin with, if there are enough.
template <class T>
std::optional<T> headOf(Bytes bytes) noexcept {
  if (bytes.size() < sizeof(T)) {
    return std::nullopt;
  }
  T result{};
  std::memcpy(&result, bytes.data(), sizeof result);
  return result;
}

// What follows the structure and its padding. Requires: it is there.
template <class T>
Bytes tailOf(Bytes bytes) noexcept {
  constexpr std::size_t size = NLMSG_ALIGN(sizeof(T));
  return bytes.subspan(bytes.size() < size ? bytes.size() : size);
}

// Calls with every attribute, until one call returns false. False then, and when the lengths do not
// add up: what was called before stands.
template <class Call>
bool forEachAttribute(Bytes bytes, Call call) {
  while (bytes.size() >= sizeof(nlattr)) {
    nlattr head{};
    std::memcpy(&head, bytes.data(), sizeof head);
    if (head.nla_len < sizeof head || head.nla_len > bytes.size()) {
      return false;
    }
    const Attribute attribute{static_cast<std::uint16_t>(head.nla_type & NLA_TYPE_MASK),
                              bytes.subspan(sizeof head, head.nla_len - sizeof head)};
    if (!call(attribute)) {
      return false;
    }
    const std::size_t step = NLA_ALIGN(head.nla_len);
    bytes = bytes.subspan(step < bytes.size() ? step : bytes.size());
  }
  return bytes.empty();
}

// The address of the family with these bytes, if there are exactly as many as it has.
inline std::optional<IpGenAddr> addressOf(AddressFamily family, Bytes bytes) noexcept {
  if (bytes.size() * 8 != addressBits(family)) {
    return std::nullopt;
  }
  std::array<std::uint8_t, 16> raw{};
  std::memcpy(raw.data(), bytes.data(), bytes.size());
  if (family == AddressFamily::ipv6) {
    return IpGenAddr::ipv6(raw);
  }
  return IpGenAddr::ipv4(std::uint32_t{raw[0]} << 24U | std::uint32_t{raw[1]} << 16U |
                         std::uint32_t{raw[2]} << 8U | raw[3]);
}

}  // namespace Routing::Host
