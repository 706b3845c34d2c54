// Addresses and prefixes, judged by the system's own reader of addresses: inet_pton takes exactly
// what IpGenAddr::parse takes, and both make the same bytes of it.

#include <arpa/inet.h>

#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/FuzzInput.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Fuzz {

namespace {

std::optional<IpGenAddr> systemsAddress(std::string_view text) {
  // It reads up to a NUL byte.
  const std::string terminated(text);
  if (terminated.find('\0') != std::string::npos) {
    return std::nullopt;
  }
  IpGenAddr::Bytes bytes{};
  if (inet_pton(AF_INET6, terminated.c_str(), bytes.data()) == 1) {
    return IpGenAddr::ipv6(bytes);
  }
  std::array<std::uint8_t, 4> quad{};
  if (inet_pton(AF_INET, terminated.c_str(), quad.data()) == 1) {
    return IpGenAddr::ipv4(std::uint32_t{quad[0]} << 24U | std::uint32_t{quad[1]} << 16U |
                           std::uint32_t{quad[2]} << 8U | quad[3]);
  }
  return std::nullopt;
}

// The address before the slash; behind it the length, decimal and without leading zeros.
std::optional<IpGenPrefix> systemsPrefix(std::string_view text) {
  const std::size_t slash = text.find('/');
  if (slash == std::string_view::npos) {
    return std::nullopt;
  }
  const std::optional<IpGenAddr> address = systemsAddress(text.substr(0, slash));
  const std::string_view digits = text.substr(slash + 1);
  unsigned length = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  const bool leadingZero = digits.size() > 1 && digits.front() == '0';
  if (!address || leadingZero || error != std::errc{} || end != digits.data() + digits.size() ||
      length > addressBits(address->family())) {
    return std::nullopt;
  }
  return IpGenPrefix(*address, static_cast<std::uint8_t>(length));
}

void compareAddress(std::string_view text) {
  const std::optional<IpGenAddr> address = IpGenAddr::parse(text);
  require(address == systemsAddress(text), "the system reads another address");
  if (address) {
    const String again = address->stringValue();
    require(IpGenAddr::parse(again) == address, "another address is read back");
    require(again.size() <= INET6_ADDRSTRLEN, "longer than any address");
  }
}

void comparePrefix(std::string_view text) {
  const std::optional<IpGenPrefix> prefix = IpGenPrefix::parse(text);
  require(prefix == systemsPrefix(text), "the system reads another prefix");
  if (prefix) {
    require(IpGenPrefix::parse(prefix->stringValue()) == prefix, "another prefix is read back");
    require(prefix->contains(IpGenPrefix::host(prefix->address())), "it does not hold its address");
    require(Prefix(*prefix).validAsPrefix() != Ip6Prefix(*prefix).validAsPrefix(),
            "it belongs into both tables or into none");
  }
}

}  // namespace

}  // namespace Routing::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Routing::Fuzz::compareAddress(text);
  Routing::Fuzz::comparePrefix(text);
  return 0;
}
