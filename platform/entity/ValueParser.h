#pragma once

// The generic value parser: strepToValue<T>(text) makes a T of its string representation.
//
// The representation of a plain value is its text as it stands. That of a value with attributes is
// "name=value" for each, in order, one blank between two, the same that stringValue() prints:
//
//   clientName=bgp nexthop=10.0.0.1
//
// A value with attributes has a constructor from StrepReader, which reads its attributes one by one
// with attribute<T>(name); that is all that a type needs to be readable. A text attribute ends at
// the next blank; in double quotes it may hold blanks, and there a backslash makes the next byte
// literal.
//
// Everything must be consumed. Errors name the type, the attribute and the position in bytes.

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/entity/Exceptions.h"

namespace Routing {

// Reads a whole text as one plain value; nothing when it is none.
template <class T>
struct ValueParser;

template <>
struct ValueParser<std::string> {
  static std::optional<std::string> parse(std::string_view text) { return std::string(text); }
};

template <>
struct ValueParser<bool> {
  static std::optional<bool> parse(std::string_view text);
};

// Decimal, or hexadecimal after 0x.
template <class T>
requires(std::unsigned_integral<T> && !std::same_as<T, bool>) struct ValueParser<T> {
  static std::optional<T> parse(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const std::string_view digits = hexadecimal ? text.substr(2) : text;
    T value{};
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), value, hexadecimal ? 16 : 10);
    if (digits.empty() || error != std::errc{} || end != digits.data() + digits.size()) {
      return std::nullopt;
    }
    return value;
  }
};

// A type with a static parse of its own, like the addresses.
template <class T>
requires requires(std::string_view text) {
  { T::parse(text) } -> std::same_as<std::optional<T>>;
}
struct ValueParser<T> {
  static std::optional<T> parse(std::string_view text) { return T::parse(text); }
};

class StrepReader {
 public:
  // The text must outlive the reader.
  StrepReader(std::string_view type, std::string_view text) : type_(type), text_(text) {}

  // Reads "name=" and the value after it. Throws: DeserialisationError naming the attribute.
  template <class T>
  T attribute(std::string_view name) {
    const std::size_t begin = position_;
    const std::string text = attributeText(name);
    std::optional<T> value = ValueParser<T>::parse(text);
    if (!value) {
      throw DeserialisationError(type_, name, begin + name.size() + 1);
    }
    return *std::move(value);
  }

  // Reads the blank between two attributes. Throws: DeserialisationError naming the attribute that
  // should follow.
  void separator(std::string_view next);

  // Throws: DeserialisationError without an attribute when text is left over.
  void end() const;

 private:
  std::string attributeText(std::string_view name);
  std::string quotedText(std::string_view name);

  std::string_view type_;
  std::string_view text_;
  std::size_t position_ = 0;
};

template <class T>
T strepToValue(std::string_view text) {
  if constexpr (std::constructible_from<T, StrepReader&>) {
    StrepReader reader(T::typeName, text);
    T value(reader);
    reader.end();
    return value;
  } else {
    std::optional<T> value = ValueParser<T>::parse(text);
    if (!value) {
      throw DeserialisationError("value", text, 0);
    }
    return *std::move(value);
  }
}

}  // namespace Routing
