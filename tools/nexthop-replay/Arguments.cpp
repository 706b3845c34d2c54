#include "tools/nexthop-replay/Arguments.h"

#include <algorithm>
#include <array>
#include <string>

#include "platform/entity/ValueParser.h"
#include "tools/nexthop-replay/InputError.h"

namespace Routing::Replay {

String quoted(std::string_view word) { return '"' + String(word) + '"'; }

void Arguments::end() const {
  if (!atEnd()) {
    throw InputError("surplus word: " + quoted(words_.front()));
  }
}

std::string_view Arguments::rest() noexcept {
  words_ = {};
  // What is no blank here begins a comment.
  const bool blank = afterCommand_.starts_with(' ') || afterCommand_.starts_with('\t');
  return blank ? afterCommand_.substr(1) : std::string_view();
}

std::string_view Arguments::word(std::string_view what) {
  if (atEnd()) {
    throw InputError("missing word: " + String(what));
  }
  const std::string_view word = words_.front();
  words_ = words_.subspan(1);
  return word;
}

bool Arguments::take(std::string_view word) noexcept {
  if (atEnd() || words_.front() != word) {
    return false;
  }
  words_ = words_.subspan(1);
  return true;
}

void Arguments::keyword(std::string_view word) {
  if (take(word)) {
    return;
  }
  if (atEnd()) {
    throw InputError("missing word: " + String(word));
  }
  throw InputError("not \"" + String(word) + "\": " + quoted(words_.front()));
}

std::size_t Arguments::choice(std::string_view what,
                              std::initializer_list<std::string_view> words) {
  const std::string_view chosen = word(what);
  const auto* const found = std::find(words.begin(), words.end(), chosen);
  if (found != words.end()) {
    return static_cast<std::size_t>(found - words.begin());
  }
  String all;
  for (const std::string_view one : words) {
    all.append(all.empty() ? "" : ", ").append(one);
  }
  throw InputError("none of " + all + ": " + quoted(chosen));
}

std::optional<std::size_t> Arguments::option(std::initializer_list<std::string_view> words,
                                             unsigned& seen) {
  std::size_t index = 0;
  for (const std::string_view one : words) {
    const unsigned bit = 1U << index;
    if (!atEnd() && words_.front() == one) {
      if ((seen & bit) != 0) {
        throw InputError("surplus word: " + quoted(one));
      }
      seen |= bit;
      take(one);
      return index;
    }
    ++index;
  }
  return std::nullopt;
}

std::uint64_t Arguments::number(std::string_view what, std::uint64_t most) {
  const std::string_view text = word(what);
  const auto value = ValueParser<std::uint64_t>::parse(text);
  if (!value) {
    throw InputError(String(what) + " is no number: " + quoted(text));
  }
  if (*value > most) {
    throw InputError(String(what) + " is at most " + std::to_string(most) + ": " + quoted(text));
  }
  return *value;
}

IpGenAddr Arguments::address() {
  const std::string_view text = word("ADDR");
  const auto address = IpGenAddr::parse(text);
  if (!address) {
    throw InputError("not an address: " + quoted(text));
  }
  return *address;
}

IpGenAddr Arguments::addressOrNone() { return take("none") ? IpGenAddr() : address(); }

IpGenPrefix Arguments::prefix() {
  const std::string_view text = word("PREFIX");
  const auto prefix = IpGenPrefix::parse(text);
  if (!prefix) {
    throw InputError("not a prefix: " + quoted(text));
  }
  return *prefix;
}

bool Arguments::onOff() { return choice("on|off", {"on", "off"}) == 0; }

AddressFamily Arguments::family() {
  return choice("ipv4|ipv6", {"ipv4", "ipv6"}) == 0 ? AddressFamily::ipv4 : AddressFamily::ipv6;
}

NexthopStatusFecIdType Arguments::kind() {
  return choice("fib|resolver", {"fib", "resolver"}) == 0 ? NexthopStatusFecIdType::fibFecId
                                                          : NexthopStatusFecIdType::resolverId;
}

namespace {

bool areDigits(std::string_view text) noexcept {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char byte) {
    return byte >= '0' && byte <= '9';
  });
}

// Nothing when it is no number of seconds, or is beyond a clock's range.
std::optional<Nanoseconds> parseSeconds(std::string_view text) {
  constexpr std::size_t decimals = 3;
  constexpr std::int64_t longest = Nanoseconds::max().count() / std::nano::den - 1;
  const std::size_t point = std::min(text.find('.'), text.size());
  const std::string_view whole = text.substr(0, point);
  String fraction(text.substr(std::min(point + 1, text.size())));
  const bool hasFraction = point != text.size();
  if (!areDigits(whole) || (hasFraction && !areDigits(fraction)) || fraction.size() > decimals) {
    return std::nullopt;
  }
  const auto seconds = ValueParser<std::uint64_t>::parse(whole);
  if (!seconds || *seconds > static_cast<std::uint64_t>(longest)) {
    return std::nullopt;
  }
  fraction.resize(decimals, '0');
  const auto milliseconds = ValueParser<std::uint32_t>::parse(fraction);
  return std::chrono::seconds(*seconds) + std::chrono::milliseconds(milliseconds.value_or(0));
}

}  // namespace

Nanoseconds Arguments::seconds() {
  const std::string_view text = word("SECONDS");
  const auto seconds = parseSeconds(text);
  if (!seconds) {
    throw InputError("not a number of seconds: " + quoted(text));
  }
  return *seconds;
}

Fib::Route Arguments::route() {
  keyword("fec");
  const FecId fecId = number("ID");
  std::uint32_t metric = 0;
  std::uint8_t preference = 1;
  std::uint8_t type = 0;
  unsigned seen = 0;
  while (const auto index = option({"metric", "preference", "type"}, seen)) {
    if (*index == 0) {
      metric = numberAs<std::uint32_t>("metric");
    } else if (*index == 1) {
      preference = numberAs<std::uint8_t>("preference");
    } else {
      type = numberAs<std::uint8_t>("type");
    }
  }
  return {fecId, metric, preference, type};
}

std::vector<FibGen::Via> Arguments::vias() {
  std::vector<FibGen::Via> vias;
  while (take("via")) {
    vias.push_back(via());
  }
  end();
  return vias;
}

FibGen::Via Arguments::via() {
  FibGen::Via via;
  via.hop = address();
  keyword("intf");
  via.intfId.value = numberAs<std::uint32_t>("intf");
  unsigned seen = 0;
  while (const auto index = option({"weight", "label", "action"}, seen)) {
    if (*index == 0) {
      via.weight = numberAs<std::uint32_t>("weight");
    } else if (*index == 1) {
      via.labelAndAction.labelIs(
          static_cast<std::uint32_t>(number("label", MplsLabelAndAction::noLabel)));
    } else {
      via.labelAndAction.actionIs(numberAs<std::uint8_t>("action"));
    }
  }
  return via;
}

}  // namespace Routing::Replay
