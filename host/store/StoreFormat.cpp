#include "host/store/StoreFormat.h"

#include <zlib.h>

#include <algorithm>
#include <array>

#include "host/store/Lmdb.h"

namespace Routing::Host::StoreFormat {

namespace {

constexpr std::size_t checkSize = 4;

template <class Number>
void append(Number number, std::string& bytes) {
  std::array<char, sizeof number> least{};
  for (unsigned byte = 0; byte < sizeof number; ++byte) {
    least[byte] = static_cast<char>(static_cast<std::uint64_t>(number) >> (8U * byte));
  }
  bytes.append(least.data(), least.size());
}

void append(const IpGenAddr::Bytes& address, AddressFamily family, std::string& bytes) {
  bytes.append(reinterpret_cast<const char*>(address.data()), addressBits(family) / 8U);
}

// Takes values off the front. Asking for more than there is makes it bad for good.
class Reader {
 public:
  explicit Reader(std::string_view bytes) noexcept : bytes_(bytes) {}

  template <class Number>
  Number number() noexcept {
    const std::string_view bytes = take(sizeof(Number));
    std::uint64_t value = 0;
    for (std::size_t byte = 0; byte < bytes.size(); ++byte) {
      value |= std::uint64_t{static_cast<std::uint8_t>(bytes[byte])} << (8U * byte);
    }
    return static_cast<Number>(value);
  }

  // Family, then as many bytes as it has. Unset when the family is.
  IpGenAddr address() noexcept { return address(number<std::uint8_t>()); }
  IpGenAddr address(std::uint8_t family) noexcept {
    switch (family) {
      case static_cast<std::uint8_t>(AddressFamily::unset):
        return {};
      case static_cast<std::uint8_t>(AddressFamily::ipv4): {
        std::uint32_t value = 0;
        for (const char byte : take(4)) {
          value = value << 8U | static_cast<std::uint8_t>(byte);
        }
        return IpGenAddr::ipv4(value);
      }
      case static_cast<std::uint8_t>(AddressFamily::ipv6): {
        IpGenAddr::Bytes bytes{};
        const std::string_view taken = take(bytes.size());
        std::copy(taken.begin(), taken.end(), bytes.begin());
        return IpGenAddr::ipv6(bytes);
      }
      default:
        good_ = false;
        return {};
    }
  }

  bool good() const noexcept { return good_; }
  bool atEnd() const noexcept { return good_ && bytes_.empty(); }

 private:
  std::string_view take(std::size_t count) noexcept {
    if (!good_ || bytes_.size() < count) {
      good_ = false;
      return {};
    }
    const std::string_view taken = bytes_.substr(0, count);
    bytes_.remove_prefix(count);
    return taken;
  }

  std::string_view bytes_;
  bool good_ = true;
};

std::uint32_t checkOf(std::string_view key, std::string_view value) noexcept {
  uLong check = 0;
  for (const std::string_view bytes : {key, value}) {
    // zlib begins anew when it gets no pointer.
    if (!bytes.empty()) {
      // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): zlib takes unsigned bytes
      const auto* first = reinterpret_cast<const Bytef*>(bytes.data());
      check = ::crc32(check, first, static_cast<uInt>(bytes.size()));
    }
  }
  return static_cast<std::uint32_t>(check);
}

void checkName(std::string_view name) {
  if (name.empty() || name.size() > maxName || name.find('\0') != std::string_view::npos) {
    throw StoreError("a name that cannot be stored: '" + std::string(name) + "'");
  }
}

bool validName(std::string_view name) noexcept { return !name.empty() && name.size() <= maxName; }

}  // namespace

void seal(std::string_view key, std::string_view value, std::string& buffer) {
  buffer.assign(value);
  append(checkOf(key, value), buffer);
}

std::optional<std::string_view> unseal(std::string_view key, std::string_view sealed) noexcept {
  if (sealed.size() < checkSize) {
    return std::nullopt;
  }
  const std::string_view value = sealed.substr(0, sealed.size() - checkSize);
  if (Reader(sealed.substr(value.size())).number<std::uint32_t>() != checkOf(key, value)) {
    return std::nullopt;
  }
  return value;
}

std::string nameKey(std::string_view name) {
  checkName(name);
  return std::string(name);
}

std::string nameKey(std::string_view first, std::string_view second) {
  checkName(second);
  std::string key = nameKey(first);
  key.push_back('\0');
  key.append(second);
  return key;
}

void appendAddress(const IpGenAddr& addr, std::string& key) {
  key.push_back(static_cast<char>(addr.family()));
  append(addr.bytes(), addr.family(), key);
}

void appendResolverId(ResolverId resolverId, std::string& key) {
  for (unsigned byte = 8; byte-- > 0;) {
    key.push_back(static_cast<char>(resolverId.value() >> (8U * byte)));
  }
}

std::optional<ClientKey> clientKey(std::string_view key) {
  ClientKey result;
  result.client = key.substr(0, key.find('\0'));
  if (!validName(result.client)) {
    return std::nullopt;
  }
  if (result.client.size() == key.size()) {
    return result;
  }
  key.remove_prefix(result.client.size() + 1);
  result.vrf = key.substr(0, key.find('\0'));
  if (!validName(*result.vrf)) {
    return std::nullopt;
  }
  if (result.vrf->size() == key.size()) {
    return result;
  }
  Reader reader(key.substr(result.vrf->size() + 1));
  result.addr = reader.address();
  if (!reader.atEnd() || !*result.addr) {
    return std::nullopt;
  }
  return result;
}

std::optional<ForwardingKey> forwardingKey(std::string_view key) {
  ForwardingKey result;
  result.vrf = key.substr(0, key.find('\0'));
  if (!validName(result.vrf)) {
    return std::nullopt;
  }
  if (result.vrf.size() == key.size()) {
    return result;
  }
  key.remove_prefix(result.vrf.size() + 1);
  if (key.size() != sizeof(std::uint64_t)) {
    return std::nullopt;
  }
  std::uint64_t value = 0;
  for (const char byte : key) {
    value = value << 8U | static_cast<std::uint8_t>(byte);
  }
  result.resolverId = ResolverId(value);
  return result;
}

std::string kindValue(NexthopStatusFecIdType kind) {
  return std::string(1, static_cast<char>(kind));
}

std::optional<NexthopStatusFecIdType> kindOf(std::string_view value) noexcept {
  for (const auto kind : {NexthopStatusFecIdType::fibFecId, NexthopStatusFecIdType::resolverId}) {
    if (value.size() == 1 && value.front() == static_cast<char>(kind)) {
      return kind;
    }
  }
  return std::nullopt;
}

void statusValue(const NexthopStatusEntry& entry, std::string& value) {
  value.clear();
  append(entry.fecId, value);
  append(entry.metric, value);
  append(entry.preference, value);
  append(entry.routeType, value);
  append(entry.route6Type, value);
  append(static_cast<std::uint8_t>(entry.resolutionState), value);
  append(static_cast<std::uint8_t>(entry.prefix.family()), value);
  if (entry.prefix.family() != AddressFamily::unset) {
    append(entry.prefix.length(), value);
    append(entry.prefix.address().bytes(), entry.prefix.family(), value);
  }
}

std::optional<NexthopStatusEntry> statusOf(const IpGenAddr& addr, std::string_view value) {
  Reader reader(value);
  NexthopStatusEntry entry;
  entry.addr = addr;
  entry.fecId = reader.number<std::uint64_t>();
  entry.metric = reader.number<std::uint32_t>();
  entry.preference = reader.number<std::uint8_t>();
  entry.routeType = reader.number<std::uint8_t>();
  entry.route6Type = reader.number<std::uint8_t>();
  const auto state = reader.number<std::uint8_t>();
  const auto family = reader.number<std::uint8_t>();
  if (family != static_cast<std::uint8_t>(AddressFamily::unset)) {
    const auto length = reader.number<std::uint8_t>();
    const IpGenAddr address = reader.address(family);
    if (!reader.good() || length > addressBits(address.family())) {
      return std::nullopt;
    }
    entry.prefix = IpGenPrefix(address, length);
  }
  if (!reader.atEnd() || state > static_cast<std::uint8_t>(NexthopResolutionState::resolved)) {
    return std::nullopt;
  }
  entry.resolutionState = static_cast<NexthopResolutionState>(state);
  return entry;
}

void forwardingValue(const NexthopResolverIdVia& record, std::string& value) {
  value.clear();
  for (const NexthopResolverVia& via : record.nexthopResolverVia()) {
    append(via.intfId().value, value);
    append(via.mplsLabelAndAction().value(), value);
    append(via.weight(), value);
    append(static_cast<std::uint8_t>(via.beyondBoundary()), value);
    appendAddress(via.hop(), value);
  }
}

std::optional<NexthopResolverIdVia> forwardingOf(ResolverId resolverId, std::string_view value) {
  Reader reader(value);
  NexthopResolverIdVia record(resolverId);
  while (!reader.atEnd()) {
    const IntfId intfId{reader.number<std::uint32_t>()};
    const auto labelAndAction = reader.number<std::uint32_t>();
    const auto weight = reader.number<std::uint32_t>();
    const bool beyondBoundary = reader.number<std::uint8_t>() != 0;
    const IpGenAddr hop = reader.address();
    const std::uint32_t label = labelAndAction & 0xffffffU;
    if (!reader.good() || label > MplsLabelAndAction::noLabel) {
      return std::nullopt;
    }
    MplsLabelAndAction mpls;
    mpls.labelIs(label);
    mpls.actionIs(static_cast<std::uint8_t>(labelAndAction >> 24U));
    NexthopResolverVia via(intfId, hop);
    via.mplsLabelAndActionIs(mpls);
    via.weightIs(weight);
    via.beyondBoundaryIs(beyondBoundary);
    record.nexthopResolverViaIs(via);
  }
  return record;
}

std::string numberValue(std::uint64_t number) {
  std::string value;
  append(number, value);
  return value;
}

std::optional<std::uint64_t> numberOf(std::string_view value) noexcept {
  Reader reader(value);
  const auto number = reader.number<std::uint64_t>();
  return reader.atEnd() ? std::optional(number) : std::nullopt;
}

}  // namespace Routing::Host::StoreFormat
