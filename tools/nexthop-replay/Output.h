#pragma once

// Standard output, buffered, and written out however the process ends.
//
// Lines collect in a block and are written when it is full, on flush(), and at the end. A signal
// that ends the process, such as the one that a failed assertion raises, writes out the whole lines
// that are there and then does what it would have done. (What cannot be caught cannot be helped.)
//
// A write that fails is remembered, and everything after it is dropped.

#include <array>
#include <atomic>
#include <cstddef>
#include <string_view>

#include "tools/nexthop-replay/Line.h"

namespace Routing::Replay {

class Output {
 public:
  // The descriptor stays the caller's.
  Output(int descriptor, Form form) noexcept : descriptor_(descriptor), form_(form) {}
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output();

  Form form() const noexcept { return form_; }
  // A muted output drops what is printed.
  void mutedIs(bool muted) noexcept { muted_ = muted; }
  void print(const Line& line);
  void flush() noexcept;
  // The errno of the write that failed; 0: none did.
  int error() const noexcept { return error_; }

  // From now on signals that end the process write this output out first. One at a time; it lasts
  // until the output is destroyed.
  void flushAtSignals();

 private:
  static constexpr std::size_t blockSize = std::size_t{64} * 1024;

  static void handleSignal(int signal) noexcept;
  // Fit for a signal handler.
  void writeAll(const char* data, std::size_t size) noexcept;
  void writeBlock() noexcept;

  int descriptor_;
  Form form_;
  bool muted_ = false;
  int error_ = 0;
  // Bytes of the block that are whole lines.
  std::atomic<std::size_t> used_{0};
  std::array<char, blockSize> block_{};
};

}  // namespace Routing::Replay
