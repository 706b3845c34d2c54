#pragma once

// A progress bar on standard error while something takes its time. Shown on a terminal only.

#include <chrono>
#include <cstddef>
#include <string>

namespace Routing {

class Progress {
 public:
  Progress(std::string what, std::size_t total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  // Takes the bar away.
  ~Progress();

  // Redraws at most ten times a second.
  void doneIs(std::size_t done);

 private:
  std::string what_;
  std::size_t total_;
  bool shown_;
  std::chrono::steady_clock::time_point nextDraw_;
};

}  // namespace Routing
