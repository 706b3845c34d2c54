#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <vector>

#include "host/ctl/Commands.h"
#include "host/ctl/Table.h"
#include "host/ctl/Words.h"

namespace Routing::Host {

namespace {

void clientTo(Table& table, const Proto::Client& client) {
  const std::string state =
      client.live() ? "live" : fmt::format("{:.0f}s left", client.grace_left());
  const auto vrfs = [&client](int index) -> Table::Row {
    if (index >= client.vrfs_size()) {
      return {"", "", ""};
    }
    const Proto::ClientVrf& vrf = client.vrfs(index);
    return {vrf.vrf(), kindWord(vrf.kind()), fmt::format("{}", vrf.registrations())};
  };
  const Table::Row first = vrfs(0);
  table.add({client.name(),
             client.user(),
             state,
             fmt::format("{}", client.backlog()),
             first[0],
             first[1],
             first[2]});
  for (int index = 1; index < client.vrfs_size(); ++index) {
    const Table::Row more = vrfs(index);
    table.addMore({"", "", "", "", more[0], more[1], more[2]});
  }
}

JsonObject clientJson(const Proto::Client& client) {
  std::vector<JsonObject> vrfs;
  for (const Proto::ClientVrf& vrf : client.vrfs()) {
    vrfs.emplace_back()
        .text("vrf", vrf.vrf())
        .text("kind", kindWord(vrf.kind()))
        .number("registrations", vrf.registrations());
  }
  JsonObject object;
  object.text("client", client.name()).text("user", client.user()).boolean("live", client.live());
  if (client.live()) {
    object.null("graceLeft");
  } else {
    object.decimal("graceLeft", client.grace_left());
  }
  return object.number("backlog", client.backlog()).array("vrfs", vrfs);
}

std::string onOff(bool on) { return on ? "on" : "off"; }

Table::Row vrfRow(const Proto::Vrf& vrf) {
  return {vrf.name(),
          fmt::format("{}", vrf.table()),
          vrf.serving() ? "yes" : "no",
          onOff(vrf.routing4()),
          onOff(vrf.routing6()),
          fmt::format("{}", vrf.routes4()),
          fmt::format("{}", vrf.routes6()),
          fmt::format("{}", vrf.fecs()),
          fmt::format("{}", vrf.identifiers()),
          fmt::format("{}", vrf.registrations())};
}

JsonObject vrfJson(const Proto::Vrf& vrf) {
  return JsonObject()
      .text("vrf", vrf.name())
      .number("table", vrf.table())
      .boolean("serving", vrf.serving())
      .boolean("routing4", vrf.routing4())
      .boolean("routing6", vrf.routing6())
      .number("routes4", vrf.routes4())
      .number("routes6", vrf.routes6())
      .number("fecs", vrf.fecs())
      .number("identifiers", vrf.identifiers())
      .number("registrations", vrf.registrations());
}

}  // namespace

CtlExit showForwarding(Connection& connection, const CtlOptions& options) {
  Proto::WatchForwardingRequest request;
  request.set_vrf(options.vrf);
  request.set_snapshot_only(true);
  grpc::ClientContext context;
  context.set_deadline(connection.deadline());
  const auto reader = connection.stub().WatchForwarding(&context, request);
  Table table({"IDENTIFIER", "VIA"});
  Proto::WatchForwardingResponse message;
  while (reader->Read(&message)) {
    for (const Proto::Forwarding& entry : message.entries()) {
      if (options.json) {
        JsonObject()
            .number("identifier", entry.identifier())
            .array("vias", viasOf(entry.vias()))
            .print();
        continue;
      }
      table.add({fmt::format("{}", entry.identifier()),
                 entry.vias().empty() ? "" : viaWord(entry.vias(0))});
      for (int index = 1; index < entry.vias_size(); ++index) {
        table.addMore({"", viaWord(entry.vias(index))});
      }
    }
  }
  connection.check(reader->Finish());
  if (!options.json) {
    table.print();
  }
  return CtlExit::good;
}

CtlExit showVrfs(Connection& connection, const CtlOptions& options) {
  const auto response = connection.call<Proto::ListVrfsResponse>(&Connection::Stub::ListVrfs,
                                                                 Proto::ListVrfsRequest());
  Table table({"VRF",
               "TABLE",
               "SERVING",
               "IPV4",
               "IPV6",
               "ROUTES4",
               "ROUTES6",
               "FECS",
               "IDENTIFIERS",
               "REGISTRATIONS"});
  for (const Proto::Vrf& vrf : response.vrfs()) {
    if (options.json) {
      vrfJson(vrf).print();
    } else {
      table.add(vrfRow(vrf));
    }
  }
  if (!options.json) {
    table.print();
  }
  return CtlExit::good;
}

CtlExit showClients(Connection& connection, const CtlOptions& options) {
  const auto response = connection.call<Proto::ListClientsResponse>(&Connection::Stub::ListClients,
                                                                    Proto::ListClientsRequest());
  Table table({"CLIENT", "USER", "STREAM", "BACKLOG", "VRF", "KIND", "REGISTRATIONS"});
  for (const Proto::Client& client : response.clients()) {
    if (options.json) {
      clientJson(client).print();
    } else {
      clientTo(table, client);
    }
  }
  if (!options.json) {
    table.print();
  }
  return CtlExit::good;
}

CtlExit showSync(Connection& connection, const CtlOptions& options) {
  const auto response =
      connection.call<Proto::GetInfoResponse>(&Connection::Stub::GetInfo, Proto::GetInfoRequest());
  // The message's map has no order of its own.
  const std::map<std::string, std::uint64_t> counters(response.counters().begin(),
                                                      response.counters().end());
  if (options.json) {
    JsonObject figures;
    for (const auto& [name, value] : counters) {
      figures.number(name, value);
    }
    JsonObject()
        .text("version", response.version())
        .number("run", response.run())
        .textOrNull("startedAt", timeWord(response.started_at()))
        .boolean("synced", response.synced())
        .object("counters", figures)
        .print();
    return CtlExit::good;
  }
  fmt::print("nexthopd {}, run {}{}\n",
             response.version(),
             response.run(),
             response.started_at() == 0 ? "" : ", since " + timeWord(response.started_at()));
  fmt::print("{}\n",
             response.synced() ? "synced: the tables are the kernel's"
                               : "not synced: the kernel's tables are being read");
  Table table({"  COUNTER", "VALUE"});
  for (const auto& [name, value] : counters) {
    table.add({"  " + name, fmt::format("{}", value)});
  }
  table.print();
  return CtlExit::good;
}

}  // namespace Routing::Host
