#include "tools/nexthop-replay/Line.h"

#include <array>
#include <string>
#include <utility>

namespace Routing::Replay {

namespace {

void appendEscaped(String& to, char byte) {
  constexpr std::string_view digits = "0123456789abcdef";
  const auto value = static_cast<unsigned char>(byte);
  to += "\\u00";
  to += digits[value >> 4U];
  to += digits[value & 15U];
}

void appendString(String& to, std::string_view text) {
  constexpr unsigned char firstPrintable = 0x20;
  to += '"';
  for (const char byte : text) {
    if (byte == '"' || byte == '\\') {
      to += '\\';
      to += byte;
    } else if (static_cast<unsigned char>(byte) < firstPrintable) {
      appendEscaped(to, byte);
    } else {
      to += byte;
    }
  }
  to += '"';
}

void appendKey(String& to, std::string_view key) {
  to += '"';
  to += key;
  to += "\":";
}

struct ViaNumber {
  std::string_view key;
  std::uint64_t value;
};

std::array<ViaNumber, 5> numbersOf(const NexthopResolverVia& via) {
  return {{{"intf", via.intfId().value},
           {"weight", via.weight()},
           {"label", via.mplsLabelAndAction().label()},
           {"action", via.mplsLabelAndAction().action()},
           {"beyond", via.beyondBoundary() ? 1U : 0U}}};
}

void appendViaText(String& to, const NexthopResolverVia& via) {
  to += "\n  via " + via.hop().stringValue();
  for (const ViaNumber& number : numbersOf(via)) {
    to.append(" ").append(number.key).append(" ").append(std::to_string(number.value));
  }
}

void appendViaJson(String& to, const NexthopResolverVia& via) {
  to += '{';
  appendKey(to, "addr");
  appendString(to, via.hop().stringValue());
  for (const ViaNumber& number : numbersOf(via)) {
    to += ',';
    appendKey(to, number.key);
    to += std::to_string(number.value);
  }
  to += '}';
}

}  // namespace

Line& Line::add(std::string_view key, String text, Kind kind, bool named) {
  fields_.push_back({key, std::move(text), kind, named});
  return *this;
}

Line& Line::word(std::string_view key, std::string_view value) {
  return add(key, String(value), Kind::string);
}

Line& Line::number(std::string_view key, std::uint64_t value) {
  return add(key, std::to_string(value), Kind::number);
}

Line& Line::decimal(std::string_view key, std::string_view digits) {
  return add(key, String(digits), Kind::number);
}

Line& Line::null(std::string_view key, std::string_view text) {
  return add(key, String(text), Kind::null);
}

Line& Line::named(std::string_view key, std::uint64_t value) {
  return add(key, std::to_string(value), Kind::number, true);
}

Line& Line::prefix(const IpGenPrefix& value) {
  return add("prefix", value.stringValue(), value ? Kind::string : Kind::null, true);
}

Line& Line::vias(const std::vector<NexthopResolverVia>& vias) {
  vias_ = vias;
  return add("vias", std::to_string(vias.size()), Kind::array, true);
}

Line& Line::textIs(std::string_view text) {
  hasText_ = true;
  text_ = text;
  return *this;
}

String Line::text() const {
  if (hasText_) {
    return text_;
  }
  String text(word_);
  for (const Field& field : fields_) {
    text += ' ';
    if (field.named) {
      text.append(field.key).append("=");
    }
    text += field.text;
  }
  for (const NexthopResolverVia& via : vias_) {
    appendViaText(text, via);
  }
  return text;
}

String Line::json() const {
  String text = "{";
  appendKey(text, "line");
  appendString(text, word_);
  for (const Field& field : fields_) {
    text += ',';
    appendKey(text, field.key);
    switch (field.kind) {
      case Kind::string:
        appendString(text, field.text);
        break;
      case Kind::number:
        text += field.text;
        break;
      case Kind::null:
        text += "null";
        break;
      case Kind::array:
        text += '[';
        for (const NexthopResolverVia& via : vias_) {
          text += &via == vias_.data() ? "" : ",";
          appendViaJson(text, via);
        }
        text += ']';
        break;
    }
  }
  text += '}';
  return text;
}

}  // namespace Routing::Replay
