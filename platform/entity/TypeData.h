#pragma once

// TypeData: what a class tells about itself. Its name, its attributes in declaration order, each
// with a readable value, and the operations that can be called by name.
//
// A class writes one table of each as constants and returns one TypeData from typeData():
//
//   const TypeData& Port::typeData() const {
//     static constexpr std::array attributes{attribute<&Port::name>("name"),
//                                            attribute<&Port::speed>("speed")};
//     static constexpr std::array operations{operation<&Port::reset>("reset")};
//     static const TypeData type("Routing::Port", attributes, operations);
//     return type;
//   }
//
// attribute() and operation() are in Inspection.h. The TypeData also counts the live entities of
// its type; TypeData::walk() visits every type that ever had one.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Routing {

class Entity;

struct AttributeData {
  std::string_view name;
  std::string (*value)(const Entity& entity);
  // True when the type's own dumpState prints it, so that a dump does not print it again.
  bool inDumpState = true;
};

struct OperationData {
  std::string_view name;
  std::size_t argumentCount;
  // The arguments in their string representations; the result in its readable form, if there is
  // one. Throws: DeserialisationError for an argument that does not read; what the operation
  // throws.
  std::optional<std::string> (*call)(Entity& entity, std::span<const std::string> arguments);
};

class TypeData {
 public:
  explicit TypeData(std::string_view name,
                    std::span<const AttributeData> attributes = {},
                    std::span<const OperationData> operations = {}) noexcept;
  TypeData(const TypeData&) = delete;
  TypeData& operator=(const TypeData&) = delete;
  ~TypeData() = default;

  std::string_view name() const noexcept { return name_; }
  std::span<const AttributeData> attributes() const noexcept { return attributes_; }
  std::span<const OperationData> operations() const noexcept { return operations_; }
  // Null when there is none of that name.
  const OperationData* operation(std::string_view name) const noexcept;

  // Entities of exactly this type that exist.
  std::uint64_t live() const noexcept;
  // Entities of all types that exist.
  static std::uint64_t liveEntities() noexcept;
  // Every type in use, in no promised order.
  static void walk(const std::function<void(const TypeData&)>& visit);

  // For Entity alone.
  void liveInc() const noexcept;
  void liveDec() const noexcept;

 private:
  std::string_view name_;
  std::span<const AttributeData> attributes_;
  std::span<const OperationData> operations_;
  mutable std::uint64_t live_ = 0;
  const TypeData* next_ = nullptr;
};

}  // namespace Routing
