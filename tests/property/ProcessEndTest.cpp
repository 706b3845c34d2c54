// A sequence that ends the process is told, whatever ends it: a failed assertion, a bad address, or
// a finding of the sanitizers. Asked in a child process, that is another answer than yes and no.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>

#include "tests/property/ProcessEnd.h"

namespace Routing::Support {
namespace {

const Sequence sequence{{.kind = Operation::Kind::config, .client = 1}};
constexpr auto told = "# NEXTHOP_SEED=7, sequence 3\n# ended the process\nconfig b\n";

template <class End>
void endWithLastWords(End end) {
  const LastWords lastWords(7, 3, sequence);
  end();
}

TEST(LastWords, AreSaidOverAnAbort) {
  EXPECT_DEATH(endWithLastWords([] { std::abort(); }), told);
}

TEST(LastWords, AreSaidOverABadAddress) {
  EXPECT_DEATH(endWithLastWords([] { std::raise(SIGSEGV); }), told);
}

TEST(LastWords, LeaveTheSignalsAsTheyWere) {
  endWithLastWords([] {});
  EXPECT_EQ(std::signal(SIGABRT, SIG_DFL), SIG_DFL);
}

TEST(AskedApart, AQuestionHasAnAnswer) {
  EXPECT_EQ(askApart([] { return true; }), true);
  EXPECT_EQ(askApart([] { return false; }), false);
}

TEST(AskedApart, TheEndOfTheProcessIsNoAnswer) {
  // What most sanitizers and most programs end with.
  EXPECT_EQ(askApart([]() -> bool { _exit(1); }), std::nullopt);
  EXPECT_EQ(askApart([]() -> bool { _exit(0); }), std::nullopt);
  EXPECT_EQ(askApart([]() -> bool { std::abort(); }), std::nullopt);
}

#ifdef __SANITIZE_ADDRESS__
// Read through a volatile pointer, which no compiler follows.
int readWhatIsGone() {
  auto owner = std::make_unique<int>(1);
  const int* volatile gone = owner.get();
  owner = nullptr;
  return *gone;
}

TEST(LastWords, AreSaidOverAFindingOfTheAddressSanitizer) {
  EXPECT_DEATH(endWithLastWords([] { static_cast<void>(readWhatIsGone()); }),
               std::string("heap-use-after-free(.|\n)*") + told);
}

TEST(AskedApart, AFindingOfTheAddressSanitizerIsNoAnswer) {
  EXPECT_EQ(askApart([] { return readWhatIsGone() == 1; }), std::nullopt);
}
#endif

}  // namespace
}  // namespace Routing::Support
