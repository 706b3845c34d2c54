#pragma once

// NothingOfTheSystemLivesAfterDestruction: counts the live entities when it is made; what was made
// since must be gone when it is asked.

#include <cstdint>

#include "platform/net/IpGenAddr.h"

namespace Routing::Support {

class NothingOfTheSystemLivesAfterDestruction {
 public:
  NothingOfTheSystemLivesAfterDestruction() noexcept;

  // What lives that did not, by type; empty when nothing does.
  String broken() const;
  // The same, while the host's own records live on: of the machines and their bookkeeping alone.
  static String machinesLeft();

 private:
  std::uint64_t before_;
};

}  // namespace Routing::Support
