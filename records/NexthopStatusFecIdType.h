#pragma once

// Which identifier the status entries of a client carry in a VRF. Chosen by the client in its
// configuration and copied into its status when that is created.

#include <array>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string_view>

#include "platform/net/IpGenAddr.h"
#include "platform/trace/TraceArgument.h"

namespace Routing {

enum class NexthopStatusFecIdType : std::uint8_t {
  fibFecId = 0,    // the forwarding table's own identifier of the route's FEC
  resolverId = 1,  // the ResolverId allocated for that FEC
};

std::string_view memberName(NexthopStatusFecIdType type) noexcept;
inline String readableText(NexthopStatusFecIdType type) { return String(memberName(type)); }
// Writes the member's name.
std::ostream& operator<<(std::ostream& stream, NexthopStatusFecIdType type);

template <>
struct TraceArgument<NexthopStatusFecIdType> {
  static constexpr std::array members{TraceEnumerator{"fibFecId", 0},
                                      TraceEnumerator{"resolverId", 1}};
  static constexpr TraceEnumeration enumeration{"NexthopStatusFecIdType", members};
};

}  // namespace Routing
