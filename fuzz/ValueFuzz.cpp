// The value parser: any text, read as any type. A text that reads is written out and read again,
// which must give the same value; one that does not read names type, attribute and a position
// inside the text.

#include <array>
#include <concepts>
#include <string>
#include <string_view>

#include "fuzz/FuzzInput.h"
#include "platform/entity/ValueParser.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "records/ResolverId.h"
#include "resolver/NexthopResolverLocal.h"

namespace Routing::Fuzz {

namespace {

using Key = NexthopResolverClientNexthopKey;

std::string textOf(const std::string& value) { return value; }
std::string textOf(bool value) { return value ? "true" : "false"; }
template <std::unsigned_integral Number>
std::string textOf(Number value) {
  return std::to_string(value);
}
template <class Value>
std::string textOf(const Value& value) {
  return value.stringValue();
}
// As a text attribute is written that may hold anything.
std::string textOf(const Key& key) {
  std::string text = "clientName=\"";
  for (const char byte : key.clientName()) {
    if (byte == '"' || byte == '\\') {
      text += '\\';
    }
    text += byte;
  }
  return text + "\" nexthop=" + key.nexthop().stringValue();
}

template <class Value>
void readAs(std::string_view text) {
  try {
    const auto value = strepToValue<Value>(text);
    require(strepToValue<Value>(textOf(value)) == value, "another value is read back");
  } catch (const DeserialisationError& error) {
    require(error.position() <= text.size(), "the position is behind the text");
  }
}

constexpr std::array readers{readAs<bool>,
                             readAs<std::uint8_t>,
                             readAs<std::uint32_t>,
                             readAs<std::uint64_t>,
                             readAs<std::string>,
                             readAs<IpGenAddr>,
                             readAs<ResolverId>,
                             readAs<Key>};

}  // namespace

}  // namespace Routing::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Routing::Fuzz::Input input(data, size);
  const std::size_t reader = input.below(Routing::Fuzz::readers.size());
  Routing::Fuzz::readers[reader](input.rest());
  return 0;
}
