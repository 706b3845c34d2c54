#pragma once

// Builders of the tables that TypeData.h describes: attribute<&Class::accessor>("name") and
// operation<&Class::operation>("name").
//
// An accessor is a const member function without arguments. An operation's arguments are read from
// their string representations by strepToValue (ValueParser.h), so each argument type needs a
// ValueParser.

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "platform/entity/Entity.h"
#include "platform/entity/Text.h"
#include "platform/entity/TypeData.h"
#include "platform/entity/ValueParser.h"

namespace Routing {

namespace detail {

template <class Member>
struct MemberFunction;

template <class C, class R, class... A>
struct MemberFunction<R (C::*)(A...)> {
  using Class = C;
  using Result = R;
  using Arguments = std::tuple<std::decay_t<A>...>;
};
template <class C, class R, class... A>
struct MemberFunction<R (C::*)(A...) const> : MemberFunction<R (C::*)(A...)> {};
template <class C, class R, class... A>
struct MemberFunction<R (C::*)(A...) noexcept> : MemberFunction<R (C::*)(A...)> {};
template <class C, class R, class... A>
struct MemberFunction<R (C::*)(A...) const noexcept> : MemberFunction<R (C::*)(A...)> {};

template <auto member, std::size_t... index>
std::optional<std::string> callByName(Entity& entity,
                                      [[maybe_unused]] std::span<const std::string> arguments,
                                      std::index_sequence<index...> /*unused*/) {
  using Function = MemberFunction<decltype(member)>;
  auto& object = dynamic_cast<typename Function::Class&>(entity);
  // Read in order, so that the first bad argument is the one reported.
  const std::tuple values{
      strepToValue<std::tuple_element_t<index, typename Function::Arguments>>(arguments[index])...};
  if constexpr (std::is_void_v<typename Function::Result>) {
    (object.*member)(std::get<index>(values)...);
    return std::nullopt;
  } else {
    return readableText((object.*member)(std::get<index>(values)...));
  }
}

}  // namespace detail

template <auto accessor>
constexpr AttributeData attribute(std::string_view name, bool inDumpState = true) {
  return {name,
          [](const Entity& entity) {
            using Class = typename detail::MemberFunction<decltype(accessor)>::Class;
            return readableText((dynamic_cast<const Class&>(entity).*accessor)());
          },
          inDumpState};
}

template <auto member>
constexpr OperationData operation(std::string_view name) {
  using Arguments = typename detail::MemberFunction<decltype(member)>::Arguments;
  constexpr std::size_t count = std::tuple_size_v<Arguments>;
  return {name, count, [](Entity& entity, std::span<const std::string> arguments) {
            ROUTING_ASSERT(arguments.size() == count && "an operation gets all its arguments");
            return detail::callByName<member>(entity, arguments, std::make_index_sequence<count>());
          }};
}

// Calls the operation of that name. Throws: DeserialisationError when there is no such operation
// (attribute: its name) or the number of arguments is another (attribute: "arguments").
std::optional<std::string> callOperation(Entity& entity,
                                         std::string_view name,
                                         std::span<const std::string> arguments);

}  // namespace Routing
