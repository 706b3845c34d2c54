#include "platform/trace/TraceText.h"

#include <array>
#include <charconv>
#include <chrono>
#include <concepts>
#include <cstddef>

namespace Routing {
namespace {

void appendDigits(String& to, std::integral auto number) {
  std::array<char, 24> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  to.append(digits.data(), end.ptr);
}

void appendPadded(String& to, std::uint64_t number, std::size_t width) {
  String digits;
  appendDigits(digits, number);
  if (digits.size() < width) {
    to.append(width - digits.size(), '0');
  }
  to += digits;
}

std::optional<AddressFamily> takeFamily(ByteReader& from) {
  const auto value = from.number<std::uint8_t>();
  if (!value || *value > static_cast<std::uint8_t>(AddressFamily::ipv6)) {
    return std::nullopt;
  }
  return static_cast<AddressFamily>(*value);
}

// The words of an address of a family that is already known.
std::optional<IpGenAddr> takeAddress(ByteReader& from, AddressFamily family) {
  IpGenAddr::Words words{};
  for (std::uint32_t& word : words) {
    const auto value = from.number<std::uint32_t>();
    if (!value) {
      return std::nullopt;
    }
    word = *value;
  }
  switch (family) {
    case AddressFamily::ipv4:
      return IpGenAddr::ipv4(words[0]);
    case AddressFamily::ipv6:
      return IpGenAddr::ipv6(words);
    case AddressFamily::unset:
      break;
  }
  return IpGenAddr{};
}

template <std::integral T>
bool appendDecimal(String& to, ByteReader& from) {
  const auto value = from.number<std::uint64_t>();
  if (value) {
    appendDigits(to, static_cast<T>(*value));
  }
  return value.has_value();
}

bool appendBoolean(String& to, ByteReader& from) {
  const auto value = from.number<std::uint8_t>();
  if (!value || *value > 1) {
    return false;
  }
  to += *value == 1 ? "true" : "false";
  return true;
}

bool appendString(String& to, ByteReader& from) {
  const auto value = from.text();
  if (value) {
    to += *value;
  }
  return value.has_value();
}

bool appendAddress(String& to, ByteReader& from) {
  const auto family = takeFamily(from);
  const auto address = family ? takeAddress(from, *family) : std::nullopt;
  if (address) {
    to += address->stringValue();
  }
  return address.has_value();
}

bool appendPrefix(String& to, ByteReader& from) {
  const auto family = takeFamily(from);
  const auto length = from.number<std::uint8_t>();
  if (!family || !length || *length > addressBits(*family)) {
    return false;
  }
  const auto address = takeAddress(from, *family);
  if (address) {
    to += IpGenPrefix(*address, *length).stringValue();
  }
  return address.has_value();
}

bool appendEnumerator(String& to, ByteReader& from, const TraceEnumeration* enumeration) {
  const auto value = from.number<std::uint64_t>();
  if (!value || enumeration == nullptr) {
    return false;
  }
  const auto number = static_cast<std::int64_t>(*value);
  for (const TraceEnumerator& member : enumeration->members()) {
    if (member.value == number) {
      to += member.name;
      return true;
    }
  }
  appendDigits(to, number);
  return true;
}

bool appendArgument(String& to, ByteReader& from, const TraceArgumentSpec& spec) {
  switch (spec.kind) {
    case TraceArgumentKind::unsignedNumber:
      return appendDecimal<std::uint64_t>(to, from);
    case TraceArgumentKind::signedNumber:
      return appendDecimal<std::int64_t>(to, from);
    case TraceArgumentKind::boolean:
      return appendBoolean(to, from);
    case TraceArgumentKind::text:
      return appendString(to, from);
    case TraceArgumentKind::address:
      return appendAddress(to, from);
    case TraceArgumentKind::prefix:
      return appendPrefix(to, from);
    case TraceArgumentKind::enumeration:
      return appendEnumerator(to, from, spec.enumeration);
  }
  return false;
}

// Seconds before 1970 count backwards, nanoseconds always forwards.
void appendTime(String& to, std::int64_t time) {
  constexpr std::int64_t perSecond = 1'000'000'000;
  const std::int64_t nanoseconds = (time % perSecond + perSecond) % perSecond;
  const std::chrono::sys_seconds second{
      std::chrono::seconds(time / perSecond - (time % perSecond < 0 ? 1 : 0))};
  const auto day = std::chrono::floor<std::chrono::days>(second);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss clock{second - day};
  const auto number = [&to](auto value, std::size_t width) {
    appendPadded(to, static_cast<std::uint64_t>(value), width);
  };
  number(static_cast<int>(date.year()), 4);
  to += '-';
  number(static_cast<unsigned>(date.month()), 2);
  to += '-';
  number(static_cast<unsigned>(date.day()), 2);
  to += 'T';
  number(clock.hours().count(), 2);
  to += ':';
  number(clock.minutes().count(), 2);
  to += ':';
  number(clock.seconds().count(), 2);
  to += '.';
  number(nanoseconds, 9);
  to += 'Z';
}

void appendPrintable(String& to, std::string_view text) {
  constexpr std::string_view digits = "0123456789abcdef";
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x20 && byte != 0x7f) {
      to += character;
    } else {
      to += "\\x";
      to += digits[byte >> 4U];
      to += digits[byte & 0xfU];
    }
  }
}

}  // namespace

std::optional<String> traceText(std::string_view format,
                                std::span<const TraceArgumentSpec> arguments,
                                ByteReader& encoded) {
  String text;
  std::string_view rest = format;
  for (const TraceArgumentSpec& argument : arguments) {
    const std::size_t place = rest.find("{}");
    if (place == std::string_view::npos) {
      return std::nullopt;
    }
    text += rest.substr(0, place);
    rest.remove_prefix(place + 2);
    if (!appendArgument(text, encoded, argument)) {
      return std::nullopt;
    }
  }
  if (countTracePlaces(rest) != 0) {
    return std::nullopt;
  }
  text += rest;
  return text;
}

void appendTraceLine(String& to, const TraceMessage& message, TraceTime time) {
  if (time == TraceTime::shown) {
    appendTime(to, message.time);
    to += ' ';
  }
  appendDigits(to, message.level);
  to += ' ';
  appendPrintable(to, message.facility);
  to += ": ";
  appendPrintable(to, message.text);
  to += '\n';
}

}  // namespace Routing
