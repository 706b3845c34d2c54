#pragma once

// What the daemon tells its operator: one line an event on standard error, where a service manager
// picks it up. What happens to single nexthops is traced, not logged.

#include <cstdint>
#include <string_view>

namespace Routing::Host {

// As in syslog: the number is the severity.
enum class LogLevel : std::uint8_t { error = 3, warning = 4, notice = 5, info = 6, debug = 7 };

// Levels above this one are dropped; LogLevel::info unless set.
void logLevelIs(LogLevel level) noexcept;
// When set, each line begins with "<severity>", by which a service manager sorts it.
void logPrefixIs(bool withSeverity) noexcept;
// Writes "nexthopd: TEXT" in one write. From any thread.
void log(LogLevel level, std::string_view text) noexcept;

}  // namespace Routing::Host
