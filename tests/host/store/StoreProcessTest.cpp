// Other processes: a second daemon, a reader, a killed writer.

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "tests/host/store/StoreFixture.h"

namespace Routing::Host {
namespace {

// Runs the body in a child and returns its wait status. The body's result is the exit code.
int inChild(const std::function<int()>& body) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::_exit(body());
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return status;
}

// Writes turns in each of which all entries carry the same number, and tells each one's number.
[[noreturn]] void writeTurns(const std::string& directory, int report) {
  Records records;
  StateStore store(directory);
  store.follow(records.vrfs);
  const auto status = records.vrfStatus("bgp");
  for (std::uint64_t turn = 1;; ++turn) {
    for (std::uint32_t index = 0; index < 50; ++index) {
      NexthopStatusEntry entry = resolvedEntry("10.0.0.0", turn);
      entry.addr = IpGenAddr::ipv4(0x0a000000U + index);
      status->nexthopIs(entry);
    }
    store.commit();
    if (::write(report, &turn, sizeof turn) != sizeof turn) {
      ::_exit(1);
    }
  }
}

// The number that all entries carry; 0 when they differ.
std::uint64_t turnOf(const StoreReader& reader) {
  std::uint64_t turn = 0;
  bool same = true;
  reader.walkStatus({[](const String&) {},
                     [](const String&, const VrfName&, NexthopStatusFecIdType) {},
                     [&](const String&, const VrfName&, const NexthopStatusEntry& entry) {
                       same = same && (turn == 0 || turn == entry.fecId);
                       turn = entry.fecId;
                     }});
  return same ? turn : 0;
}

struct Writer {
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  // A test that fails leaves none behind.
  ~Writer() {
    if (child > 0) {
      kill();
    }
  }
  explicit Writer(const std::string& directory) {
    std::array<int, 2> ends{};
    systemCall(::pipe(ends.data()), "cannot make a pipe");
    report = FileDescriptor(ends[0]);
    child = ::fork();
    if (child == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      writeTurns(directory, ends[1]);
    }
    ::close(ends[1]);
  }
  std::uint64_t nextTurn() const {
    std::uint64_t turn = 0;
    EXPECT_EQ(::read(report.get(), &turn, sizeof turn), static_cast<ssize_t>(sizeof turn));
    return turn;
  }
  // The last turn that was told.
  std::uint64_t kill() const {
    ::kill(child, SIGKILL);
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    child = -1;
    std::uint64_t turn = 0;
    while (::read(report.get(), &turn, sizeof turn) == static_cast<ssize_t>(sizeof turn)) {
    }
    return turn;
  }

  FileDescriptor report;
  mutable pid_t child = -1;
};

TEST(StoreProcess, ASecondDaemonIsRefused) {
  const TemporaryDirectory directory;
  const StateStore store(directory.store());
  const int status = inChild([&] {
    try {
      const StateStore second(directory.store());
    } catch (const StoreError& error) {
      return std::string(error.what()) == "another nexthopd uses the store in " + directory.store()
                 ? 0
                 : 2;
    }
    return 1;
  });
  EXPECT_EQ(status, 0);
}

TEST(StoreProcess, AReaderInAnotherProcessSeesWholeTurns) {
  const TemporaryDirectory directory;
  const Writer writer(directory.store());
  std::uint64_t last = writer.nextTurn();
  for (int round = 0; round < 200; ++round) {
    const std::uint64_t turn = turnOf(StoreReader(directory.store()));
    ASSERT_GE(turn, last) << "round " << round;
    last = turn;
  }
  writer.kill();
}

TEST(StoreProcess, AKilledDaemonGoesOnFromTheLastWholeTurn) {
  const TemporaryDirectory directory;
  for (int round = 0; round < 20; ++round) {
    const Writer writer(directory.store());
    for (int turn = 0; turn <= round % 7; ++turn) {
      writer.nextTurn();
    }
    const std::uint64_t told = writer.kill();
    const StateStore store(directory.store());
    EXPECT_EQ(store.setAside(), "");
    const std::uint64_t found = turnOf(store.reader());
    // The turn after the last one told may stand, nothing in between.
    if (told != 0) {
      EXPECT_GE(found, told);
      EXPECT_LE(found, told + 1);
    }
  }
}

TEST(StoreProcess, ThePlaceOfAReaderThatDiedIsGivenBack) {
  const TemporaryDirectory directory;
  StateStore store(directory.store());
  const int status = inChild([&] {
    const StoreReader reader(directory.store());
    ::raise(SIGKILL);
    return 0;
  });
  EXPECT_TRUE(WIFSIGNALED(status));
  const std::uint64_t before = store.counters().deadReaders;
  store.deadReadersClear();
  EXPECT_EQ(store.counters().deadReaders - before, 1U);
}

}  // namespace
}  // namespace Routing::Host
