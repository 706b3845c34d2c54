#pragma once

// RegistrationStore: where registrations keep what the library's records do not hold: who owns a
// client's name, and policies that are not the default one. Small values under readable keys, kept
// with the records in one transaction a turn.

#include <functional>
#include <string>

namespace Routing::Host {

class RegistrationStore {
 public:
  using Visit = std::function<void(const std::string& key, const std::string& value)>;

  RegistrationStore() = default;
  RegistrationStore(const RegistrationStore&) = delete;
  RegistrationStore& operator=(const RegistrationStore&) = delete;
  virtual ~RegistrationStore() = default;

  virtual void put(const std::string& key, const std::string& value) = 0;
  virtual void erase(const std::string& key) = 0;
  // Everything, in order of the keys. The store is not changed by the visitor.
  virtual void walk(const Visit& visit) const = 0;
};

}  // namespace Routing::Host
