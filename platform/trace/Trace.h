#pragma once

// The trace statement.
//
//   TraceFacility traceFacility{"NexthopResolverSm"};
//   ...
//   ROUTING_TRACE(traceFacility, 8, "[{}:{}] handleNexthopReview yield after processing {}",
//                 vrfName(), clientName(), count);
//
// facility   a TraceFacility
// level      a constant from 0 to 9
// format     a string literal; each "{}" is replaced by the next argument. All other text, blanks,
//            colons, parentheses and single braces included, stands for itself.
// arguments  as many as there are "{}"; TraceArgument.h tells what may stand here
//
// One statement feeds the text sinks and the ring, from the same encoded arguments. While its level
// is off in both, it costs one load and one branch and its arguments are not evaluated. A level
// that does not exist, a wrong number of arguments and an argument that cannot be traced do not
// compile.
//
// Reenters: the text sinks' handlers and the clock; a stringValue() of an argument.

#include <array>
#include <cstddef>
#include <string_view>
#include <type_traits>

#include "platform/trace/TraceArgument.h"
#include "platform/trace/TraceFacility.h"
#include "platform/trace/TraceSite.h"
#include "platform/trace/TraceText.h"
#include "platform/trace/Tracing.h"

namespace Routing {

// The kinds of a statement's arguments, from their types after decay.
template <Traceable... Args>
struct TraceShape {
  static_assert(sizeof...(Args) <= maxTraceArguments);
  static constexpr std::size_t count = sizeof...(Args);
  static constexpr std::array<TraceArgumentSpec, sizeof...(Args)> arguments{
      traceArgumentSpec<Args>()...};
};

// An argument's type as a trait knows it: a string literal is a const char*.
template <typename T>
using TraceType = std::decay_t<const T>;

// Never defined: names the shape of what follows the format.
template <typename... Args>
TraceShape<TraceType<Args>...> traceShape(std::string_view format, const Args&... arguments);

// Numbers go by value: a reference would keep them in memory even while the statement is off.
template <typename T>
using TraceParameter = std::conditional_t<std::is_scalar_v<T>, T, const T&>;

// Out of line, so that a statement that is off takes no more room than its test and a call.
template <typename... Args>
[[gnu::noinline]] void sendTrace(const TraceFacility& facility,
                                 TraceSite& site,
                                 TraceParameter<Args>... arguments) {
  TraceEncoder encoder;
  (encodeTraceArgument<Args>(encoder, arguments), ...);
  Tracing::send(facility, site, encoder.bytes());
}

// The format is in the site already.
template <typename... Args>
[[gnu::always_inline]] inline void trace(const TraceFacility& facility,
                                         TraceSite& site,
                                         std::string_view /*format*/,
                                         const Args&... arguments) {
  sendTrace<TraceType<Args>...>(facility, site, arguments...);
}

}  // namespace Routing

#define ROUTING_TRACE_FORMAT_OF(format, ...) format

#define ROUTING_TRACE(facility, traceLevel, ...)                                         \
  do {                                                                                   \
    static_assert((traceLevel) >= 0 && (traceLevel) <= ::Routing::maxTraceLevel,         \
                  "trace levels are 0 to 9");                                            \
    static_assert(::Routing::countTracePlaces(ROUTING_TRACE_FORMAT_OF(__VA_ARGS__, )) == \
                      decltype(::Routing::traceShape(__VA_ARGS__))::count,               \
                  "a trace statement has one argument for each {} of its format");       \
    if ((facility).levelOn(traceLevel)) [[unlikely]] {                                   \
      static constinit ::Routing::TraceSite routingTraceSite{                            \
          .level = (traceLevel),                                                         \
          .format = ROUTING_TRACE_FORMAT_OF(__VA_ARGS__, ),                              \
          .arguments = decltype(::Routing::traceShape(__VA_ARGS__))::arguments};         \
      ::Routing::trace((facility), routingTraceSite, __VA_ARGS__);                       \
    }                                                                                    \
  } while (false)
