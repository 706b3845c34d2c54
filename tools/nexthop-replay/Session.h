#pragma once

// A replay under way: the world, the output, and what the commands of a file share besides.
//
// run() reads the files in order and executes their lines. It ends at the first line that is bad
// input or that an exception leaves; a failed expectation is reported and remembered. Messages on
// standard error name file and line, and standard output is written out before each, so that the
// two keep their order where they end in one place.
//
// At the end trace and watch go off, the output is muted, and everything is dropped.

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/trace/TraceLevels.h"
#include "platform/trace/TraceSink.h"
#include "tools/nexthop-replay/Line.h"
#include "tools/nexthop-replay/Output.h"
#include "tools/nexthop-replay/Reader.h"
#include "tools/nexthop-replay/Runner.h"
#include "tools/nexthop-replay/Stats.h"
#include "tools/nexthop-replay/Watch.h"
#include "tools/nexthop-replay/World.h"

namespace Routing::Replay {

enum class ExitCode : int {
  good = 0,
  exception = 1,
  badInput = 2,
  expectationFailed = 3,
  outputFailed = 4,
};

class Session {
 public:
  // The output outlives the session.
  explicit Session(Output& output);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  // Once. "-" is standard input.
  ExitCode run(const std::vector<String>& files);

  World& world() noexcept { return *world_; }
  Runner& runner() noexcept { return *runner_; }
  const Stats& stats() const noexcept { return stats_; }
  void print(const Line& line) { output_.print(line); }

  // The folder of the file that is read, with its slash; empty for the working directory.
  String folder() const;
  void traceLevelsAre(TraceLevelMask levels);
  void watchIs(bool on);

  // Prints the lines, which expectations are about from now on.
  void show(const std::vector<Line>& lines);
  void expect(std::string_view line);
  void expectNone();

 private:
  // The code with which the replay has to end here, if it has to.
  std::optional<ExitCode> runFile(const String& file);
  std::optional<ExitCode> runLine(std::string_view line);
  void report(std::string_view kind, std::string_view message);
  void expectationFailed(std::string_view message);
  void drop();

  Output& output_;
  Watch watch_;
  Stats stats_;
  std::unique_ptr<World> world_;
  std::unique_ptr<Runner> runner_;
  CallbackTraceSink traceSink_;

  // Where in the input the replay stands.
  String file_;
  std::unique_ptr<Reader> reader_;
  std::vector<std::string_view> words_;

  // What the last show printed, in text form; nothing before the first.
  std::optional<std::vector<String>> shown_;
  bool anyExpectationFailed_ = false;
};

}  // namespace Routing::Replay
