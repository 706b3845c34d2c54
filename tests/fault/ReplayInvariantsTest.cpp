#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "tests/support/ReplayInvariants.h"
#include "tools/nexthop-replay/Arguments.h"
#include "tools/nexthop-replay/Commands.h"
#include "tools/nexthop-replay/InputError.h"
#include "tools/nexthop-replay/Output.h"
#include "tools/nexthop-replay/Reader.h"
#include "tools/nexthop-replay/Session.h"

namespace Routing::Support {
namespace {

class ReplayInvariantsTest : public testing::Test {
 protected:
  ReplayInvariantsTest() { output_.mutedIs(true); }

  // What is violated after the command, which may be refused.
  std::vector<String> violationsAfter(const String& command) {
    std::vector<std::string_view> words;
    Replay::splitWords(command, words);
    invariants_.beforeCommand(words);
    try {
      Replay::Arguments arguments(words, command);
      Replay::findCommand(words.front()).run(session_, arguments);
    } catch (const Replay::InputError&) {
      refused_ = true;
    }
    return invariants_.afterCommand();
  }

  Replay::Output output_{-1, Replay::Form::text};
  Replay::Session session_{output_};
  ReplayInvariants invariants_{session_.world()};
  bool refused_ = false;
};

// A FEC that changes is published under the number that it has, after a greater one was given to
// another: not so in a new run.
TEST_F(ReplayInvariantsTest, AManagerThatIsThereAlreadyBeginsNoNewRun) {
  const std::vector<String> none;
  for (const char* const command : {"vrf v1",
                                    "fec 7 via 10.9.0.1 intf 1",
                                    "route v1 10.0.0.0/8 fec 7",
                                    "route v1 10.2.0.0/16 fec 9",
                                    "manager v1",
                                    "client a v1 resolver",
                                    "nexthop a v1 10.0.0.1",
                                    "nexthop a v1 10.2.0.1",
                                    "run"}) {
    EXPECT_EQ(violationsAfter(command), none);
  }
  EXPECT_FALSE(refused_);
  EXPECT_EQ(violationsAfter("manager v1"), none);
  EXPECT_TRUE(refused_);
  EXPECT_EQ(violationsAfter("fec 9 via 10.9.0.3 intf 3"), none);
  EXPECT_EQ(violationsAfter("fec 7 via 10.9.0.4 intf 4"), none);
}

}  // namespace
}  // namespace Routing::Support
