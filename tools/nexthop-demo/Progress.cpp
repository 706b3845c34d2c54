#include "tools/nexthop-demo/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace Routing {

namespace {

constexpr std::size_t barWidth = 40;
constexpr std::chrono::milliseconds drawInterval{100};

}  // namespace

Progress::Progress(std::string what, std::size_t total)
    : what_(std::move(what)),
      total_(std::max<std::size_t>(total, 1)),
      shown_(::isatty(STDERR_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1),
      nextDraw_(std::chrono::steady_clock::now()) {}

Progress::~Progress() {
  if (shown_) {
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
  }
}

void Progress::doneIs(std::size_t done) {
  const auto now = std::chrono::steady_clock::now();
  if (!shown_ || now < nextDraw_) {
    return;
  }
  nextDraw_ = now + drawInterval;
  const std::size_t filled = std::min(done, total_) * barWidth / total_;
  std::string bar(filled, '#');
  bar.resize(barWidth, '.');
  std::fprintf(stderr, "\r%s [%s] %zu of %zu", what_.c_str(), bar.c_str(), done, total_);
  std::fflush(stderr);
}

}  // namespace Routing
