#include "platform/entity/Assert.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>

#ifdef NEXTHOP_COVERAGE
extern "C" void __gcov_dump(void);
#endif

namespace Routing {

void assertionFailed(const char* file,
                     unsigned line,
                     const char* function,
                     const char* text) noexcept {
  std::array<char, 16> digits{};
  std::to_chars(digits.data(), digits.data() + digits.size() - 1, line);
  for (const char* piece : {file,
                            ":",
                            static_cast<const char*>(digits.data()),
                            ": ",
                            function,
                            ": Assertion \"",
                            text,
                            "\" failed.\n"}) {
    std::fputs(piece, stderr);
  }
#ifdef NEXTHOP_COVERAGE
  __gcov_dump();
#endif
  std::abort();
}

}  // namespace Routing
