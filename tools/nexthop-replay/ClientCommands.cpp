#include <array>
#include <string>

#include "platform/trace/TraceLevels.h"
#include "tools/nexthop-replay/Arguments.h"
#include "tools/nexthop-replay/Commands.h"
#include "tools/nexthop-replay/InputError.h"
#include "tools/nexthop-replay/Session.h"

namespace Routing::Replay {

namespace {

void vrf(Session& session, Arguments& arguments) {
  const VrfName name = arguments.name("VRF");
  arguments.end();
  session.world().vrf(name);
  session.world().routingIs(name, AddressFamily::ipv4, true);
  session.world().routingIs(name, AddressFamily::ipv6, true);
}

void routing(Session& session, Arguments& arguments) {
  const VrfName name = arguments.name("VRF");
  const AddressFamily family = arguments.family();
  const std::size_t state = arguments.choice("on|off|absent", {"on", "off", "absent"});
  arguments.end();
  World& world = session.world();
  world.vrf(name);
  if (state == 2) {
    world.dir(family == AddressFamily::ipv4 ? Directory::routing4 : Directory::routing6)
        ->entityDel(name);
  } else {
    world.routingIs(name, family, state == 0);
  }
}

void config(Session& session, Arguments& arguments) {
  const String client = arguments.name("CLIENT");
  arguments.end();
  session.world().config(client);
}

void configDel(Session& session, Arguments& arguments) {
  const String client = arguments.name("CLIENT");
  arguments.end();
  session.world().dir(Directory::config)->entityDel(client);
}

void configVrf(Session& session, Arguments& arguments) {
  const String client = arguments.name("CLIENT");
  const VrfName name = arguments.name("VRF");
  const NexthopStatusFecIdType kind = arguments.kind();
  arguments.end();
  session.world().vrfConfigIs(client, name, kind);
}

void configVrfDel(Session& session, Arguments& arguments) {
  const String client = arguments.name("CLIENT");
  const VrfName name = arguments.name("VRF");
  arguments.end();
  session.world().vrf(name);
  if (const auto config =
          ptrCast<NexthopConfig>(session.world().entry(Directory::config, client))) {
    config->vrfDel(name);
  }
}

struct Nexthop {
  Ptr<NexthopVrfConfig> config;
  IpGenAddr addr;
};

// "CLIENT VRF ADDR" and nothing else. Throws: InputError when the client does not configure the
// VRF.
Nexthop configuredNexthop(Session& session, Arguments& arguments) {
  const String client = arguments.name("CLIENT");
  const VrfName name = arguments.name("VRF");
  const IpGenAddr addr = arguments.addressOrNone();
  arguments.end();
  const Ptr<NexthopVrfConfig> vrfConfig = session.world().presentVrfConfig(client, name);
  if (!vrfConfig) {
    throw InputError("no config-vrf of client " + quoted(client) + " for VRF " + quoted(name));
  }
  return {vrfConfig, addr};
}

void nexthop(Session& session, Arguments& arguments) {
  const Nexthop target = configuredNexthop(session, arguments);
  target.config->nexthopIs({target.addr});
}

void nexthopDel(Session& session, Arguments& arguments) {
  const Nexthop target = configuredNexthop(session, arguments);
  target.config->nexthopDel(target.addr);
}

struct StatusPlace {
  String client;
  Directory directory;
};

// "CLIENT [cell]" and nothing else.
StatusPlace statusPlace(Arguments& arguments) {
  StatusPlace place{arguments.name("CLIENT"), Directory::status};
  if (arguments.take("cell")) {
    place.directory = Directory::cell;
  }
  arguments.end();
  return place;
}

void status(Session& session, Arguments& arguments) {
  const StatusPlace place = statusPlace(arguments);
  session.world().status(place.client, place.directory);
}

void statusDel(Session& session, Arguments& arguments) {
  const StatusPlace place = statusPlace(arguments);
  session.world().dir(place.directory)->entityDel(place.client);
}

void client(Session& session, Arguments& arguments) {
  const String client = arguments.name("CLIENT");
  const VrfName name = arguments.name("VRF");
  const NexthopStatusFecIdType kind = arguments.kind();
  arguments.end();
  session.world().vrfConfigIs(client, name, kind);
  if (!session.world().presentStatus(client)) {
    session.world().status(client, Directory::status);
  }
}

struct ClientEntry {
  Directory directory;
  String client;
};

// "config|status|cell CLIENT" and nothing else. Throws: InputError when there is no such entry.
ClientEntry presentEntry(Session& session, Arguments& arguments) {
  const auto directory =
      static_cast<Directory>(arguments.choice("config|status|cell", {"config", "status", "cell"}));
  const String client = arguments.name("CLIENT");
  arguments.end();
  if (!session.world().entry(directory, client)) {
    throw InputError("no such entry: " + quoted(client));
  }
  return {directory, client};
}

void renotify(Session& session, Arguments& arguments) {
  const ClientEntry entry = presentEntry(session, arguments);
  session.world().dir(entry.directory)->entityAnnounce(entry.client);
}

void replace(Session& session, Arguments& arguments) {
  const ClientEntry entry = presentEntry(session, arguments);
  session.world().replaceEntry(entry.directory, entry.client);
}

void foreign(Session& session, Arguments& arguments) {
  const auto directory = static_cast<Directory>(
      arguments.choice("config|status|cell|routing4|routing6",
                       {"config", "status", "cell", "routing4", "routing6"}));
  const String name = arguments.name("NAME");
  arguments.end();
  session.world().foreignEntryIs(directory, name);
}

void context(Session& session, Arguments& arguments) {
  const VrfName name = arguments.name("VRF");
  const std::uint64_t value = arguments.number("N");
  arguments.end();
  session.world().vrf(name).context->firstUnAllocatedNexthopResolverIdIs(value);
}

void published(Session& session, Arguments& arguments) {
  const VrfName name = arguments.name("VRF");
  NexthopResolverIdVia record(ResolverId(arguments.number("RESOLVERID")));
  for (const FibGen::Via& fibVia : arguments.vias()) {
    NexthopResolverVia via(fibVia.intfId, fibVia.hop);
    via.weightIs(fibVia.weight);
    via.mplsLabelAndActionIs(fibVia.labelAndAction);
    record.nexthopResolverViaIs(via);
  }
  session.world().vrf(name);
  session.world().forwardingStatus()->vrfIs(name)->nexthopResolverIdViaIs(record);
}

void statusEntry(Session& session, Arguments& arguments) {
  const String client = arguments.name("CLIENT");
  const VrfName name = arguments.name("VRF");
  const NexthopStatusFecIdType kind = arguments.kind();
  NexthopStatusEntry entry;
  entry.addr = arguments.address();
  arguments.keyword("fec");
  entry.fecId = arguments.number("ID");
  arguments.keyword("prefix");
  entry.prefix = arguments.prefix();
  entry.resolutionState = NexthopResolutionState::resolved;
  arguments.end();
  session.world().statusEntryIs(client, name, kind, entry);
}

constexpr std::array commands{
    Command{"vrf", vrf},
    Command{"routing", routing},
    Command{"config", config},
    Command{"config-del", configDel},
    Command{"config-vrf", configVrf},
    Command{"config-vrf-del", configVrfDel},
    Command{"nexthop", nexthop},
    Command{"nexthop-del", nexthopDel},
    Command{"status", status},
    Command{"status-del", statusDel},
    Command{"client", client},
    Command{"renotify", renotify},
    Command{"replace", replace},
    Command{"foreign", foreign},
    Command{"context", context},
    Command{"published", published},
    Command{"status-entry", statusEntry},
};

}  // namespace

std::span<const Command> clientCommands() noexcept { return commands; }

}  // namespace Routing::Replay
