#include "platform/net/IpGenAddr.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

namespace Routing {

namespace {

constexpr unsigned groupCount = 8;
using Groups = std::array<std::uint16_t, groupCount>;

Groups groupsOf(const IpGenAddr::Words& words) noexcept {
  Groups groups{};
  for (unsigned i = 0; i < groupCount; ++i) {
    const std::uint32_t word = words[i / 2];
    groups[i] = static_cast<std::uint16_t>(i % 2 == 0 ? word >> 16U : word & 0xffffU);
  }
  return groups;
}

IpGenAddr::Words wordsOf(const Groups& groups) noexcept {
  IpGenAddr::Words words{};
  for (unsigned i = 0; i < groupCount; ++i) {
    words[i / 2] |= static_cast<std::uint32_t>(groups[i]) << (i % 2 == 0 ? 16U : 0U);
  }
  return words;
}

void appendNumber(String& text, unsigned value, int base) {
  std::array<char, 8> digits{};
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value, base);
  text.append(digits.data(), result.ptr);
}

String dottedText(std::uint32_t address) {
  String text;
  for (unsigned shift = 32; shift > 0; shift -= 8) {
    appendNumber(text, address >> (shift - 8) & 0xffU, 10);
    if (shift > 8) {
      text += '.';
    }
  }
  return text;
}

// The first of the longest runs of two or more zero groups, as {begin, end}.
std::pair<unsigned, unsigned> longestZeroRun(const Groups& groups) noexcept {
  std::pair<unsigned, unsigned> best{0, 0};
  for (unsigned begin = 0; begin < groupCount; ++begin) {
    unsigned end = begin;
    while (end < groupCount && groups[end] == 0) {
      ++end;
    }
    if (end - begin > std::max(best.second - best.first, 1U)) {
      best = {begin, end};
    }
    begin = std::max(begin, end);
  }
  return best;
}

String ipv6Text(const IpGenAddr::Words& words) {
  if (words[0] == 0 && words[1] == 0 && words[2] == 0xffffU) {
    return "::ffff:" + dottedText(words[3]);
  }
  const Groups groups = groupsOf(words);
  const auto [runBegin, runEnd] = longestZeroRun(groups);
  String text;
  for (unsigned i = 0; i < groupCount; ++i) {
    if (i == runBegin && runEnd > runBegin) {
      text += "::";
      i = runEnd - 1;
      continue;
    }
    if (i > 0 && i != runEnd) {
      text += ':';
    }
    appendNumber(text, groups[i], 16);
  }
  return text;
}

std::optional<std::uint32_t> parseDotted(std::string_view text) {
  std::uint32_t address = 0;
  for (unsigned octet = 0; octet < 4; ++octet) {
    if (octet > 0) {
      if (!text.starts_with('.')) {
        return std::nullopt;
      }
      text.remove_prefix(1);
    }
    std::uint8_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const auto length = static_cast<std::size_t>(end - text.data());
    if (error != std::errc{} || (length > 1 && text.front() == '0')) {
      return std::nullopt;
    }
    address = address << 8U | value;
    text.remove_prefix(length);
  }
  if (!text.empty()) {
    return std::nullopt;
  }
  return address;
}

// Up to four hexadecimal digits.
std::optional<std::uint16_t> parseGroup(std::string_view text) {
  std::uint16_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (text.empty() || text.size() > 4 || error != std::errc{} || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

// Groups separated by colons, the last two possibly as a dotted quad. Returns how many were read
// into `groups` from its start.
std::optional<unsigned> parseGroups(std::string_view text, bool mayEndDotted, Groups& groups) {
  unsigned count = 0;
  while (!text.empty()) {
    const std::size_t colon = text.find(':');
    const std::string_view part = text.substr(0, colon);
    if (colon == std::string_view::npos && mayEndDotted &&
        part.find('.') != std::string_view::npos) {
      const auto dotted = parseDotted(part);
      if (!dotted || count + 2 > groupCount) {
        return std::nullopt;
      }
      groups[count++] = static_cast<std::uint16_t>(*dotted >> 16U);
      groups[count++] = static_cast<std::uint16_t>(*dotted & 0xffffU);
      return count;
    }
    const auto group = parseGroup(part);
    if (!group || count == groupCount) {
      return std::nullopt;
    }
    groups[count++] = *group;
    if (colon == std::string_view::npos) {
      return count;
    }
    text.remove_prefix(colon + 1);
    if (text.empty()) {
      return std::nullopt;
    }
  }
  return count;
}

std::optional<IpGenAddr> parseIpv6(std::string_view text) {
  Groups head{};
  const std::size_t gap = text.find("::");
  if (gap == std::string_view::npos) {
    if (parseGroups(text, true, head) != groupCount) {
      return std::nullopt;
    }
    return IpGenAddr::ipv6(wordsOf(head));
  }
  Groups tail{};
  const auto headCount = parseGroups(text.substr(0, gap), false, head);
  const auto tailCount = parseGroups(text.substr(gap + 2), true, tail);
  // The gap stands for at least one group.
  if (!headCount || !tailCount || *headCount + *tailCount >= groupCount) {
    return std::nullopt;
  }
  for (unsigned i = 0; i < *tailCount; ++i) {
    head[groupCount - *tailCount + i] = tail[i];
  }
  return IpGenAddr::ipv6(wordsOf(head));
}

}  // namespace

IpGenAddr IpGenAddr::ipv6(const Bytes& bytes) noexcept {
  Words words{};
  for (unsigned i = 0; i < bytes.size(); ++i) {
    words[i / 4] = words[i / 4] << 8U | bytes[i];
  }
  return ipv6(words);
}

std::optional<IpGenAddr> IpGenAddr::parse(std::string_view text) {
  if (text.find(':') != std::string_view::npos) {
    return parseIpv6(text);
  }
  if (const auto address = parseDotted(text)) {
    return ipv4(*address);
  }
  return std::nullopt;
}

IpGenAddr::Bytes IpGenAddr::bytes() const noexcept {
  Bytes bytes{};
  for (std::size_t i = 0; i < words_.size(); ++i) {
    // Written out, the four are one instruction.
    bytes[4 * i] = static_cast<std::uint8_t>(words_[i] >> 24U);
    bytes[4 * i + 1] = static_cast<std::uint8_t>(words_[i] >> 16U);
    bytes[4 * i + 2] = static_cast<std::uint8_t>(words_[i] >> 8U);
    bytes[4 * i + 3] = static_cast<std::uint8_t>(words_[i]);
  }
  return bytes;
}

String IpGenAddr::stringValue() const {
  switch (family_) {
    case AddressFamily::ipv4:
      return dottedText(words_[0]);
    case AddressFamily::ipv6:
      return ipv6Text(words_);
    case AddressFamily::unset:
      break;
  }
  return "none";
}

}  // namespace Routing

std::size_t std::hash<Routing::IpGenAddr>::operator()(
    const Routing::IpGenAddr& address) const noexcept {
  return address.hash(0);
}
