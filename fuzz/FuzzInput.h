#pragma once

// What the fuzz targets share: the bytes of an input, taken one choice after the other, and the
// end of the process when an answer is wrong.
//
// An input that is used up goes on with zeros, so that every input is a whole run.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace Routing::Fuzz {

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) noexcept
      : bytes_(reinterpret_cast<const char*>(data), size) {}

  bool atEnd() const noexcept { return bytes_.empty(); }
  std::uint8_t byte() noexcept {
    if (atEnd()) {
      return 0;
    }
    const auto first = static_cast<std::uint8_t>(bytes_.front());
    bytes_.remove_prefix(1);
    return first;
  }
  // Below a bound of at most 256.
  std::size_t below(std::size_t bound) noexcept { return byte() % bound; }
  std::uint32_t word() noexcept {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
      value = value << 8U | byte();
    }
    return value;
  }
  // All that is left.
  std::string_view rest() noexcept {
    const std::string_view rest = bytes_;
    bytes_ = {};
    return rest;
  }

 private:
  std::string_view bytes_;
};

// Ends the process, which is how a fuzzer learns of a fault.
inline void require(bool holds, const std::string& what) {
  if (!holds) {
    std::fprintf(stderr, "fuzz: %s\n", what.c_str());
    std::abort();
  }
}

}  // namespace Routing::Fuzz

// What libFuzzer calls with each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
