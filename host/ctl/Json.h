#pragma once

// A JSON object on one line, its members in the order in which they are added. Numbers are integers
// of full 64 bits.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Routing::Host {

class JsonObject {
 public:
  JsonObject& text(std::string_view key, std::string_view value);
  // Null for the empty text.
  JsonObject& textOrNull(std::string_view key, std::string_view value);
  JsonObject& number(std::string_view key, std::uint64_t value);
  JsonObject& numberOrNull(std::string_view key, std::uint64_t value);
  // With three decimals.
  JsonObject& decimal(std::string_view key, double value);
  JsonObject& boolean(std::string_view key, bool value);
  JsonObject& null(std::string_view key);
  JsonObject& object(std::string_view key, const JsonObject& value);
  JsonObject& array(std::string_view key, const std::vector<JsonObject>& values);
  JsonObject& array(std::string_view key, const std::vector<std::string>& values);

  std::string str() const { return "{" + members_ + "}"; }
  // To standard output, as a line.
  void print() const;

 private:
  void member(std::string_view key, std::string_view json);

  std::string members_;
};

}  // namespace Routing::Host
