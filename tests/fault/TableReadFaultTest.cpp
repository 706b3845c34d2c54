// A forwarding table whose N-th read throws, for N = 1, 2, ... until a story ends without an N-th.
// The failure is told to that table's corruption hook, once, and reads as nothing; what was decided
// on it stays until the next notification. Everything around it holds at every step, and managers
// that are made anew end where an undisturbed story ends.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/entity/TypeData.h"
#include "tests/support/StoryRun.h"

namespace Routing::Support {

namespace {

// Counts the reads of all tables of a story and says which one fails.
struct Reads {
  std::uint64_t failing = 0;
  std::uint64_t count = 0;
  std::uint64_t reported = 0;
  StoryRun* run = nullptr;

  void read() {
    if (++count == failing) {
      throw std::runtime_error("the read fails");
    }
  }
};

// Hands reads and notifications through from a table in memory.
template <class Table>
class FailingTable : public Table, public Notifiee {
 public:
  FailingTable(const Ptr<const Table>& inner, Reads& reads) : inner_(inner), reads_(reads) {
    subscribe(*inner_);
  }
  FailingTable(const FailingTable&) = delete;
  FailingTable& operator=(const FailingTable&) = delete;
  ~FailingTable() override = default;

  void doCorruptionDetected(const String& message) const override {
    ++reads_.reported;
    reads_.run->readFailed();
    EXPECT_EQ(message, "the read fails");
  }
  void onAttribute(FieldId field, const void* key) override { this->publish(field, key); }
  const TypeData& typeData() const override {
    static const TypeData type("Routing::Support::FailingTable");
    return type;
  }

 protected:
  const Table& read() const {
    reads_.read();
    return *inner_;
  }

 private:
  Ptr<const Table> inner_;
  Reads& reads_;
};

template <class Table>
class FailingRoutes final : public FailingTable<Table> {
 public:
  using FailingTable<Table>::FailingTable;
  Fib::Route route(const typename Table::Key& prefix) const override {
    return this->read().route(prefix);
  }
};

class FailingFecs final : public FailingTable<FibGen::ForwardingStatus> {
 public:
  using FailingTable::FailingTable;
  FibGen::Fec fec(FecId fecId) const override { return read().fec(fecId); }
};

StoryRun::MakeManager withFailingTables(Reads& reads) {
  return [&reads](Replay::World& world, Replay::Vrf& vrf) {
    using Replay::Directory;
    vrf.manager = nexthopResolverManagerSmFactory(
        vrf.name,
        world.dir(Directory::config),
        world.dir(Directory::status),
        world.dir(Directory::cell),
        vrf.trie4,
        vrf.trie6,
        makeEntity<FailingRoutes<Fib::RouteStatus>>(vrf.routes4, reads),
        makeEntity<FailingRoutes<Fib6::RouteStatus>>(vrf.routes6, reads),
        makeEntity<FailingFecs>(world.fecs(), reads),
        world.forwardingStatus(),
        vrf.context,
        world.dir(Directory::routing4),
        world.dir(Directory::routing6),
        Ptr<TaskScheduler>(&world.scheduler()));
  };
}

class TableReadFault : public testing::TestWithParam<String> {};

TEST_P(TableReadFault, IsReportedOnceAndForgottenByTheNextManager) {
  const Story story = Story::load(GetParam());
  const StoryEnd end = endOf(story);
  std::uint64_t failing = 0;
  bool reached = true;
  while (reached) {
    SCOPED_TRACE("read " + std::to_string(++failing) + " fails");
    Reads reads{failing};
    StoryRun run;
    reads.run = &run;
    run.watchInvariants();
    run.makeManagerIs(withFailingTables(reads));
    for (const String& command : story.commands) {
      run.execute(command);
      EXPECT_EQ(run.violations(), std::vector<String>()) << command;
    }
    reached = reads.count >= failing;
    EXPECT_EQ(reads.reported, reached ? 1U : 0U);
    run.dropManagers();
    reads.failing = 0;
    run.settle(end.served);
    EXPECT_EQ(run.violations(), std::vector<String>());
    EXPECT_EQ(standingState(run.world()), end.state);
  }
  EXPECT_GT(failing, 5U);
  std::printf("%s: %d reads failed\n", story.name.c_str(), static_cast<int>(failing) - 1);
}

INSTANTIATE_TEST_SUITE_P(Stories,
                         TableReadFault,
                         testing::ValuesIn(faultStories()),
                         [](const testing::TestParamInfo<String>& story) {
                           return storyTestName(story.param);
                         });

}  // namespace

}  // namespace Routing::Support
