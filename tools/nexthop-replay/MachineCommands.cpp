#include <array>
#include <charconv>
#include <string>
#include <vector>

#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"
#include "platform/task/DumpContext.h"
#include "tools/nexthop-replay/Arguments.h"
#include "tools/nexthop-replay/Commands.h"
#include "tools/nexthop-replay/InputError.h"
#include "tools/nexthop-replay/Session.h"

namespace Routing::Replay {

namespace {

// Throws: InputError when the VRF has no manager.
Vrf& managedVrf(Session& session, const VrfName& name) {
  const auto found = session.world().vrfs().find(name);
  if (found == session.world().vrfs().end() || !found->second.manager) {
    throw InputError("no manager of VRF " + quoted(name));
  }
  return session.world().vrf(name);
}

void manager(Session& session, Arguments& arguments) {
  const VrfName name = arguments.name("VRF");
  const bool withCells = !arguments.take("no-cells");
  arguments.end();
  World& world = session.world();
  const auto found = world.vrfs().find(name);
  if (found != world.vrfs().end() && found->second.manager) {
    throw InputError("VRF " + quoted(name) + " has a manager");
  }
  world.makeManager(world.vrf(name), withCells);
}

void managerDel(Session& session, Arguments& arguments) {
  const VrfName name = arguments.name("VRF");
  arguments.end();
  managedVrf(session, name).manager = nullptr;
}

void notifications(Session& session, Arguments& arguments) {
  const VrfName name = arguments.name("VRF");
  const bool active = arguments.onOff();
  arguments.end();
  managedVrf(session, name).manager->hasNotificationActiveIs(active);
}

// The machine that "VRF manager|fibvia" names. Throws: InputError when it is not there.
Ptr<Entity> machine(Session& session, Arguments& arguments) {
  const VrfName name = arguments.name("VRF");
  const bool isManager = arguments.choice("manager|fibvia", {"manager", "fibvia"}) == 0;
  const Ptr<NexthopResolverManagerSm>& manager = managedVrf(session, name).manager;
  if (isManager) {
    return manager;
  }
  if (!manager->nexthopResolverFibViaSm()) {
    throw InputError("the manager of VRF " + quoted(name) + " has no FIB-via machine");
  }
  return manager->nexthopResolverFibViaSm();
}

Line resultLine(const String& value) {
  Line line("result");
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  const bool isNumber = error == std::errc{} && end == value.data() + value.size();
  return isNumber ? line.number("value", number) : line.word("value", value);
}

void invoke(Session& session, Arguments& arguments) {
  // Held, whatever the operation does to the manager.
  const Ptr<Entity> target = machine(session, arguments);
  const String operation = arguments.name("OPERATION");
  std::vector<std::string> values;
  while (!arguments.atEnd()) {
    values.push_back(arguments.name("ARG"));
  }
  std::optional<std::string> result;
  try {
    result = callOperation(*target, operation, values);
  } catch (const DeserialisationError& error) {
    throw InputError(error.what());
  }
  // The operation may have given the manager a new index and map.
  session.world().attachManagers();
  if (result) {
    session.print(resultLine(*result));
  }
}

void run(Session& session, Arguments& arguments) {
  arguments.end();
  session.runner().run();
}

void step(Session& session, Arguments& arguments) {
  arguments.end();
  session.runner().step();
}

void budget(Session& session, Arguments& arguments) {
  const std::uint64_t questions = arguments.number("N");
  arguments.end();
  session.world().scheduler().workBudgetIs(questions);
}

void advance(Session& session, Arguments& arguments) {
  const Nanoseconds duration = arguments.seconds();
  arguments.end();
  if (!session.runner().advance(duration)) {
    throw InputError("the clock cannot go so far");
  }
}

void dump(Session& session, Arguments& arguments) {
  const VrfName name = arguments.name("VRF");
  arguments.end();
  DumpContext context;
  managedVrf(session, name).manager->fecIdToClientHop()->dumpState(context, 0);
  const String& text = context.text();
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const std::string_view line = std::string_view(text).substr(at, end - at);
    session.print(Line("dump").word("text", line).textIs(line));
    at = end + 1;
  }
}

void inspect(Session& session, Arguments& arguments) {
  const Ptr<Entity> target = machine(session, arguments);
  arguments.end();
  const TypeData& type = target->typeData();
  session.print(Line("type").word("type", type.name()));
  for (const AttributeData& attribute : type.attributes()) {
    session.print(
        Line("attribute").word("name", attribute.name).word("value", attribute.value(*target)));
  }
  for (const OperationData& operation : type.operations()) {
    session.print(Line("operation").word("name", operation.name));
  }
}

constexpr std::array commands{
    Command{"manager", manager},
    Command{"manager-del", managerDel},
    Command{"notifications", notifications},
    Command{"invoke", invoke},
    Command{"run", run},
    Command{"step", step},
    Command{"budget", budget},
    Command{"advance", advance},
    Command{"dump", dump},
    Command{"inspect", inspect},
};

}  // namespace

std::span<const Command> machineCommands() noexcept { return commands; }

}  // namespace Routing::Replay
