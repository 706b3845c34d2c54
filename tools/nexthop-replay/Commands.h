#pragma once

// The commands of the replay language. Each is a function that takes its words off the arguments,
// checks them all, and then acts.
//
//   TableCommands.cpp    routes, tries, FECs, corruption
//   ClientCommands.cpp   client records, routing information, what an earlier run left
//   MachineCommands.cpp  managers, time, inspection
//   OutputCommands.cpp   echo, trace, watch, show, expect

#include <span>
#include <string_view>

namespace Routing::Replay {

class Arguments;
class Session;
struct Vrf;

struct Command {
  std::string_view name;
  // Throws: InputError for a line that is bad; it has done nothing then.
  void (*run)(Session& session, Arguments& arguments);
};

std::span<const Command> tableCommands() noexcept;
std::span<const Command> clientCommands() noexcept;
std::span<const Command> machineCommands() noexcept;
std::span<const Command> outputCommands() noexcept;

// Throws: InputError when there is none of that name.
const Command& findCommand(std::string_view name);

}  // namespace Routing::Replay
