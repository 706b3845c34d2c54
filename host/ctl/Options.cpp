#include "host/ctl/Options.h"

#include <CLI/CLI.hpp>
#include <array>

#include "host/ctl/CommandLine.h"
#include "host/loop/RuntimeDirectory.h"
#include "platform/net/IpGenAddr.h"

namespace Routing::Host {

namespace {

std::string addressFault(const std::string& text) {
  return IpGenAddr::parse(text) ? "" : "'" + text + "' is no address";
}

CLI::App& subcommand(CLI::App& app,
                     CtlOptions& options,
                     const char* name,
                     const char* what,
                     CtlCommand command) {
  CLI::App* added = app.add_subcommand(name, what);
  added->final_callback([&options, command] { options.command = command; });
  return *added;
}

void addVrf(CLI::App& app, CtlOptions& options) {
  app.add_option("--vrf", options.vrf, "the VRF (\"default\" unless given)")->type_name("VRF");
}

void addVrfFilter(CLI::App& app, CtlOptions& options) {
  app.add_option("--vrf", options.vrf, "only this VRF")->type_name("VRF");
}

void addClientFilter(CLI::App& app, CtlOptions& options) {
  app.add_option("--client", options.client, "only this client")->type_name("CLIENT");
}

void addAddresses(CLI::App& app, CtlOptions& options) {
  app.add_option("ADDR", options.addresses, "IPv4 and IPv6 addresses")
      ->required()
      ->check(CLI::Validator(addressFault, "", ""));
}

void addAddress(CLI::App& app, CtlOptions& options) {
  app.add_option("ADDR", options.addresses, "an IPv4 or IPv6 address")
      ->required()
      ->expected(1)
      ->check(CLI::Validator(addressFault, "", ""));
}

void addPolicy(CLI::App& app, CtlOptions& options) {
  constexpr unsigned longestPrefix = 128;
  const auto given = [&options](CLI::Option* option) {
    option->group("Refuse routes")->each([&options](const std::string&) {
      options.hasPolicy = true;
    });
  };
  given(app.add_flag("--no-default-route",
                     options.refuseDefaultRoute,
                     "a default route does not count"));
  given(app.add_option("--min-length",
                       options.minimumPrefixLength,
                       "a route with a shorter prefix does not count")
            ->type_name("N")
            ->check(CLI::Range(0U, longestPrefix)));
  given(app.add_flag("--connected",
                     options.connectedOnly,
                     "only a route to a link or to this machine counts"));
  given(app.add_flag("--no-blackhole",
                     options.refuseBlackhole,
                     "a route that drops packets does not count"));
}

void addConnection(CLI::App& app, CtlOptions& options) {
  app.add_option("--socket", options.socketPath, "where nexthopd listens")
      ->type_name("PATH")
      ->capture_default_str();
  CLI::Option* tls =
      app.add_option("--tls", options.tlsAddress, "over TCP instead")->type_name("HOST:PORT");
  const std::array files{
      app.add_option("--tls-cert", options.tlsCertificate, "this side's certificate"),
      app.add_option("--tls-key", options.tlsKey, "its key"),
      app.add_option("--tls-ca", options.tlsAuthority, "who signed the daemon's")};
  for (CLI::Option* file : files) {
    file->needs(tls)->check(CLI::ExistingFile)->type_name("PEM");
    tls->needs(file);
  }
  app.add_option("--timeout", options.timeoutSeconds, "how long an answer may take")
      ->type_name("SECONDS")
      ->capture_default_str()
      ->check(CLI::Range(0.001, 86400.0));
  app.add_flag("--json", options.json, "print one JSON object a line");
}

void addLookups(CLI::App& app, CtlOptions& options) {
  CLI::App& resolve =
      subcommand(app, options, "resolve", "How addresses are reached now", CtlCommand::resolve);
  addAddresses(resolve, options);
  addVrf(resolve, options);
  addPolicy(resolve, options);

  CLI::App& explain = subcommand(app,
                                 options,
                                 "explain",
                                 "Why an address resolves as it does",
                                 CtlCommand::explain);
  addAddress(explain, options);
  addVrf(explain, options);
  explain.add_option("--client", options.client, "judge by the policy of its registration")
      ->type_name("CLIENT");
  addPolicy(explain, options);

  CLI::App& history = subcommand(app,
                                 options,
                                 "history",
                                 "The last changes of a registered address",
                                 CtlCommand::history);
  addAddress(history, options);
  addVrf(history, options);
  addClientFilter(history, options);
}

void addShows(CLI::App& app, CtlOptions& options) {
  CLI::App& show = *app.add_subcommand("show", "What the daemon holds");
  show.require_subcommand(1);
  CLI::App& nexthops = subcommand(show,
                                  options,
                                  "nexthops",
                                  "Registered nexthops and their status",
                                  CtlCommand::showNexthops);
  addClientFilter(nexthops, options);
  addVrfFilter(nexthops, options);
  CLI::App& forwarding = subcommand(show,
                                    options,
                                    "forwarding",
                                    "Resolver identifiers and their vias",
                                    CtlCommand::showForwarding);
  addVrf(forwarding, options);
  subcommand(show, options, "vrfs", "VRFs and the sizes of their tables", CtlCommand::showVrfs);
  subcommand(show, options, "clients", "Clients and their registrations", CtlCommand::showClients);
  subcommand(show,
             options,
             "sync",
             "The daemon, and how it follows the kernel",
             CtlCommand::showSync);
}

void addStreams(CLI::App& app, CtlOptions& options) {
  CLI::App& watch = subcommand(app,
                               options,
                               "watch",
                               "Status of nexthops, and then every change",
                               CtlCommand::watch);
  watch.add_option("CLIENT", options.client, "whose nexthops; all clients' unless given");
  addVrfFilter(watch, options);
  watch.add_flag("--every-write", options.everyWrite, "also writes that change nothing");

  CLI::App& registers = subcommand(app,
                                   options,
                                   "register",
                                   "Register addresses as a client and watch them",
                                   CtlCommand::registerNexthops);
  registers.add_option("CLIENT", options.client, "the client's name")->required();
  addAddresses(registers, options);
  addVrf(registers, options);
  registers.add_flag("--resolver",
                     options.resolverIdentifiers,
                     "resolver identifiers instead of the table's own");
  registers.add_flag("--once", options.once, "end when each address has its status");
  addPolicy(registers, options);

  CLI::App& trace =
      subcommand(app, options, "trace", "Trace lines as they are written", CtlCommand::trace);
  trace.add_option("--levels", options.levels, "as 8, 1-4 or 1,2,7-9; all unless given")
      ->type_name("LEVELS");
  trace.add_option("--facility", options.facilities, "may be repeated; all unless given")
      ->type_name("NAME");
}

}  // namespace

std::unique_ptr<CLI::App> commandLine(CtlOptions& options) {
  auto app = std::make_unique<CLI::App>("Asks a running nexthopd about nexthops.", "nexthopctl");
  app->set_version_flag("--version", "nexthopctl " NEXTHOP_VERSION);
  app->require_subcommand(1);
  // Options of all commands may stand behind the command too.
  app->fallthrough();
  options.socketPath = defaultSocketPath();
  addConnection(*app, options);
  addLookups(*app, options);
  addStreams(*app, options);
  addShows(*app, options);
  CLI::App& graph = subcommand(*app,
                               options,
                               "graph",
                               "Client, nexthop, prefix, FEC and via, for Graphviz",
                               CtlCommand::graph);
  addClientFilter(graph, options);
  addVrfFilter(graph, options);
  graph.add_option("--limit", options.limit, "at most so many nexthops")->type_name("N");
  CLI::App& completion = subcommand(*app,
                                    options,
                                    "completion",
                                    "The script that completes command lines",
                                    CtlCommand::completion);
  completion.require_subcommand(1);
  completion.add_subcommand("bash", "For bash");
  return app;
}

CtlOptions ctlOptions(int argc, const char* const* argv) {
  CtlOptions options;
  const std::unique_ptr<CLI::App> app = commandLine(options);
  try {
    app->parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    throw CtlUsage{app->exit(error) == 0 ? CtlExit::good : CtlExit::usage};
  }
  return options;
}

}  // namespace Routing::Host
