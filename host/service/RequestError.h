#pragma once

// A request that is refused: what kind of fault, in which field, and why. Thrown before anything
// was changed, and told to the client.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace Routing::Host {

enum class RequestFault : std::uint8_t {
  invalid,        // never right
  notFound,       // names something that is not there
  conflict,       // not while things are as they are
  alreadyExists,  // there is one
  denied,         // not this user
  exhausted,      // over a limit
};

class RequestError : public std::runtime_error {
 public:
  RequestError(RequestFault fault, std::string field, const std::string& reason)
      : std::runtime_error(reason), fault_(fault), field_(std::move(field)) {}

  RequestFault fault() const noexcept { return fault_; }
  // The path of the field in the request.
  const std::string& field() const noexcept { return field_; }

 private:
  RequestFault fault_;
  std::string field_;
};

}  // namespace Routing::Host
