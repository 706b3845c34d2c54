// The commands that go on: watch, register, trace.

#include <atomic>
#include <thread>

#include "tests/host/ctl/CtlFixture.h"

namespace Routing::Host {
namespace {

class NexthopctlStream : public CtlFixture {};

TEST_F(NexthopctlStream, WatchPrintsTheSnapshotAndThenEveryChange) {
  start();
  registered("bgp", {"10.1.2.3"});
  RunningCtl watch(command("watch bgp 2>&1"));
  EXPECT_EQ(watch.line(),
            "CHANGED                   CLIENT  VRF      ADDRESS   STATE   REASON    PREFIX  TYPE"
            "  METRIC  IDENTIFIER");
  EXPECT_EQ(watch.line(),
            anyTime + "  bgp     default  10.1.2.3  failed  no-route  -       -     -       -");
  routeIs("10.0.0.0/8", 12, 4);
  EXPECT_EQ(watch.line(),
            anyTime +
                "  bgp     default  10.1.2.3  resolved  -         10.0.0.0/8  static  20"
                "      fib 12");
  stop();
  EXPECT_EQ(watch.line().substr(0, 24), "nexthopctl: nexthopd at ");
  EXPECT_EQ(watch.finish(), 3);
}

TEST_F(NexthopctlStream, WatchAsJsonTellsTheSnapshotFromChanges) {
  start();
  registered("bgp", {"10.1.2.3"});
  RunningCtl watch(command("watch --json 2>/dev/null"));
  const std::string begin = R"({"client":"bgp","vrf":"default","kind":"fib","addr":"10.1.2.3",)";
  EXPECT_EQ(watch.line(),
            begin +
                R"("state":"failed","reason":"no-route","identifier":null,)"
                R"("previousIdentifier":null,"prefix":null,"metric":null,"preference":null,)"
                R"("routeType":null,"epoch":1,"changedAt":")" +
                anyTime + R"(","stale":false,"snapshot":true})");
  routeIs("10.0.0.0/8", 12, 4);
  EXPECT_EQ(watch.line(),
            begin +
                R"("state":"resolved","reason":null,"identifier":12,)"
                R"("previousIdentifier":null,"prefix":"10.0.0.0/8","metric":20,"preference":1,)"
                R"("routeType":"static","epoch":2,"changedAt":")" +
                anyTime + R"(","stale":false,"snapshot":false})");
  stop();
}

TEST_F(NexthopctlStream, RegisterOnceEndsWhenEachAddressHasItsStatus) {
  start();
  routeIs("10.0.0.0/8", 12, 4);
  const CtlRun registers = run("register bgp 10.1.2.3 192.0.2.9 --once --json");
  EXPECT_EQ(registers.exitCode, 0);
  EXPECT_EQ(registers.errors, "");
  EXPECT_NE(registers.output.find(R"("addr":"10.1.2.3","state":"resolved")"), std::string::npos);
  EXPECT_NE(registers.output.find(R"("addr":"192.0.2.9","state":"failed")"), std::string::npos);
}

TEST_F(NexthopctlStream, RegisterOnceWaitsUntilTheKernelsTableHasBeenRead) {
  managing = false;
  std::atomic<bool> synced = false;
  hooks.synced = [&synced] { return synced.load(); };
  start();
  RunningCtl registers(command("register bgp 10.1.2.3 --once --json 2>&1"));
  EXPECT_NE(registers.line().find(R"("state":"unknown","reason":"resyncing")"), std::string::npos);
  routeIs("10.0.0.0/8", 12, 4);
  onLoop([&] {
    synced = true;
    vrfs->managerStart(*vrf);
    service->syncedChanged();
  });
  EXPECT_NE(registers.line().find(R"("state":"resolved")"), std::string::npos);
  EXPECT_EQ(registers.finish(), 0);
}

TEST_F(NexthopctlStream, WhatEndsByItselfDoesNotWaitForADaemonThatHangs) {
  start();
  flushing = false;
  for (const char* command : {"show nexthops", "show forwarding"}) {
    const CtlRun hanging = run(std::string("--timeout 0.2 ") + command);
    EXPECT_EQ(hanging.exitCode, 3) << command;
    EXPECT_EQ(hanging.errors,
              "nexthopctl: nexthopd at " + options.socketPath + " does not answer\n");
  }
}

TEST_F(NexthopctlStream, RegisterDoesNotWaitForADaemonThatHangs) {
  start();
  flushing = false;
  const CtlRun registers = run("--timeout 0.2 register bgp 10.1.2.3");
  EXPECT_EQ(registers.exitCode, 3);
  EXPECT_EQ(registers.errors,
            "nexthopctl: nexthopd at " + options.socketPath + " does not answer\n");
}

TEST_F(NexthopctlStream, RegisterOnceDoesNotWaitForEverForTheKernelsTable) {
  managing = false;
  start();
  const CtlRun registers = run("--timeout 0.5 register bgp 10.1.2.3 --once");
  EXPECT_EQ(registers.exitCode, 3);
  EXPECT_EQ(registers.errors,
            "nexthopctl: nexthopd at " + options.socketPath + " does not answer\n");
}

TEST_F(NexthopctlStream, RegisterStaysAndFollows) {
  start();
  RunningCtl registers(command("register bgp 10.1.2.3 --no-default-route 2>&1"));
  EXPECT_EQ(registers.line().substr(0, 7), "CHANGED");
  routeIs("0.0.0.0/0", 12, 4);
  std::string line = registers.line();
  while (!line.empty() && line.find("default-route-only") == std::string::npos) {
    line = registers.line();
  }
  EXPECT_NE(line.find("0.0.0.0/0"), std::string::npos);
  stop();
  EXPECT_EQ(registers.finish(), 3);
}

TEST_F(NexthopctlStream, RegisterAsAClientThatIsLiveIsRefusedAndRegistersNothing) {
  start();
  const auto stub = connect();
  Watching live(*stub, watchOf("bgp"));
  live.snapshot();
  const CtlRun registers = run("register bgp 10.1.2.3 --once");
  EXPECT_EQ(registers.exitCode, 4);
  EXPECT_EQ(registers.output, "");
  EXPECT_EQ(registers.errors, "nexthopctl: the name bgp has a live stream\n");
  onLoop([this] { EXPECT_EQ(service->figures().registrations, 0U); });
}

TEST_F(NexthopctlStream, RegisterNeedsNoGraceTime) {
  options.grace = Registrations::Seconds(0);
  start();
  const CtlRun registers = run("register bgp 10.1.2.3 --once --json");
  EXPECT_EQ(registers.exitCode, 0);
  EXPECT_NE(registers.output.find(R"("addr":"10.1.2.3","state":"failed")"), std::string::npos);
}

TEST_F(NexthopctlStream, RegisterRefusesTheKindThatTheClientDoesNotHave) {
  start();
  registered("bgp", {"10.1.2.3"});
  const CtlRun registers = run("register bgp 10.1.2.4 --resolver --once");
  EXPECT_EQ(registers.exitCode, 4);
  EXPECT_EQ(registers.output, "");
  EXPECT_NE(registers.errors, "");
}

TEST_F(NexthopctlStream, TracePrintsLinesOfTheLevelsAsked) {
  start();
  RunningCtl trace(command("trace --levels 1 --facility NexthopResolverSm 2>&1"));
  // Clients come until the stream is there and tells of one.
  std::atomic<bool> told = false;
  std::thread clients([this, &told] {
    for (unsigned number = 1; !told; ++number) {
      registered("bgp" + std::to_string(number), {"10.1.2.3"});
    }
  });
  const std::string line = trace.line();
  told = true;
  clients.join();
  EXPECT_EQ(line.substr(0, anyTime.size() + 22), anyTime + " 1 NexthopResolverSm: ");
  stop();
  EXPECT_EQ(trace.finish(), 3);
}

TEST_F(NexthopctlStream, TraceOfAFacilityThatIsNotThereIsRefused) {
  start();
  const CtlRun trace = run("trace --facility Nothing");
  EXPECT_EQ(trace.exitCode, 4);
  EXPECT_EQ(trace.errors, "nexthopctl: there is no facility Nothing\n");
}

}  // namespace
}  // namespace Routing::Host
