#pragma once

// Addresses and prefixes of tests, written as text. A text that does not read ends the test.

#include <string_view>

#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Support {

inline IpGenAddr addr(std::string_view text) { return IpGenAddr::parse(text).value(); }
inline IpGenPrefix prefix(std::string_view text) { return IpGenPrefix::parse(text).value(); }

}  // namespace Routing::Support
