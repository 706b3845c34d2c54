#include <fmt/format.h>

#include <cstdio>

#include "host/ctl/Commands.h"
#include "host/ctl/Table.h"
#include "host/ctl/Words.h"

namespace Routing::Host {

namespace {

void printLine(const std::string& text) { fmt::print("{}\n", text); }

CtlExit exitOf(bool resolved) { return resolved ? CtlExit::good : CtlExit::unresolved; }

void resolutionTo(Table& table, const Proto::Resolution& resolution) {
  const Proto::NexthopStatus& status = resolution.status();
  const bool hasRoute = !status.prefix().empty();
  table.add({addressWord(status.address()),
             stateWord(status.state()),
             reasonWord(status.reason()),
             prefixWord(status.prefix(), status.prefix_length()),
             hasRoute ? typeWord(status.route_type()) : "",
             hasRoute ? fmt::format("{}", status.metric()) : "",
             numberWord(status.identifier()),
             resolution.vias().empty() ? "" : viaWord(resolution.vias(0))});
  for (int index = 1; index < resolution.vias_size(); ++index) {
    table.addMore({"", "", "", "", "", "", "", viaWord(resolution.vias(index))});
  }
}

// "resolved by 10.0.0.0/8", "failed: no-route", "failed: blackhole, 10.0.0.0/8 is refused".
std::string outcome(const Proto::NexthopStatus& status) {
  const std::string prefix = prefixWord(status.prefix(), status.prefix_length());
  if (status.state() == Proto::NEXTHOP_STATE_RESOLVED) {
    return "resolved by " + prefix;
  }
  const std::string refused = prefix.empty() ? "" : ", " + prefix + " is refused";
  return stateWord(status.state()) + ": " + reasonWord(status.reason()) + refused;
}

std::string verdictOf(const Proto::Candidate& candidate) {
  switch (candidate.verdict()) {
    case Proto::VERDICT_WON:
      return "won: the longest";
    case Proto::VERDICT_REFUSED:
      return "refused: " + reasonWord(candidate.reason());
    case Proto::VERDICT_SHORTER:
      return "lost: there is a longer one";
    case Proto::VERDICT_ROUTING_OFF:
      return "ignored: routing is off";
    default:
      return verdictWord(candidate.verdict());
  }
}

void candidateTo(Table& table, const Proto::Candidate& candidate) {
  const auto& routes = candidate.kernel_routes();
  table.add({"  " + prefixWord(candidate.prefix(), candidate.prefix_length()),
             verdictOf(candidate),
             typeWord(candidate.route_type()),
             fmt::format("{}", candidate.metric()),
             fmt::format("{}", candidate.preference()),
             numberWord(candidate.fec_id()),
             routes.empty() ? "" : routes[0]});
  for (int index = 1; index < routes.size(); ++index) {
    table.addMore({"", "", "", "", "", "", routes[index]});
  }
}

void printHistory(const Proto::ClientHistory& history) {
  const std::string policy = policyWord(history.policy());
  printLine("client " + history.client() + ", " + kindWord(history.kind()) + " identifiers" +
            (policy.empty() ? "" : ", " + policy) + ", now " + stateWord(history.status().state()));
  if (history.events().empty()) {
    printLine("  nothing has happened yet");
    return;
  }
  Table table({"  TIME", "STATE", "REASON", "PREFIX", "IDENTIFIER", "EPOCH"});
  for (const Proto::HistoryEvent& event : history.events()) {
    table.add({"  " + timeWord(event.at()),
               stateWord(event.state()),
               reasonWord(event.reason()),
               prefixWord(event.prefix(), event.prefix_length()),
               numberWord(event.identifier()),
               fmt::format("{}", event.epoch())});
  }
  table.print();
}

void printExplanation(const std::string& address, const Proto::ExplainResponse& response) {
  printLine(address + " " + outcome(response.status()));
  for (const Proto::Via& via : response.vias()) {
    printLine("  via " + viaWord(via));
  }
  // What covers an address that nothing is known of is not known either.
  if (response.candidates().empty()) {
    if (response.status().state() != Proto::NEXTHOP_STATE_UNKNOWN) {
      printLine("no prefix covers it");
    }
  } else {
    printLine("prefixes that cover it, the longest first");
    Table table({"  PREFIX", "VERDICT", "TYPE", "METRIC", "PREFERENCE", "FEC", "KERNEL ROUTES"});
    for (const Proto::Candidate& candidate : response.candidates()) {
      candidateTo(table, candidate);
    }
    table.print();
  }
  for (const Proto::ClientHistory& history : response.histories()) {
    printHistory(history);
  }
}

JsonObject historyJson(const Proto::ClientHistory& history) {
  std::vector<JsonObject> events;
  for (const Proto::HistoryEvent& event : history.events()) {
    events.emplace_back()
        .text("at", timeWord(event.at()))
        .text("state", stateWord(event.state()))
        .textOrNull("reason", reasonWord(event.reason()))
        .textOrNull("prefix", prefixWord(event.prefix(), event.prefix_length()))
        .numberOrNull("identifier", event.identifier())
        .number("epoch", event.epoch());
  }
  JsonObject status;
  statusTo(status, history.status());
  return JsonObject()
      .text("client", history.client())
      .text("kind", kindWord(history.kind()))
      .object("policy", policyJson(history.policy()))
      .object("status", status)
      .array("events", events);
}

JsonObject explanationJson(const Proto::ExplainResponse& response) {
  std::vector<JsonObject> candidates;
  for (const Proto::Candidate& candidate : response.candidates()) {
    candidates.emplace_back()
        .text("prefix", prefixWord(candidate.prefix(), candidate.prefix_length()))
        .text("verdict", verdictWord(candidate.verdict()))
        .textOrNull("reason", reasonWord(candidate.reason()))
        .number("fecId", candidate.fec_id())
        .number("metric", candidate.metric())
        .number("preference", candidate.preference())
        .text("routeType", typeWord(candidate.route_type()))
        .array("kernelRoutes",
               std::vector<std::string>(candidate.kernel_routes().begin(),
                                        candidate.kernel_routes().end()));
  }
  std::vector<JsonObject> histories;
  for (const Proto::ClientHistory& history : response.histories()) {
    histories.push_back(historyJson(history));
  }
  JsonObject object;
  return statusTo(object, response.status())
      .array("vias", viasOf(response.vias()))
      .array("candidates", candidates)
      .array("histories", histories);
}

}  // namespace

CtlExit resolve(Connection& connection, const CtlOptions& options) {
  Proto::ResolveRequest request;
  request.set_vrf(options.vrf);
  *request.mutable_policy() = policyOf(options);
  for (const std::string& address : options.addresses) {
    request.add_addresses(addressBytes(address));
  }
  const auto response =
      connection.call<Proto::ResolveResponse>(&Connection::Stub::Resolve, request);
  bool resolved = true;
  Table table({"ADDRESS", "STATE", "REASON", "PREFIX", "TYPE", "METRIC", "FEC", "VIA"});
  for (const Proto::Resolution& resolution : response.resolutions()) {
    resolved = resolved && resolution.status().state() == Proto::NEXTHOP_STATE_RESOLVED;
    if (options.json) {
      JsonObject object;
      statusTo(object, resolution.status()).array("vias", viasOf(resolution.vias())).print();
    } else {
      resolutionTo(table, resolution);
    }
  }
  if (!options.json) {
    table.print();
  }
  return exitOf(resolved);
}

CtlExit explain(Connection& connection, const CtlOptions& options) {
  Proto::ExplainRequest request;
  request.set_vrf(options.vrf);
  request.set_client(options.client);
  request.set_address(addressBytes(options.addresses.front()));
  if (options.hasPolicy) {
    *request.mutable_policy() = policyOf(options);
  }
  const auto response =
      connection.call<Proto::ExplainResponse>(&Connection::Stub::Explain, request);
  if (options.json) {
    explanationJson(response).print();
  } else {
    printExplanation(addressWord(request.address()), response);
  }
  return exitOf(response.status().state() == Proto::NEXTHOP_STATE_RESOLVED);
}

CtlExit history(Connection& connection, const CtlOptions& options) {
  Proto::HistoryRequest request;
  request.set_vrf(options.vrf);
  request.set_client(options.client);
  request.set_address(addressBytes(options.addresses.front()));
  const auto response =
      connection.call<Proto::HistoryResponse>(&Connection::Stub::History, request);
  for (const Proto::ClientHistory& history : response.histories()) {
    if (options.json) {
      historyJson(history).print();
    } else {
      printHistory(history);
    }
  }
  if (!options.json && response.histories().empty()) {
    printLine("nobody has registered " + addressWord(request.address()));
  }
  return CtlExit::good;
}

}  // namespace Routing::Host
