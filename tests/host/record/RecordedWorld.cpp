#include "tests/host/record/RecordedWorld.h"

namespace Routing::Host {

std::string RecordedWorld::replayed() const {
  const std::string shows = directory_ + "/shows";
  std::ofstream(shows) << "show status\nshow forwarding\nshow context\n";
  const std::string output = directory_ + "/output";
  std::string command = NEXTHOP_REPLAY_COMMAND;
  command.append(" '").append(path()).append("' '").append(shows);
  command.append("' > '").append(output).append("' 2>&1");
  const int status = std::system(command.c_str());
  return (status == 0 ? "" : "ended with " + std::to_string(status) + "\n") + content(output);
}

}  // namespace Routing::Host
