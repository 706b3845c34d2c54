#include "host/loop/Log.h"

#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <atomic>

namespace Routing::Host {

namespace {

std::atomic<LogLevel> logLevel{LogLevel::info};
std::atomic<bool> withPrefix{false};

iovec piece(std::string_view text) noexcept {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the system only reads
  return {const_cast<char*>(text.data()), text.size()};
}

}  // namespace

void logLevelIs(LogLevel level) noexcept { logLevel = level; }

void logPrefixIs(bool withSeverity) noexcept { withPrefix = withSeverity; }

void log(LogLevel level, std::string_view text) noexcept {
  if (level > logLevel.load()) {
    return;
  }
  const std::array<char, 3> severity{'<', static_cast<char>('0' + static_cast<int>(level)), '>'};
  const std::array<iovec, 4> line{piece(withPrefix ? std::string_view(severity.data(), 3) : ""),
                                  piece("nexthopd: "),
                                  piece(text),
                                  piece("\n")};
  // There is nobody to tell that the log cannot be written.
  static_cast<void>(::writev(STDERR_FILENO, line.data(), static_cast<int>(line.size())));
}

}  // namespace Routing::Host
