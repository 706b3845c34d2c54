// A recording that is played back ends in the status that the recorded world ended in.

#include <random>

#include "tests/host/record/RecordedWorld.h"

namespace Routing::Host {
namespace {

// Random routes, FECs, clients and nexthops in two VRFs, in turns that are interrupted by time
// slices, over times that fire the timers.
class RandomWorld : public RecordedWorld {
 public:
  explicit RandomWorld(std::uint32_t seed) : random_(seed) {}

  void vrfsStart() {
    for (const char* name : {"default", "blue"}) {
      vrfs->managerStart(vrfIs(name));
    }
  }
  // Several changes before a turn, so that reviews queue up.
  void live(unsigned turns) {
    for (unsigned count = 0; count < turns; ++count) {
      for (unsigned changes = below(4); changes > 0; --changes) {
        change();
      }
      if (below(8) == 0) {
        pass(std::chrono::milliseconds(below(100'000)));
      }
      turn();
    }
    // However the last changes fell, something is resolved in the end.
    Vrf& vrf = vrfIs("default");
    fecIs(vrf, 10, "10.9.0.1");
    routeIs(vrf, "10.0.0.0/8", {10, 0, 1, 4});
    client("client0", vrf.name())->nexthopIs({*IpGenAddr::parse("10.0.0.1")});
    untilIdle();
  }

 private:
  unsigned below(unsigned end) { return static_cast<unsigned>(random_() % end); }
  Vrf& vrfIs(const VrfName& name) { return vrfs->vrfIs(name, name == "default" ? 254 : 10); }

  void change() {
    Vrf& vrf = vrfIs(below(2) == 0 ? "default" : "blue");
    vrfs->managerStart(vrf);
    switch (below(16)) {
      case 0:
      case 1:
      case 2:
        return fecIs(vrf, fecOf(vrf), "10.9.0." + std::to_string(below(200)));
      case 3:
        vrf.fecs()->fecDel(fecOf(vrf));
        return;
      case 4:
      case 5:
      case 6:
        return routeIs(vrf, prefix(), {fecOf(vrf), below(3), 1, 4});
      case 7:
      case 8:
        return routeDel(vrf, prefix());
      case 9:
        return clientDel(clientName());
      case 10:
        return vrf.name() == "blue" && below(4) == 0 ? vrfs->vrfDel("blue") : void();
      case 11:
        return client(clientName(), vrf.name())->nexthopDel(address());
      default:
        return client(clientName(), vrf.name())->nexthopIs({address()});
    }
  }
  // Names a FEC in one VRF only.
  FecId fecOf(const Vrf& vrf) { return (vrf.name() == "default" ? 10U : 20U) + below(6); }
  String clientName() { return "client" + std::to_string(below(3)); }
  std::string prefix() {
    const std::string byte = std::to_string(below(8));
    return below(2) == 0 ? "10." + byte + ".0.0/" + std::to_string(8 + 8 * below(3))
                         : "2001:db8:" + byte + "::/48";
  }
  IpGenAddr address() {
    const std::string byte = std::to_string(below(8));
    const std::string last = std::to_string(below(4));
    return *IpGenAddr::parse(below(2) == 0 ? "10." + byte + ".0." + last
                                           : "2001:db8:" + byte + "::" + last);
  }

  std::mt19937 random_;
};

class Replayed : public ::testing::TestWithParam<std::uint32_t> {};

TEST_P(Replayed, ARecordingEndsInTheSameStatus) {
  RandomWorld world(GetParam());
  world.record();
  world.vrfsStart();
  world.live(600);
  ASSERT_NE(world.standing().find(" resolved "), std::string::npos);
  EXPECT_EQ(world.replayed(), world.standing());
}

TEST_P(Replayed, ARecordingThatBeginsWithARestartEndsInTheSameStatus) {
  RandomWorld world(GetParam());
  world.record();
  world.vrfsStart();
  world.live(300);
  world.restart();
  world.record();
  world.vrfsStart();
  world.live(300);
  EXPECT_EQ(world.replayed(), world.standing());
}

INSTANTIATE_TEST_SUITE_P(Seeds, Replayed, ::testing::Range(1U, 9U), [](const auto& row) {
  return "Seed" + std::to_string(row.param);
});

}  // namespace
}  // namespace Routing::Host
