#pragma once

// One line of output, in both of its forms.
//
// A line is a first word and fields. As text the fields follow the word in order, either bare or as
// KEY=VALUE; as JSON the line is one object with the first word under "line" and each field under
// its key. A field knows whether it is a number: numbers are written as integers of full 64 bits in
// both forms.
//
//   Line("map").word("vrf", "blue").number("fecId", 12).number("resolverId", 4)
//     map blue 12 4
//     {"line":"map","vrf":"blue","fecId":12,"resolverId":4}
//
// Lines about the library's records are put together in RecordLines.h.

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "records/NexthopResolverForwardingStatus.h"

namespace Routing::Replay {

enum class Form : std::uint8_t { text, json };

class Line {
 public:
  // The word, and all keys, are literals.
  explicit Line(std::string_view word) : word_(word) {}

  // Bare in the text.
  Line& word(std::string_view key, std::string_view value);
  Line& address(const IpGenAddr& value) { return word("addr", value.stringValue()); }
  Line& number(std::string_view key, std::uint64_t value);
  // A number that is no integer, as its digits stand.
  Line& decimal(std::string_view key, std::string_view digits);
  // Bare in the text, null in JSON.
  Line& null(std::string_view key, std::string_view text);
  // KEY=VALUE in the text.
  Line& named(std::string_view key, std::uint64_t value);
  // prefix=PREFIX; the empty prefix is "-", and null in JSON.
  Line& prefix(const IpGenPrefix& value);
  // vias=N and a line for each via; an array in JSON.
  Line& vias(const std::vector<NexthopResolverVia>& vias);
  // What the text form is, whatever the word and the fields.
  Line& textIs(std::string_view text);

  // Without a newline at the end; only a line with vias has newlines inside.
  String text() const;
  String json() const;
  String rendered(Form form) const { return form == Form::text ? text() : json(); }

 private:
  enum class Kind : std::uint8_t { string, number, null, array };
  struct Field {
    std::string_view key;
    String text;
    Kind kind;
    bool named;
  };

  Line& add(std::string_view key, String text, Kind kind, bool named = false);

  std::string_view word_;
  std::vector<Field> fields_;
  std::vector<NexthopResolverVia> vias_;
  bool hasText_ = false;
  String text_;
};

}  // namespace Routing::Replay
