#pragma once

// The readable form of a value, for inspection and messages: one overload set for the plain types,
// and stringValue() for the types that have one.

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/entity/Ptr.h"
#include "platform/entity/TypeData.h"

namespace Routing {

template <class T>
concept HasStringValue = requires(const T& value) {
  { value.stringValue() } -> std::convertible_to<std::string>;
};

inline std::string readableText(std::string_view value) { return std::string(value); }

// Of a bool alone: a pointer would convert to one.
template <std::same_as<bool> T>
std::string readableText(T value) {
  return value ? "true" : "false";
}

template <class T>
requires(std::integral<T> && !std::same_as<T, bool>) std::string readableText(T value) {
  return std::to_string(value);
}

template <class T>
requires std::is_enum_v<T> std::string readableText(T value) {
  return std::to_string(static_cast<std::underlying_type_t<T>>(value));
}

template <HasStringValue T>
std::string readableText(const T& value) {
  return value.stringValue();
}

// An entity reads as its type: what it holds is a matter of its own attributes.
template <class T>
std::string readableText(const Ptr<T>& entity) {
  return entity ? std::string(entity->typeData().name()) : "null";
}

// A collection reads as its keys, in its own order.
template <class Table>
requires requires(const Table& table) {
  table.cursor().key();
  table.size();
}
std::string readableText(const Table& table) {
  constexpr std::size_t shownMembers = 16;
  std::string text = "{";
  std::size_t shown = 0;
  for (auto cursor = table.cursor(); !cursor.atEnd() && shown < shownMembers; cursor.next()) {
    text += (shown == 0 ? "" : ", ") + readableText(cursor.key());
    ++shown;
  }
  if (table.size() > shown) {
    text += ", ... " + std::to_string(table.size()) + " in all";
  }
  return text + "}";
}

}  // namespace Routing
