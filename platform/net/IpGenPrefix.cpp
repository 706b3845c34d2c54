#include "platform/net/IpGenPrefix.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>

#include "platform/entity/Exceptions.h"

namespace Routing {

IpGenAddr::Words maskedWords(const IpGenAddr::Words& words, std::uint8_t length) noexcept {
  IpGenAddr::Words masked{};
  for (unsigned i = 0; i < masked.size(); ++i) {
    const unsigned before = i * 32;
    const unsigned kept = length <= before ? 0 : std::min(length - before, 32U);
    masked[i] = kept == 0 ? 0 : words[i] & ~std::uint32_t{0} << (32U - kept);
  }
  return masked;
}

IpGenPrefix::IpGenPrefix(const IpGenAddr& address, std::uint8_t length)
    : IpGenPrefix(address.family(), length, maskedWords(address.words(), length)) {
  if (length > addressBits(address.family())) {
    throw RangeError("prefix length " + std::to_string(length) + " of " + address.stringValue());
  }
}

std::optional<IpGenPrefix> IpGenPrefix::parse(std::string_view text) {
  const std::size_t slash = text.find('/');
  if (slash == std::string_view::npos) {
    return std::nullopt;
  }
  const auto address = IpGenAddr::parse(text.substr(0, slash));
  const std::string_view digits = text.substr(slash + 1);
  std::uint8_t length = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  const bool leadingZero = digits.size() > 1 && digits.front() == '0';
  if (!address || digits.empty() || leadingZero || error != std::errc{} ||
      end != digits.data() + digits.size() || length > addressBits(address->family())) {
    return std::nullopt;
  }
  return IpGenPrefix(*address, length);
}

bool IpGenPrefix::contains(const IpGenPrefix& other) const noexcept {
  return family() != AddressFamily::unset && family() == other.family() &&
         length() <= other.length() && maskedWords(other.words(), length()) == words();
}

String IpGenPrefix::stringValue() const {
  if (!*this) {
    return "-";
  }
  return address().stringValue() + "/" + std::to_string(length());
}

IpGenPrefix Prefix::genPrefix() const {
  if (family_ != AddressFamily::ipv4) {
    return {};
  }
  return {IpGenAddr::ipv4(address_), length_};
}

IpGenPrefix Ip6Prefix::genPrefix() const {
  if (family_ != AddressFamily::ipv6) {
    return {};
  }
  return {IpGenAddr::ipv6(words_), length_};
}

}  // namespace Routing

std::size_t std::hash<Routing::IpGenPrefix>::operator()(
    const Routing::IpGenPrefix& prefix) const noexcept {
  return prefix.hash(0);
}

std::size_t std::hash<Routing::Prefix>::operator()(const Routing::Prefix& prefix) const noexcept {
  return prefix.hash(0);
}

std::size_t std::hash<Routing::Ip6Prefix>::operator()(
    const Routing::Ip6Prefix& prefix) const noexcept {
  return prefix.hash(0);
}
