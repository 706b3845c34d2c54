#pragma once

// Assertions for programming errors: always compiled in, never a way to report bad input.
//
// A failed assertion prints one line on standard error,
//
//   FILE:LINE: FUNCTION: Assertion "TEXT" failed.
//
// and aborts the process. The file is named by its place in the repository. The text is the
// asserted expression itself, so a reason is written into it:
//
//   ROUTING_ASSERT(record && "record must be tracked");

namespace Routing {

[[noreturn]] void assertionFailed(const char* file,
                                  unsigned line,
                                  const char* function,
                                  const char* text) noexcept;

}  // namespace Routing

#define ROUTING_ASSERT(expression)                                                                \
  (static_cast<bool>(expression) ? static_cast<void>(0)                                           \
                                 : ::Routing::assertionFailed(__FILE__,                           \
                                                              __LINE__,                           \
                                                              static_cast<const char*>(__func__), \
                                                              #expression))
