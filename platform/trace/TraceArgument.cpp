#include "platform/trace/TraceArgument.h"

#include "platform/trace/TraceBytes.h"

namespace Routing {

void TraceEncoder::number(std::uint64_t value) { appendNumber(bytes_, value); }

void TraceEncoder::boolean(bool value) { appendNumber(bytes_, std::uint8_t{value}); }

void TraceEncoder::text(std::string_view value) { appendText(bytes_, value); }

void TraceEncoder::words(const IpGenAddr::Words& words) {
  for (const std::uint32_t word : words) {
    appendNumber(bytes_, word);
  }
}

void TraceEncoder::address(const IpGenAddr& value) {
  appendNumber(bytes_, static_cast<std::uint8_t>(value.family()));
  words(value.words());
}

void TraceEncoder::prefix(const IpGenPrefix& value) {
  appendNumber(bytes_, static_cast<std::uint8_t>(value.family()));
  appendNumber(bytes_, value.length());
  words(value.words());
}

}  // namespace Routing
