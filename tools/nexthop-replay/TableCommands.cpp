#include <array>
#include <optional>
#include <string>
#include <utility>

#include "tools/nexthop-replay/Arguments.h"
#include "tools/nexthop-replay/Commands.h"
#include "tools/nexthop-replay/InputError.h"
#include "tools/nexthop-replay/Session.h"
#include "tools/support/PrefixFile.h"

namespace Routing::Replay {

namespace {

void route(Session& session, Arguments& arguments) {
  const VrfName vrf = arguments.name("VRF");
  const IpGenPrefix prefix = arguments.prefix();
  const Fib::Route value = arguments.route();
  arguments.end();
  World::routeIs(session.world().vrf(vrf), prefix, value);
}

void table(Session& session, Arguments& arguments) {
  const VrfName vrf = arguments.name("VRF");
  const IpGenPrefix prefix = arguments.prefix();
  const Fib::Route value = arguments.route();
  arguments.end();
  World::tableRouteIs(session.world().vrf(vrf), prefix, value);
}

struct VrfPrefix {
  Vrf& vrf;
  IpGenPrefix prefix;
};

// "VRF PREFIX" and nothing else.
VrfPrefix vrfPrefix(Session& session, Arguments& arguments) {
  const VrfName vrf = arguments.name("VRF");
  const IpGenPrefix prefix = arguments.prefix();
  arguments.end();
  return {session.world().vrf(vrf), prefix};
}

void routeDel(Session& session, Arguments& arguments) {
  const VrfPrefix target = vrfPrefix(session, arguments);
  World::routeDel(target.vrf, target.prefix);
}

void tableDel(Session& session, Arguments& arguments) {
  const VrfPrefix target = vrfPrefix(session, arguments);
  World::tableRouteDel(target.vrf, target.prefix);
}

void trie(Session& session, Arguments& arguments) {
  const VrfPrefix target = vrfPrefix(session, arguments);
  target.vrf.trie(target.prefix.family())->routeIs(target.prefix, true);
}

void trieDel(Session& session, Arguments& arguments) {
  const VrfPrefix target = vrfPrefix(session, arguments);
  target.vrf.trie(target.prefix.family())->routeDel(target.prefix);
}

std::vector<IpGenPrefix> readPrefixes(const Session& session, const String& file) {
  const bool absolute = file.starts_with('/');
  // A file called "-" is a file.
  const String folder = session.folder().empty() ? "./" : session.folder();
  try {
    return readTable(absolute ? file : folder + file);
  } catch (const PrefixFileError& error) {
    const String line = error.line() == 0 ? String() : ':' + std::to_string(error.line());
    throw InputError(error.path() + line + ": " + error.reason());
  }
}

// The FEC that a route of a bulk load needs where there is none.
FibGen::Fec plainFec(FecId fecId) {
  constexpr std::uint32_t documentationHop = 0xc0000201;  // 192.0.2.1
  FibGen::Via via;
  via.intfId.value = 1;
  via.hop = IpGenAddr::ipv4(documentationHop);
  FibGen::Fec fec(fecId);
  fec.viaIs(via);
  return fec;
}

void routes(Session& session, Arguments& arguments) {
  constexpr FecId firstFec = 4;
  constexpr std::uint64_t metrics = 1000;
  constexpr std::uint8_t preference = 200;
  constexpr std::uint8_t type = 1;
  const VrfName name = arguments.name("VRF");
  const String file = arguments.name("FILE");
  arguments.keyword("fecs");
  const std::uint64_t fecs = arguments.number("fecs");
  arguments.end();
  if (fecs == 0) {
    throw InputError("fecs is at least 1: \"0\"");
  }
  const std::vector<IpGenPrefix> prefixes = readPrefixes(session, file);
  Vrf& vrf = session.world().vrf(name);
  FibGen::MemoryForwardingStatus& fecTable = *session.world().fecs();
  for (std::uint64_t index = 0; index < prefixes.size(); ++index) {
    const FecId fecId = firstFec + index % fecs;
    if (!fecTable.fecHas(fecId)) {
      fecTable.fecIs(plainFec(fecId));
    }
    const auto metric = static_cast<std::uint32_t>(index % metrics);
    World::routeIs(vrf, prefixes[index], Fib::Route(fecId, metric, preference, type));
  }
}

void announce(Session& session, Arguments& arguments) {
  const VrfName vrf = arguments.name("VRF");
  const AddressFamily family = arguments.family();
  const IpGenPrefix prefix = arguments.atEnd() ? IpGenPrefix() : arguments.prefix();
  arguments.end();
  session.world().vrf(vrf).trie(family)->changedPrefixIs(prefix);
}

void fec(Session& session, Arguments& arguments) {
  FibGen::Fec fec(arguments.number("ID"));
  if (arguments.take("boundary")) {
    fec.viaIndexBoundaryIs(arguments.numberAs<std::uint32_t>("boundary"));
  }
  for (const FibGen::Via& via : arguments.vias()) {
    fec.viaIs(via);
  }
  session.world().fecs()->fecIs(std::move(fec));
}

void fecDel(Session& session, Arguments& arguments) {
  const FecId fecId = arguments.number("ID");
  arguments.end();
  session.world().fecs()->fecDel(fecId);
}

void announceFec(Session& session, Arguments& arguments) {
  const FecId fecId = arguments.number("ID");
  arguments.end();
  if (!session.world().fecs()->fecHas(fecId)) {
    throw InputError("no FEC " + std::to_string(fecId));
  }
  session.world().fecs()->fecAnnounce(fecId);
}

void corrupt(Session& session, Arguments& arguments) {
  if (arguments.choice("route|fec", {"route", "fec"}) == 0) {
    const VrfPrefix target = vrfPrefix(session, arguments);
    World::corruptRoute(target.vrf, target.prefix);
    return;
  }
  const FecId fecId = arguments.number("ID");
  arguments.end();
  session.world().fecs()->corruptIs(fecId);
}

constexpr std::array commands{
    Command{"route", route},
    Command{"route-del", routeDel},
    Command{"routes", routes},
    Command{"table", table},
    Command{"table-del", tableDel},
    Command{"trie", trie},
    Command{"trie-del", trieDel},
    Command{"announce", announce},
    Command{"fec", fec},
    Command{"fec-del", fecDel},
    Command{"corrupt", corrupt},
    Command{"announce-fec", announceFec},
};

}  // namespace

std::span<const Command> tableCommands() noexcept { return commands; }

}  // namespace Routing::Replay
