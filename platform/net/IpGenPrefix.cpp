#include "platform/net/IpGenPrefix.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>

#include "platform/entity/Exceptions.h"
#include "platform/entity/Hash.h"

namespace Routing {

namespace {

std::uint32_t prefixHash(std::uint32_t seed,
                         const IpGenAddr::Words& words,
                         std::uint8_t length,
                         AddressFamily family) noexcept {
  const std::uint64_t high = std::uint64_t{words[0]} << 32U | words[1];
  const std::uint64_t low = std::uint64_t{words[2]} << 32U | words[3];
  const std::uint64_t kind = std::uint64_t{length} << 8U | static_cast<std::uint64_t>(family);
  return HashState(seed).mix(high).mix(low ^ kind << 48U).result();
}

}  // namespace

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

std::uint32_t IpGenPrefix::hash(std::uint32_t seed) const noexcept {
  return prefixHash(seed, words(), length(), family());
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

std::uint32_t Prefix::hash(std::uint32_t seed) const noexcept {
  const std::uint64_t kind = std::uint64_t{length_} << 8U | static_cast<std::uint64_t>(family_);
  return HashState(seed).mix(std::uint64_t{address_} << 32U | kind).result();
}

IpGenPrefix Ip6Prefix::genPrefix() const {
  if (family_ != AddressFamily::ipv6) {
    return {};
  }
  return {IpGenAddr::ipv6(words_), length_};
}

std::uint32_t Ip6Prefix::hash(std::uint32_t seed) const noexcept {
  return prefixHash(seed, words_, length_, family_);
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
