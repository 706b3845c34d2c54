// Dumps among changes, of a kernel that is played by a model.

#include <algorithm>
#include <map>
#include <random>
#include <utility>

#include "tests/host/kernel/StateFixture.h"
#include "tests/support/Seed.h"

namespace Routing::Host::Testing {
namespace {

// Keeps routes as the kernel does, and tells of each change as it would.
class ModelKernel {
 public:
  using Routes = std::vector<TestRoute>;

  explicit ModelKernel(std::uint64_t seed) : random_(seed) {}

  // Makes a change and returns its message.
  MessageBuilder change() {
    Routes& routes = table_["10." + std::to_string(pick(6)) + ".0.0/16"];
    if (!routes.empty() && pick(3) == 0) {
      const auto gone = routes.begin() + static_cast<std::ptrdiff_t>(pick(routes.size()));
      const TestRoute route = *gone;
      routes.erase(gone);
      return routeMessage(route, RTM_DELROUTE, 0);
    }
    return added(routes);
  }
  // The routes of all prefixes, in the kernel's order.
  const std::map<std::string, Routes>& table() const { return table_; }
  std::size_t pick(std::size_t below) { return random_() % below; }

 private:
  MessageBuilder added(Routes& routes) {
    TestRoute route;
    for (auto& [prefix, present] : table_) {
      route.prefix = &present == &routes ? prefix : route.prefix;
    }
    route.metric = static_cast<std::uint32_t>(pick(3));
    route.hops = {{"192.0.2." + std::to_string(1 + pick(4)), 1}};
    if (pick(4) == 0) {
      route.hops.push_back({"192.0.2.9", 2});
    }
    const auto same = [&route](const TestRoute& other) { return other.metric == route.metric; };
    const auto first = std::find_if(routes.begin(), routes.end(), same);
    const auto behind =
        std::find_if(routes.begin(), routes.end(), [&route](const TestRoute& other) {
          return other.metric > route.metric;
        });
    const bool known = std::any_of(routes.begin(), routes.end(), [&](const TestRoute& other) {
      return same(other) && text(other) == text(route);
    });
    if (known) {  // The kernel refuses it; an unrelated message goes out instead.
      return linkMessage(9, "other", 0);
    }
    if (first == routes.end()) {
      routes.insert(behind, route);
      return routeMessage(route, RTM_NEWROUTE, NLM_F_CREATE | NLM_F_EXCL);
    }
    switch (pick(3)) {
      case 0:
        *first = route;
        return routeMessage(route, RTM_NEWROUTE, NLM_F_REPLACE);
      case 1:
        routes.insert(behind, route);
        return routeMessage(route, RTM_NEWROUTE, NLM_F_CREATE | NLM_F_APPEND);
      default:
        routes.insert(first, route);
        return routeMessage(route, RTM_NEWROUTE, NLM_F_CREATE);
    }
  }
  static std::string text(const TestRoute& route) {
    std::string text;
    for (const TestHop& hop : route.hops) {
      text += hop.gateway + " ";
    }
    return text;
  }

  std::mt19937_64 random_;
  std::map<std::string, Routes> table_;
};

class ModelTest : public StateTest {
 protected:
  ModelTest() { dump(main4(), {}); }  // The first one has nothing to take away.

  void expectEqual() {
    for (const auto& [prefix, routes] : model_.table()) {
      std::string expected = routes.empty() ? "absent" : "";
      for (const TestHop& hop : routes.empty() ? std::vector<TestHop>{} : routes.front().hops) {
        expected += (expected.empty() ? "" : " ") + hop.gateway;
      }
      ASSERT_EQ(shown(prefix), expected) << prefix;
      ASSERT_EQ(alternatives(prefix).size(), routes.size()) << prefix;
      ASSERT_EQ(vrf_->trie4()->routeHas(Support::prefix(prefix)), !routes.empty());
    }
  }
  // A dump that reads one prefix after the other, with changes between and their messages lost when
  // the receive buffer runs over.
  void dumpAmongChanges(bool overrun) {
    state_->dumpBegin(main4());
    for (const auto& [prefix, routes] : model_.table()) {
      const ModelKernel::Routes read = routes;
      // Told of before what was read earlier arrives.
      if (model_.pick(2) == 0) {
        tell(model_.change());
      }
      for (const TestRoute& route : read) {
        dumped(route);
      }
      if (overrun && model_.pick(2) == 0) {
        model_.change();
      }
      tell(model_.change());
    }
    state_->dumpEnd(true);
  }

  ModelKernel model_{Support::seed()};
};

TEST_F(ModelTest, FollowingEveryMessageEndsInTheKernelsState) {
  const Support::SeedTrace trace(Support::seed());
  for (int step = 0; step < 5'000; ++step) {
    tell(model_.change());
    expectEqual();
  }
  EXPECT_EQ(state_->counters().doubtful, 0U);
}

TEST_F(ModelTest, ADumpAmongChangesEndsInTheKernelsState) {
  const Support::SeedTrace trace(Support::seed());
  while (model_.table().size() < 6) {
    tell(model_.change());
  }
  for (int round = 0; round < 1'000; ++round) {
    dumpAmongChanges(false);
    expectEqual();
  }
}

TEST_F(ModelTest, AWholeDumpRepairsWhateverWasLostBefore) {
  const Support::SeedTrace trace(Support::seed());
  for (int round = 0; round < 500; ++round) {
    for (int lost = 0; lost < 5; ++lost) {
      model_.change();
    }
    dumpAmongChanges(true);
    state_->dumpBegin(main4());
    for (const auto& [prefix, routes] : model_.table()) {
      for (const TestRoute& route : routes) {
        dumped(route);
      }
    }
    state_->dumpEnd(true);
    expectEqual();
  }
}

TEST_F(ModelTest, NoFecIsLeftBehindWhenEverythingIsGone) {
  for (int step = 0; step < 1'000; ++step) {
    tell(model_.change());
  }
  dump(main4(), {});
  runUntilIdle(*scheduler_);
  EXPECT_EQ(vrf_->routes4()->routeCount(), 0U);
  EXPECT_EQ(vrf_->fecs()->fecCount(), 0U);
}

}  // namespace
}  // namespace Routing::Host::Testing
