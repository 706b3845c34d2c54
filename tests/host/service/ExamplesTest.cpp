// The clients in examples/ against a running service, C++ and Python alike.

#include <cstdlib>

#include "tests/host/service/ChildProcess.h"
#include "tests/host/service/ServiceFixture.h"

namespace Routing::Host {
namespace {

struct Example {
  const char* name;
  std::vector<std::string> command;
};

// The modules are the system's python's, which need not be the first in the path.
std::string python() {
  const std::string system = "/usr/bin/python3";
  return ::access(system.c_str(), X_OK) == 0 ? "exec " + system : "exec python3";
}

const std::vector<Example> examples{
    {"Cpp", {NEXTHOP_EXAMPLE_CLIENT}},
    {"Python", {"/bin/sh", "-c", python() + " \"$@\"", "sh", NEXTHOP_EXAMPLE_PYTHON}},
};

std::string pythonPath() {
  const char* path = std::getenv("PYTHONPATH");
  return std::string(NEXTHOP_PYTHON_STUBS) + (path == nullptr ? "" : ":" + std::string(path));
}

class Examples : public ServiceFixture, public ::testing::WithParamInterface<Example> {
 protected:
  std::unique_ptr<ChildProcess> run(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command = GetParam().command;
    command.insert(command.end(), arguments.begin(), arguments.end());
    return std::make_unique<ChildProcess>(command,
                                          std::vector<std::string>{"PYTHONPATH=" + pythonPath()});
  }
};

TEST_P(Examples, RegistersAndFollowsChanges) {
  start();
  routeIs("10.0.0.0/8", 12);
  const auto client = run({options.socketPath, "example", "10.0.0.1"});
  EXPECT_EQ(client->line(), "10.0.0.1 resolved over 10.0.0.0/8 identifier 12");
  routeDel("10.0.0.0/8");
  EXPECT_EQ(client->line(), "10.0.0.1 NEXTHOP_STATE_FAILED REASON_NO_ROUTE");
  routeIs("0.0.0.0/0", 13);
  EXPECT_EQ(client->line(), "10.0.0.1 resolved over 0.0.0.0/0 identifier 13");
}

TEST_P(Examples, EndsOnceEveryAddressHasBeenToldOf) {
  start();
  routeIs("2001:db8::/32", 12);
  const auto client = run({"--once", options.socketPath, "example", "10.0.0.1", "2001:db8::1"});
  EXPECT_EQ(client->line(), "10.0.0.1 NEXTHOP_STATE_FAILED REASON_NO_ROUTE");
  EXPECT_EQ(client->line(), "2001:db8::1 resolved over 2001:db8::/32 identifier 12");
  EXPECT_EQ(client->wait(), 0);
}

TEST_P(Examples, TellsWhatTheDaemonObjectsTo) {
  start();
  const auto client = run({"--once", options.socketPath, "not a name", "10.0.0.1"});
  client->line();
  EXPECT_EQ(client->line(), "the daemon objects to client");
  EXPECT_EQ(client->wait(), 1);
}

INSTANTIATE_TEST_SUITE_P(Languages, Examples, ::testing::ValuesIn(examples), [](const auto& row) {
  return std::string(row.param.name);
});

}  // namespace
}  // namespace Routing::Host
