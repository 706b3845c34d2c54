#pragma once

// The values that may stand in a trace message, and how they become bytes.
//
// A trace statement's arguments are first encoded; the text is always made from the encoded bytes,
// in the process for the text sinks and from a ring's file later. That is why a message cannot read
// differently in the two.
//
//   argument                              kind            encoded as (little-endian)  reads as
//   unsigned integers                     unsignedNumber  8 bytes                     decimal
//   signed integers                       signedNumber    8 bytes                     decimal
//   bool                                  boolean         1 byte                      true, false
//   String, string_view, const char*      text            4 bytes length, the bytes   the bytes
//   IpGenAddr                             address         family, 4 words of 4 bytes   its text
//   IpGenPrefix                           prefix          family, length, 4 words      its text
//   a registered enumeration              enumeration     8 bytes                     member's name
//   anything else with stringValue()      text            as text                     the string
//
// Characters and enumerations that are not registered are refused by the compiler. An enumeration
// is registered by a specialisation beside its definition:
//
//   template <>
//   struct TraceArgument<Colour> {
//     static constexpr std::array members{TraceEnumerator{"red", 0}, TraceEnumerator{"green", 1}};
//     static constexpr TraceEnumeration enumeration{"Colour", members};
//   };
//
// A value that is not among the members reads as its number; a null const char* as no text.

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing {

// The numbers stand in ring files: never reuse one.
enum class TraceArgumentKind : std::uint8_t {
  unsignedNumber = 1,
  signedNumber = 2,
  boolean = 3,
  text = 4,
  address = 5,
  prefix = 6,
  enumeration = 7,
};

struct TraceEnumerator {
  std::string_view name;
  std::int64_t value = 0;
};

// An enumeration type's name and its members. Refers to both: they live as long as the program.
class TraceEnumeration {
 public:
  constexpr TraceEnumeration(std::string_view name,
                             std::span<const TraceEnumerator> members) noexcept
      : name_(name), members_(members) {}

  constexpr std::string_view name() const noexcept { return name_; }
  constexpr std::span<const TraceEnumerator> members() const noexcept { return members_; }

 private:
  std::string_view name_;
  std::span<const TraceEnumerator> members_;
};

// A statement has no more arguments: what a made-up ring can make the decoder write is bounded.
inline constexpr std::size_t maxTraceArguments = 32;

// What a message knows of one of its arguments. The enumeration is null for every other kind.
struct TraceArgumentSpec {
  TraceArgumentKind kind = TraceArgumentKind::text;
  const TraceEnumeration* enumeration = nullptr;
};

// Collects the encoded arguments of one message. Messages of usual length need no memory.
class TraceEncoder {
 public:
  // The buffer is written before it is read: clearing it would cost more than most messages.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): see above
  TraceEncoder() { bytes_.reserve(inlineSize); }
  TraceEncoder(const TraceEncoder&) = delete;
  TraceEncoder(TraceEncoder&&) = delete;
  TraceEncoder& operator=(const TraceEncoder&) = delete;
  TraceEncoder& operator=(TraceEncoder&&) = delete;
  ~TraceEncoder() = default;

  void number(std::uint64_t value);
  void boolean(bool value);
  void text(std::string_view value);
  void address(const IpGenAddr& value);
  void prefix(const IpGenPrefix& value);

  std::string_view bytes() const noexcept { return {bytes_.data(), bytes_.size()}; }

 private:
  static constexpr std::size_t inlineSize = 512;

  void words(const IpGenAddr::Words& words);

  std::array<char, inlineSize> inline_;
  std::pmr::monotonic_buffer_resource resource_{inline_.data(), inline_.size()};
  std::pmr::vector<char> bytes_{&resource_};
};

// Specialised for each type that may be traced: a kind and a function encode, or an enumeration.
template <typename T>
struct TraceArgument;

template <typename T>
concept TraceCharacter = std::same_as<T, char> || std::same_as<T, wchar_t> ||
    std::same_as<T, char8_t> || std::same_as<T, char16_t> || std::same_as<T, char32_t>;
template <typename T>
concept TraceInteger =
    std::integral<T> && !TraceCharacter<T> && !std::same_as<T, bool> && sizeof(T) <= 8;
template <typename T>
concept TraceText = std::convertible_to<const T&, std::string_view>;
template <typename T>
concept TraceByStringValue = !TraceText<T> && requires(const T& value) {
  { value.stringValue() } -> std::convertible_to<std::string_view>;
};

template <TraceInteger T>
struct TraceArgument<T> {
  static constexpr TraceArgumentKind kind =
      std::is_signed_v<T> ? TraceArgumentKind::signedNumber : TraceArgumentKind::unsignedNumber;
  // A signed value is widened as such and stored as its two's complement.
  static void encode(TraceEncoder& encoder, T value) {
    encoder.number(static_cast<std::uint64_t>(value));
  }
};

template <>
struct TraceArgument<bool> {
  static constexpr TraceArgumentKind kind = TraceArgumentKind::boolean;
  static void encode(TraceEncoder& encoder, bool value) { encoder.boolean(value); }
};

template <TraceText T>
struct TraceArgument<T> {
  static constexpr TraceArgumentKind kind = TraceArgumentKind::text;
  static void encode(TraceEncoder& encoder, const T& value) {
    if constexpr (std::is_pointer_v<T>) {
      encoder.text(value == nullptr ? std::string_view() : std::string_view(value));
    } else {
      encoder.text(value);
    }
  }
};

template <>
struct TraceArgument<IpGenAddr> {
  static constexpr TraceArgumentKind kind = TraceArgumentKind::address;
  static void encode(TraceEncoder& encoder, const IpGenAddr& value) { encoder.address(value); }
};

template <>
struct TraceArgument<IpGenPrefix> {
  static constexpr TraceArgumentKind kind = TraceArgumentKind::prefix;
  static void encode(TraceEncoder& encoder, const IpGenPrefix& value) { encoder.prefix(value); }
};

template <TraceByStringValue T>
struct TraceArgument<T> {
  static constexpr TraceArgumentKind kind = TraceArgumentKind::text;
  static void encode(TraceEncoder& encoder, const T& value) { encoder.text(value.stringValue()); }
};

template <typename T>
concept TraceEnumerated = std::is_enum_v<T> && requires {
  { TraceArgument<T>::enumeration } -> std::convertible_to<const TraceEnumeration&>;
};
template <typename T>
concept Traceable = TraceEnumerated<T> || requires(TraceEncoder& encoder, const T& value) {
  { TraceArgument<T>::kind } -> std::convertible_to<TraceArgumentKind>;
  TraceArgument<T>::encode(encoder, value);
};

template <Traceable T>
constexpr TraceArgumentSpec traceArgumentSpec() noexcept {
  if constexpr (TraceEnumerated<T>) {
    return {TraceArgumentKind::enumeration, &TraceArgument<T>::enumeration};
  } else {
    return {TraceArgument<T>::kind, nullptr};
  }
}

template <Traceable T>
void encodeTraceArgument(TraceEncoder& encoder, const T& value) {
  if constexpr (TraceEnumerated<T>) {
    encoder.number(static_cast<std::uint64_t>(value));
  } else {
    TraceArgument<T>::encode(encoder, value);
  }
}

}  // namespace Routing
