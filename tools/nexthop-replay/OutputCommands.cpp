#include <array>
#include <optional>
#include <string>

#include "platform/trace/TraceLevels.h"
#include "tools/nexthop-replay/Arguments.h"
#include "tools/nexthop-replay/Commands.h"
#include "tools/nexthop-replay/InputError.h"
#include "tools/nexthop-replay/Session.h"
#include "tools/nexthop-replay/Shows.h"

namespace Routing::Replay {

namespace {

void echo(Session& session, Arguments& arguments) {
  const std::string_view text = arguments.rest();
  session.print(Line("echo").word("text", text).textIs(text));
}

void trace(Session& session, Arguments& arguments) {
  const std::string_view text = arguments.word("off|LEVELS");
  const std::optional<TraceLevelMask> levels = parseTraceLevels(text);
  arguments.end();
  if (!levels) {
    throw InputError("no trace levels: " + quoted(text));
  }
  session.traceLevelsAre(*levels);
}

void watch(Session& session, Arguments& arguments) {
  const bool on = arguments.onOff();
  arguments.end();
  session.watchIs(on);
}

Filter optionalName(Arguments& arguments, std::string_view what) {
  return arguments.atEnd() ? Filter() : Filter(arguments.name(what));
}

void show(Session& session, Arguments& arguments) {
  const World& world = session.world();
  const auto status = [&] {
    const Filter client = optionalName(arguments, "CLIENT");
    const Filter vrf = optionalName(arguments, "VRF");
    arguments.end();
    return showStatus(world, client, vrf);
  };
  // A show that can be limited to one name.
  const auto limited = [&](auto make) {
    const Filter name = optionalName(arguments, "NAME");
    arguments.end();
    return make(world, name);
  };
  const auto plain = [&](auto make) {
    arguments.end();
    return make();
  };
  const std::size_t what = arguments.choice("status|...",
                                            {"status",
                                             "status-vrf",
                                             "forwarding",
                                             "map",
                                             "references",
                                             "resolvers",
                                             "tracked",
                                             "context",
                                             "entities",
                                             "tasks"});
  switch (what) {
    case 0:
      return session.show(status());
    case 1:
      return session.show(limited(showVrfStatus));
    case 2:
      return session.show(limited(showForwarding));
    case 3:
      return session.show(limited(showMap));
    case 4:
      return session.show(limited(showReferences));
    case 5:
      return session.show(limited(showResolvers));
    case 6:
      return session.show(limited(showTracked));
    case 7:
      return session.show(limited(showContext));
    case 8:
      return session.show(plain(showEntities));
    default:
      return session.show(plain([&] { return showTasks(world); }));
  }
}

void expect(Session& session, Arguments& arguments) {
  const std::string_view line = withoutComment(arguments.rest());
  if (trimmed(line).empty()) {
    throw InputError("missing word: LINE");
  }
  session.expect(line);
}

void expectNone(Session& session, Arguments& arguments) {
  arguments.end();
  session.expectNone();
}

constexpr std::array commands{
    Command{"echo", echo},
    Command{"trace", trace},
    Command{"watch", watch},
    Command{"show", show},
    Command{"expect", expect},
    Command{"expect-none", expectNone},
};

}  // namespace

std::span<const Command> outputCommands() noexcept { return commands; }

}  // namespace Routing::Replay
