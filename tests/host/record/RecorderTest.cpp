// What the recorder writes, line by line.

#include "tests/host/record/RecordedWorld.h"

namespace Routing::Host {
namespace {

const std::string head =
    "# What nexthopd was given. Play it back with nexthop-replay.\n"
    "routing default ipv4 on\n"
    "routing default ipv6 on\n"
    "context default 0\n";

class RecorderTest : public ::testing::Test {
 protected:
  // The lines of the recording after its head.
  std::string lines() const {
    recorder().turnEnd();
    const std::string text = world.recording();
    return text.substr(0, head.size()) == head ? text.substr(head.size()) : text;
  }
  Recorder& recorder() const { return *world.recorder; }

  RecordedWorld world;
  Vrf& vrf = world.vrfs->vrfIs("default", 254);
};

TEST_F(RecorderTest, WritesAStoryInTheWordsOfAReplay) {
  world.record();
  world.fecIs(vrf, 12, "10.9.0.1");
  world.routeIs(vrf, "10.1.0.0/16", {12, 5, 20, 4});
  world.vrfs->managerStart(vrf);
  world.client("bgp", "default")->nexthopIs({*IpGenAddr::parse("10.1.0.1")});
  world.turn();
  world.pass(std::chrono::milliseconds(1250));
  world.routeDel(vrf, "10.1.0.0/16");
  world.turn();
  world.clientDel("bgp");

  EXPECT_EQ(lines(),
            "fec 12 via 10.9.0.1 intf 3\n"
            "route default 10.1.0.0/16 fec 12 metric 5 preference 20 type 4\n"
            "manager default no-cells\n"
            "config bgp\n"
            "status bgp\n"
            "config-vrf bgp default resolver\n"
            "nexthop bgp default 10.1.0.1\n"
            "step\n"
            "advance 1.250\n"
            "route-del default 10.1.0.0/16\n"
            "step\n"
            "config-del bgp\n"
            "status-del bgp\n");
}

TEST_F(RecorderTest, WritesWhereATimeSliceEnded) {
  world.record();
  world.vrfs->managerStart(vrf);
  const auto config = world.client("bgp", "default");
  for (const char* addr : {"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4"}) {
    config->nexthopIs({*IpGenAddr::parse(addr)});
  }
  world.untilIdle();
  const std::string text = lines();
  EXPECT_EQ(text.substr(text.find("10.0.0.4\n")), "10.0.0.4\nbudget 3\nstep\nbudget 0\nstep\n");
}

TEST_F(RecorderTest, TellsTableTrieAndAnnouncementApart) {
  world.record();
  const IpGenPrefix prefix = *IpGenPrefix::parse("10.0.0.0/8");
  vrf.routes4()->routeIs(Prefix(prefix), {4, 0, 1, 0});
  world.turn();
  vrf.trie4()->routeIs(prefix, true);
  vrf.trie4()->changedPrefixIs(prefix);
  vrf.trie6()->changedPrefixIs(IpGenPrefix());
  vrf.trie4()->routeDel(prefix);
  vrf.routes4()->routeDel(Prefix(prefix));
  EXPECT_EQ(lines(),
            "table default 10.0.0.0/8 fec 4\n"
            "trie default 10.0.0.0/8\n"
            "announce default ipv4 10.0.0.0/8\n"
            "announce default ipv6\n"
            "trie-del default 10.0.0.0/8\n"
            "table-del default 10.0.0.0/8\n");
}

TEST_F(RecorderTest, WritesWhatStandsWhenItBegins) {
  const auto config = world.client("bgp", "default");
  config->nexthopIs({*IpGenAddr::parse("10.0.0.1")});
  NexthopStatusEntry entry;
  entry.addr = *IpGenAddr::parse("10.0.0.1");
  entry.fecId = 7;
  entry.prefix = *IpGenPrefix::parse("10.0.0.0/8");
  entry.resolutionState = NexthopResolutionState::resolved;
  entityOf<NexthopStatus>(*world.vrfs->records().statuses, "bgp")
      ->vrfIs("default", NexthopStatusFecIdType::resolverId)
      ->nexthopIs(entry);
  NexthopResolverIdVia record(ResolverId(7));
  record.nexthopResolverViaIs({IntfId{2}, *IpGenAddr::parse("10.9.0.1")});
  vrf.forwarding()->vrfIs("default")->nexthopResolverIdViaIs(record);
  world.record();
  EXPECT_EQ(lines(),
            "published default 7 via 10.9.0.1 intf 2\n"
            "config bgp\n"
            "config-vrf bgp default resolver\n"
            "nexthop bgp default 10.0.0.1\n"
            "status-entry bgp default resolver 10.0.0.1 fec 7 prefix 10.0.0.0/8\n"
            "status bgp\n");
}

TEST_F(RecorderTest, WritesThatRoutingIsOff) {
  world.record();
  entityOf<RoutingInfo>(*world.vrfs->records().routing4, "default")->routingEnabledIs(false);
  EXPECT_EQ(lines(), "routing default ipv4 off\n");
}

TEST_F(RecorderTest, EmptiesTheTablesOfAVrfThatGoes) {
  world.record();
  Vrf& blue = world.vrfs->vrfIs("blue", 10);
  world.fecIs(blue, 4, "10.9.0.1");
  world.routeIs(blue, "10.0.0.0/8", {4, 0, 1, 0});
  world.vrfs->managerStart(blue);
  world.turn();
  world.vrfs->vrfDel("blue");
  EXPECT_EQ(lines(),
            "routing blue ipv4 on\n"
            "routing blue ipv6 on\n"
            "context blue 0\n"
            "fec 4 via 10.9.0.1 intf 3\n"
            "route blue 10.0.0.0/8 fec 4\n"
            "manager blue no-cells\n"
            "manager-del blue\n"
            "route-del blue 10.0.0.0/8\n"
            "fec-del 4\n"
            "routing blue ipv4 absent\n"
            "routing blue ipv6 absent\n");
}

TEST_F(RecorderTest, LeavesOutTheTasksOfTheHost) {
  world.record();
  Task own(world.scheduler, TaskPriority::mostUrgent, "own");
  own.scheduleTask();
  world.turn();
  EXPECT_EQ(own.taskRunCount(), 1U);
  EXPECT_EQ(lines(), "");
}

TEST(ReplayFile, AFileThatCannotBeMadeIsReported) {
  EXPECT_THROW(ReplayFile("/proc/recording"), SystemError);
}

TEST(ReplayFile, EarlierRecordingsAreKeptUnderTheNextNumbers) {
  std::string directory = ::testing::TempDir() + "replay-file-XXXXXX";
  ASSERT_NE(::mkdtemp(directory.data()), nullptr);
  const std::string path = directory + "/day.replay";
  for (const char* text : {"first", "second", "third"}) {
    ReplayFile(path).line(text);
  }
  std::string found;
  for (const char* name : {"day.replay.1", "day.replay.2", "day.replay"}) {
    std::string line;
    std::getline(std::ifstream(directory + "/" + name), line);
    found += line + " ";
  }
  EXPECT_EQ(found, "first second third ");
  EXPECT_EQ(std::system(("rm -r '" + directory + "'").c_str()), 0);
}

TEST(ReplayFile, AFullDiskEndsTheRecordingAndNothingElse) {
  ReplayFile file("/dev/full");
  file.line("vrf default");
  EXPECT_TRUE(file.good());
  file.flush();
  EXPECT_FALSE(file.good());
  file.line("vrf blue");
  file.flush();
  EXPECT_FALSE(file.good());
}

}  // namespace
}  // namespace Routing::Host
