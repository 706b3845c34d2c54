#include "host/daemon/Options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <map>

#include "host/kernel/VrfRoutes.h"
#include "host/loop/RuntimeDirectory.h"

namespace Routing::Host {

namespace {

constexpr int usageError = 2;

// "red=10".
std::pair<VrfName, std::uint32_t> vrfOf(const std::string& text) {
  const std::size_t equals = text.find('=');
  std::uint32_t table = 0;
  if (equals != std::string::npos && equals != 0 && equals <= 200) {
    const char* const first = text.data() + equals + 1;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(first, end, table);
    if (error == std::errc{} && stopped == end && table == VrfRoutes::localTable) {
      throw CLI::ValidationError("--vrf",
                                 "'" + text + "': table 255 is part of the VRF of table 254");
    }
    if (error == std::errc{} && stopped == end && table != 0) {
      return {text.substr(0, equals), table};
    }
  }
  throw CLI::ValidationError("--vrf", "'" + text + "' is no NAME=TABLE");
}

void describe(CLI::App& app, DaemonOptions& options, std::vector<std::string>& vrfs) {
  app.add_option("--vrf", vrfs, "a VRF and its kernel routing table; may be repeated")
      ->type_name("NAME=TABLE [default=254]");
  app.add_option("--receive-buffer", options.receiveBuffer, "what the kernel may have waiting")
      ->type_name("BYTES")
      ->capture_default_str();

  app.add_option("--socket", options.socketPath, "where clients connect")
      ->type_name("PATH")
      ->capture_default_str();
  app.add_option("--socket-group", options.socketGroup, "who may connect beside this user")
      ->type_name("GROUP");
  auto* tls =
      app.add_option("--tls", options.tlsAddress, "serve TCP here as well")->type_name("HOST:PORT");
  for (auto* file :
       {app.add_option("--tls-cert", options.tlsCertificate, "this side's certificate"),
        app.add_option("--tls-key", options.tlsKey, "its key"),
        app.add_option("--tls-ca", options.tlsAuthority, "who signs the clients'")}) {
    file->needs(tls)->check(CLI::ExistingFile)->type_name("PEM");
    tls->needs(file);
  }
  app.add_option("--grace", options.graceSeconds, "seconds that registrations outlive a stream")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 31536000.0))
      ->type_name("SECONDS");
  app.add_option("--max-registrations", options.mostRegistrations, "of all clients together")
      ->type_name("N")
      ->capture_default_str();

  auto* store =
      app.add_option("--store", options.storeDirectory, "directory of the state that outlives us")
          ->type_name("DIR")
          ->capture_default_str();
  app.add_flag_callback(
         "--no-store",
         [&options] { options.storeDirectory.clear(); },
         "forget everything at the end")
      ->excludes(store);

  app.add_option("--metrics", options.metricsAddress, "serve figures as OpenMetrics over HTTP")
      ->type_name("[ADDRESS:]PORT");
  app.add_option("--record", options.recordFile, "write what the library is given as a replay file")
      ->type_name("FILE");

  app.add_option("--log-level", options.logLevel, "error, warning, notice, info or debug")
      ->transform(
          CLI::CheckedTransformer(std::map<std::string, LogLevel>{{"error", LogLevel::error},
                                                                  {"warning", LogLevel::warning},
                                                                  {"notice", LogLevel::notice},
                                                                  {"info", LogLevel::info},
                                                                  {"debug", LogLevel::debug}},
                                  CLI::ignore_case))
      ->type_name("LEVEL [info]");
  app.add_option("--clock-rate", options.clockRate, "run timers so many times as fast (for tests)")
      ->check(CLI::Range(1, 100000))
      ->group("");
}

}  // namespace

DaemonOptions daemonOptions(int argc, const char* const* argv) {
  DaemonOptions options;
  options.socketPath = defaultSocketPath();
  options.storeDirectory = runtimeDirectory() + "/state";
  std::vector<std::string> vrfs;
  CLI::App app("Tracks nexthops: tells clients how each address they register is reached.",
               "nexthopd");
  app.set_version_flag("--version", "nexthopd " NEXTHOP_VERSION);
  describe(app, options, vrfs);
  try {
    app.parse(argc, argv);
    if (!vrfs.empty()) {
      options.vrfs.clear();
      for (const std::string& text : vrfs) {
        options.vrfs.push_back(vrfOf(text));
      }
    }
  } catch (const CLI::ParseError& error) {
    throw DaemonUsage{app.exit(error) == 0 ? 0 : usageError};
  }
  return options;
}

}  // namespace Routing::Host
