#include "tests/host/ctl/CtlFixture.h"

namespace Routing::Host {

std::string CtlFixture::command(const std::string& arguments) const {
  return std::string(NEXTHOPCTL) + " --socket '" + options.socketPath + "' " + arguments;
}

}  // namespace Routing::Host
