#pragma once

// What stands in the state store: the layout, shared by the daemon that writes it and by whoever
// reads it. docs/state-store.md says the same for authors of readers.
//
// An LMDB environment with six databases, keys in order of their bytes:
//
//   meta            NAME                     whatever the component that keeps it makes of it
//   registrations   as the client service    who owns a client's name, and its policies
//   config          CLIENT                   (nothing)
//                   CLIENT 0 VRF             kind: 1 byte
//                   CLIENT 0 VRF 0 ADDRESS   (nothing): a nexthop that the client wants
//   status          the same                 at an address an entry: see statusValue
//   forwarding      VRF                      (nothing)
//                   VRF 0 RESOLVERID         vias: see forwardingValue
//   context         VRF                      first identifier not yet allocated: 8 bytes
//
// ADDRESS is the family (1 byte: 1 IPv4, 2 IPv6), then 4 or 16 bytes in network order. RESOLVERID
// is 8 bytes, most significant first, so that keys sort as numbers. Other numbers are least
// significant first. Names hold no zero byte and at most 200 bytes.
//
// Every value ends with 4 bytes more, a CRC-32 of the key and the value: a value that was damaged,
// or that stands under another key, is not believed. meta/"layout" names the layout; a store with
// another one is foreign.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/net/IpGenAddr.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatus.h"

namespace Routing::Host::StoreFormat {

inline constexpr std::string_view layout = "nexthopd state 1";
inline constexpr std::string_view layoutKey = "layout";
inline constexpr std::size_t maxName = 200;

inline constexpr const char* meta = "meta";
inline constexpr const char* registrations = "registrations";
inline constexpr const char* config = "config";
inline constexpr const char* status = "status";
inline constexpr const char* forwarding = "forwarding";
inline constexpr const char* context = "context";

// The value with its check. Appends to `buffer`, which it empties first.
void seal(std::string_view key, std::string_view value, std::string& buffer);
// The value without its check; nothing when the check fails.
std::optional<std::string_view> unseal(std::string_view key, std::string_view sealed) noexcept;

// "A", "A 0 B" for two names. Throws: StoreError when a name cannot be part of a key.
std::string nameKey(std::string_view name);
std::string nameKey(std::string_view first, std::string_view second);

void appendAddress(const IpGenAddr& addr, std::string& key);
void appendResolverId(ResolverId resolverId, std::string& key);

// A key of the config or status database, taken apart. A key without VRF or address leaves them
// out.
struct ClientKey {
  std::string_view client;
  std::optional<std::string_view> vrf;
  std::optional<IpGenAddr> addr;
};
// Nothing when it is no key of the layout. So with all that follow.
std::optional<ClientKey> clientKey(std::string_view key);

struct ForwardingKey {
  std::string_view vrf;
  std::optional<ResolverId> resolverId;
};
std::optional<ForwardingKey> forwardingKey(std::string_view key);

std::string kindValue(NexthopStatusFecIdType kind);
std::optional<NexthopStatusFecIdType> kindOf(std::string_view value) noexcept;

// fecId 8, metric 4, preference 1, routeType 1, route6Type 1, state 1, then the prefix: family 1,
// length 1, address 4 or 16; family 0 without more when there is none. The address is in the key.
void statusValue(const NexthopStatusEntry& entry, std::string& value);
std::optional<NexthopStatusEntry> statusOf(const IpGenAddr& addr, std::string_view value);

// For each via: interface 4, label and action 4, weight 4, beyond the boundary 1, then the hop:
// family 1, address 4 or 16, or nothing for a hop that is unset.
void forwardingValue(const NexthopResolverIdVia& record, std::string& value);
std::optional<NexthopResolverIdVia> forwardingOf(ResolverId resolverId, std::string_view value);

std::string numberValue(std::uint64_t number);
std::optional<std::uint64_t> numberOf(std::string_view value) noexcept;

}  // namespace Routing::Host::StoreFormat
