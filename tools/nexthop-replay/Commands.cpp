#include "tools/nexthop-replay/Commands.h"

#include <unordered_map>

#include "tools/nexthop-replay/Arguments.h"
#include "tools/nexthop-replay/InputError.h"

namespace Routing::Replay {

namespace {

using CommandTable = std::unordered_map<std::string_view, const Command*>;

CommandTable makeTable() {
  CommandTable table;
  for (const std::span<const Command> commands :
       {tableCommands(), clientCommands(), machineCommands(), outputCommands()}) {
    for (const Command& command : commands) {
      table.emplace(command.name, &command);
    }
  }
  return table;
}

}  // namespace

const Command& findCommand(std::string_view name) {
  static const CommandTable table = makeTable();
  const auto found = table.find(name);
  if (found == table.end()) {
    throw InputError("unknown command: " + quoted(name));
  }
  return *found->second;
}

}  // namespace Routing::Replay
