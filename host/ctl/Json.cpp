#include "host/ctl/Json.h"

#include <fmt/format.h>

#include <cstdio>

namespace Routing::Host {

namespace {

std::string quoted(std::string_view text) {
  std::string json = "\"";
  for (const char letter : text) {
    if (letter == '"' || letter == '\\') {
      json.push_back('\\');
      json.push_back(letter);
    } else if (static_cast<unsigned char>(letter) < ' ') {
      json += fmt::format("\\u{:04x}", static_cast<unsigned char>(letter));
    } else {
      json.push_back(letter);
    }
  }
  return json + "\"";
}

}  // namespace

void JsonObject::member(std::string_view key, std::string_view json) {
  members_.append(members_.empty() ? "" : ",").append(quoted(key)).append(":").append(json);
}

JsonObject& JsonObject::text(std::string_view key, std::string_view value) {
  member(key, quoted(value));
  return *this;
}

JsonObject& JsonObject::textOrNull(std::string_view key, std::string_view value) {
  return value.empty() ? null(key) : text(key, value);
}

JsonObject& JsonObject::number(std::string_view key, std::uint64_t value) {
  member(key, fmt::format("{}", value));
  return *this;
}

JsonObject& JsonObject::numberOrNull(std::string_view key, std::uint64_t value) {
  return value == 0 ? null(key) : number(key, value);
}

JsonObject& JsonObject::decimal(std::string_view key, double value) {
  member(key, fmt::format("{:.3f}", value));
  return *this;
}

JsonObject& JsonObject::boolean(std::string_view key, bool value) {
  member(key, value ? "true" : "false");
  return *this;
}

JsonObject& JsonObject::null(std::string_view key) {
  member(key, "null");
  return *this;
}

JsonObject& JsonObject::object(std::string_view key, const JsonObject& value) {
  member(key, value.str());
  return *this;
}

JsonObject& JsonObject::array(std::string_view key, const std::vector<JsonObject>& values) {
  std::string json;
  for (const JsonObject& value : values) {
    json.append(json.empty() ? "" : ",").append(value.str());
  }
  member(key, "[" + json + "]");
  return *this;
}

JsonObject& JsonObject::array(std::string_view key, const std::vector<std::string>& values) {
  std::string json;
  for (const std::string& value : values) {
    json.append(json.empty() ? "" : ",").append(quoted(value));
  }
  member(key, "[" + json + "]");
  return *this;
}

void JsonObject::print() const {
  const std::string line = str() + "\n";
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

}  // namespace Routing::Host
