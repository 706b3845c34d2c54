#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/platform/trace/TraceSupport.h"

namespace Routing {
namespace {

constexpr std::size_t ringSize = TraceRing::minimumSize;

class TraceRingFile : public testing::Test {
 protected:
  TraceRingFile() {
    String name = testing::TempDir() + "trace-ring-XXXXXX";
    EXPECT_NE(::mkdtemp(name.data()), nullptr);
    folder_ = name;
    path_ = folder_ / "ring";
    facility_.ringLevelsAre(allTraceLevels);
  }
  ~TraceRingFile() override { std::filesystem::remove_all(folder_); }

  void trace(std::uint64_t number) {
    ROUTING_TRACE(facility_, 1, "number {} {}", number, String(number % 50, 'x'));
  }

  // Runs a function in a child process. Its end is the function's business.
  template <typename Function>
  static pid_t startChild(Function function) {
    const pid_t child = ::fork();
    if (child == 0) {
      function();
      ::_exit(0);
    }
    return child;
  }
  static int waitFor(pid_t child) {
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return status;
  }

  // A child that traces numbers from 0 until it is killed. Returns after the first thousand.
  pid_t startWriter(std::size_t size = ringSize) {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe(ends.data()), 0);
    const pid_t child = startChild([&] {
      TraceRing ring(path_, size);
      Tracing::ringIs(&ring);
      for (std::uint64_t number = 0;; ++number) {
        trace(number);
        if (number == 1000 && ::write(ends[1], "", 1) != 1) {
          ::_exit(1);
        }
      }
    });
    char byte = 0;
    EXPECT_EQ(::read(ends[0], &byte, 1), 1);
    ::close(ends[0]);
    ::close(ends[1]);
    return child;
  }

  // Reads the file and sees that it holds numbers without a gap and is whole. Returns how many.
  std::size_t checkNumbers() {
    RingDecoder decoder = RingDecoder::fromFile(path_);
    std::optional<std::uint64_t> last;
    std::size_t count = 0;
    for (auto message = decoder.next(); message; message = decoder.next()) {
      std::istringstream words{String(message->text)};
      String word;
      std::uint64_t number = 0;
      words >> word >> number;
      EXPECT_TRUE(!last || number == *last + 1) << number;
      EXPECT_EQ(message->text, "number " + std::to_string(number) + " " + String(number % 50, 'x'));
      last = number;
      ++count;
    }
    EXPECT_EQ(decoder.problems(), Lines{});
    return count;
  }

  std::filesystem::path folder_;
  String path_;
  TraceFacility facility_{"Test"};
};

TEST_F(TraceRingFile, DecodesToTheTextLinesWhileOpenAndAfterwards) {
  const CountingClock clock;
  const LineSink sink;
  facility_.textLevelsAre(allTraceLevels);
  {
    TraceRing ring(path_, ringSize);
    Tracing::ringIs(&ring);
    trace(1);
    ROUTING_TRACE(facility_, 2, "{}", Colour::green);
    RingDecoder open = RingDecoder::fromFile(path_);
    EXPECT_EQ(linesOf(open), sink.lines());
  }
  RingDecoder closed = RingDecoder::fromFile(path_);
  EXPECT_EQ(linesOf(closed), sink.lines());
  EXPECT_EQ(closed.problems(), Lines{});
  EXPECT_EQ(sink.lines().size(), 2U);
}

TEST_F(TraceRingFile, HasTheSizeAskedForAndIsItsOwnersAlone) {
  const TraceRing ring(path_, ringSize);
  struct stat status {};
  ASSERT_EQ(::stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_size, static_cast<off_t>(ringSize));
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(TraceRingFile, SurvivesAnAbort) {
  const pid_t child = startChild([&] {
    TraceRing ring(path_, ringSize);
    Tracing::ringIs(&ring);
    for (std::uint64_t number = 0; number < 3; ++number) {
      trace(number);
    }
    std::signal(SIGABRT, SIG_DFL);
    std::abort();
  });
  EXPECT_TRUE(WIFSIGNALED(waitFor(child)));
  EXPECT_EQ(checkNumbers(), 3U);
}

TEST_F(TraceRingFile, SurvivesAKillAtAnyInstant) {
  for (int round = 0; round < 20; ++round) {
    const pid_t child = startWriter();
    ::kill(child, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(waitFor(child)));
    EXPECT_GT(checkNumbers(), 100U);
  }
}

// The ring is large enough for its oldest records to give way while it is read.
TEST_F(TraceRingFile, CanBeReadWhileItIsWritten) {
  const pid_t child = startWriter(std::size_t{1} << 20U);
  std::size_t count = 0;
  for (int round = 0; round < 30; ++round) {
    count += checkNumbers();
  }
  EXPECT_GT(count, 0U);
  ::kill(child, SIGKILL);
  waitFor(child);
}

TEST_F(TraceRingFile, OfAnEarlierProcessIsKeptBesideTheNewOne) {
  {
    TraceRing ring(path_, ringSize);
    Tracing::ringIs(&ring);
    trace(1);
  }
  const TraceRing ring(path_, ringSize);
  RingDecoder fresh = RingDecoder::fromFile(path_);
  RingDecoder old = RingDecoder::fromFile(path_ + ".old");
  EXPECT_EQ(linesOf(fresh).size(), 0U);
  EXPECT_EQ(linesOf(old).size(), 1U);
}

// What an expression throws, in words.
template <typename Function>
String errorOf(Function function) {
  try {
    function();
  } catch (const TraceRingError& error) {
    return error.what();
  }
  return "none";
}

TEST_F(TraceRingFile, ThatCannotBeMadeIsToldWithItsName) {
  const String inNoFolder = (folder_ / "none" / "ring").string();
  EXPECT_EQ(errorOf([&] { TraceRing(inNoFolder, ringSize); }),
            inNoFolder + ": No such file or directory");
  EXPECT_EQ(errorOf([&] { TraceRing(folder_.string(), ringSize); }),
            folder_.string() + ": not a regular file");
  EXPECT_THROW(TraceRing(path_, ringSize - 1), TraceRingError);
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(TraceRingFile, ThatIsALinkIsNotFollowed) {
  const std::filesystem::path target = folder_ / "target";
  std::ofstream(target) << "keep";
  std::filesystem::create_symlink(target, path_);
  EXPECT_EQ(errorOf([&] { TraceRing(path_, ringSize); }), path_ + ": not a regular file");
  EXPECT_EQ(std::filesystem::file_size(target), 4U);
}

TEST_F(TraceRingFile, ThatCannotBeReadIsToldWithItsName) {
  EXPECT_EQ(errorOf([&] { RingDecoder::fromFile(path_); }), path_ + ": No such file or directory");
  EXPECT_EQ(errorOf([&] { RingDecoder::fromFile(folder_.string()); }),
            folder_.string() + ": not a regular file");
  std::ofstream(path_)
      << "anything else that is longer than the header of a ring, which has 64 bytes";
  EXPECT_EQ(errorOf([&] { RingDecoder::fromFile(path_); }), path_ + ": not a trace ring");
}

}  // namespace
}  // namespace Routing
