#pragma once

// The exceptions that the framework raises. Each carries what a caller may want to report, besides
// the readable message of what().

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Routing {

// A value outside of what its type can hold.
class RangeError : public std::range_error {
 public:
  using std::range_error::range_error;
};

// An operation was given null where it needs an object.
class NullArgumentError : public std::invalid_argument {
 public:
  NullArgumentError(std::string_view type, std::string_view attribute)
      : std::invalid_argument(std::string(type) + ": null argument for attribute " +
                              std::string(attribute)),
        type_(type),
        attribute_(attribute) {}

  const std::string& type() const noexcept { return type_; }
  const std::string& attribute() const noexcept { return attribute_; }

 private:
  std::string type_;
  std::string attribute_;
};

// A member of an instantiating collection exists and was asked for with another argument.
class ReinstantiationError : public std::logic_error {
 public:
  ReinstantiationError(std::string_view type, std::string_view attribute)
      : std::logic_error(std::string(type) + ": re-instantiated with a different " +
                         std::string(attribute)),
        type_(type),
        attribute_(attribute) {}

  const std::string& type() const noexcept { return type_; }
  const std::string& attribute() const noexcept { return attribute_; }

 private:
  std::string type_;
  std::string attribute_;
};

// A string representation that does not read as its type. The position counts bytes from 0.
class DeserialisationError : public std::runtime_error {
 public:
  DeserialisationError(std::string_view type, std::string_view attribute, std::size_t position)
      : std::runtime_error(std::string(type) + ": cannot read attribute " + std::string(attribute) +
                           " at position " + std::to_string(position)),
        type_(type),
        attribute_(attribute),
        position_(position) {}

  const std::string& type() const noexcept { return type_; }
  // The attribute that did not read; empty when text is left over after the last one.
  const std::string& attribute() const noexcept { return attribute_; }
  std::size_t position() const noexcept { return position_; }

 private:
  std::string type_;
  std::string attribute_;
  std::size_t position_;
};

}  // namespace Routing
