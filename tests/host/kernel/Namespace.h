#pragma once

// A network namespace of the test's own, in which it may do as it likes, and the commands of
// iproute2 in it. The test's process moves into it and stays; the next one takes its place.
//
// Root may have one; for others a user namespace is tried first. Where neither is allowed,
// missing() says so, and tests are skipped with that text.

#include <string>

namespace Routing::Host::Testing {

class Namespace {
 public:
  // Moves this process into a new namespace with the loopback interface up.
  Namespace();
  Namespace(const Namespace&) = delete;
  Namespace& operator=(const Namespace&) = delete;
  ~Namespace() = default;

  // What keeps this machine from having one; empty when nothing does.
  const std::string& missing() const noexcept { return missing_; }

  // Runs "ip ARGUMENTS" and reports a failure of the test when it fails.
  void ip(const std::string& arguments) const;
  // True when it succeeded; says nothing when it did not.
  bool ipTry(const std::string& arguments) const;
  // Runs the lines as one "ip -batch".
  void ipBatch(const std::string& lines) const;
  // Makes a veth pair, both ends up: NAME with the address, if there is one, and NAMEpeer.
  void link(const std::string& name, const std::string& address = {}) const;
  void sysctl(const std::string& name, const std::string& value) const;

 private:
  std::string missing_;
};

}  // namespace Routing::Host::Testing
