#pragma once

// The seed of a randomized test: fixed, unless the environment sets NEXTHOP_SEED. A test that uses
// it scopes a SeedTrace, which names the seed in every failure.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace Routing::Support {

inline std::uint64_t seed() {
  constexpr std::uint64_t fixed = 20240229;
  const char* const text = std::getenv("NEXTHOP_SEED");
  return text == nullptr ? fixed : std::stoull(text);
}

class SeedTrace {
 public:
  explicit SeedTrace(std::uint64_t seed)
      : trace_(__FILE__, __LINE__, "NEXTHOP_SEED=" + std::to_string(seed)) {}

 private:
  testing::ScopedTrace trace_;
};

}  // namespace Routing::Support
