// Lack of memory, at every allocation there is. A story runs in a child process in which the N-th
// allocation fails, for N = 1, 2, ... until the story ends without reaching the N-th.
//
// What may happen then, and nothing else:
//
//   left        std::bad_alloc leaves the command that the host gave, out of the library's
//               operation. The managers cannot be relied on any more; the host drops them and makes
//               them anew on the same records, gives its command again, and everything ends as if
//               nothing had failed.
//   ended       std::bad_alloc meets a task's run, a directory's dispatcher or a destructor, where
//               there is nobody to hand it to, and ends the process.
//   absorbed    nobody needed that memory badly (a table that would have been made smaller stays as
//               it is), and the story goes on as if nothing had failed.
//
// A failed assertion, another exception, an end of the story in another state, a violated invariant
// or an entity that lives on is a fault.
//
// A host that goes on with the managers that an exception has left finds their bookkeeping half
// way, so the invariants are not asked for; but nothing worse comes of it, and the next managers
// end where they should.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "tests/support/Allocations.h"
#include "tests/support/StoryRun.h"
#include "tools/nexthop-replay/Shows.h"

namespace Routing::Support {

namespace {

enum class Ending : int { notReached = 40, left, ended, absorbed, fault };

[[noreturn]] void endAs(Ending ending) { _exit(static_cast<int>(ending)); }

[[noreturn]] void fault(const String& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  endAs(Ending::fault);
}

// What the process does when an exception cannot leave.
[[noreturn]] void exceptionEndedTheProcess() {
  try {
    std::rethrow_exception(std::current_exception());
  } catch (const std::bad_alloc&) {
    endAs(Ending::ended);
  } catch (...) {
    fault("another exception ended the process");
  }
}

void requireInvariants(StoryRun& run, const String& when) {
  for (const String& violation : run.violations()) {
    fault(when + ": " + violation);
  }
}

enum class Recovery : bool { goOn, newManagers };

// A host that goes through a story while one allocation fails.
class Host {
 public:
  Host(const Story& story, Recovery recovery, std::uint64_t successes)
      : story_(story), recovery_(recovery), successesLeft_(successes) {}

  Ending tell() {
    for (const String& command : story_.commands) {
      if (ending_ == Ending::notReached) {
        executeWithFailure(command);
      } else {
        run_.execute(command);
      }
      if (ending_ == Ending::absorbed ||
          (ending_ == Ending::left && recovery_ == Recovery::newManagers)) {
        requireInvariants(run_, "after " + command);
      }
    }
    return ending_;
  }

  StoryRun& run() noexcept { return run_; }

 private:
  void executeWithFailure(const String& command) {
    const std::set<VrfName> managed = run_.managed();
    const std::uint64_t before = allocations();
    {
      const FailingAllocation failure(successesLeft_);
      try {
        run_.execute(command);
        ending_ = failure.fired() ? Ending::absorbed : Ending::notReached;
      } catch (const std::bad_alloc&) {
        ending_ = Ending::left;
      }
    }
    successesLeft_ -= allocations() - before;
    if (ending_ == Ending::left) {
      recover(command, managed);
    }
  }

  // Gives the command again, unless it has started or stopped a manager all the same.
  void recover(const String& command, const std::set<VrfName>& managed) {
    const String word = commandWord(command);
    if (recovery_ == Recovery::newManagers) {
      run_.dropManagers();
      run_.watchInvariants();
      if (word != "manager-del") {
        run_.makeManagers(managed);
      }
    }
    const bool done = run_.managed().empty() ? word == "manager-del" : word == "manager";
    if (!done) {
      run_.execute(command);
    }
  }

  const Story& story_;
  Recovery recovery_;
  std::uint64_t successesLeft_;
  Ending ending_ = Ending::notReached;
  StoryRun run_;
};

struct Attempt {
  const Story& story;
  const StoryEnd& end;
  Recovery recovery;
};

[[noreturn]] void runChild(const Attempt& attempt, std::uint64_t successes) {
  std::set_terminate(exceptionEndedTheProcess);
  Ending ending = Ending::notReached;
  try {
    Host host(attempt.story, attempt.recovery, successes);
    ending = host.tell();
    if (attempt.recovery == Recovery::goOn) {
      host.run().dropManagers();
    }
    host.run().settle(attempt.end.served);
    requireInvariants(host.run(), "at the end");
    if (standingState(host.run().world()) != attempt.end.state) {
      fault("the story ends in another state");
    }
  } catch (const std::exception& error) {
    fault(String("exception: ") + error.what());
  }
  for (const Replay::Line& line : Replay::showEntities()) {
    fault("lives on: " + line.text());
  }
  endAs(ending);
}

// How a child ended; a signal is a fault.
Ending endingOf(const Attempt& attempt, std::uint64_t successes) {
  const pid_t child = fork();
  if (child == 0) {
    runChild(attempt, successes);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
    return Ending::fault;
  }
  return static_cast<Ending>(WEXITSTATUS(status));
}

class AllocationFault : public testing::TestWithParam<String> {
 public:
  // Lets every allocation of the story fail once.
  static void failEach(Recovery recovery) {
    const Story story = Story::load(GetParam());
    const StoryEnd end = endOf(story);
    std::map<Ending, std::uint64_t> endings;
    for (std::uint64_t successes = 0; endings[Ending::notReached] == 0; ++successes) {
      const Ending ending = endingOf({story, end, recovery}, successes);
      ++endings[ending];
      ASSERT_TRUE(ending >= Ending::notReached && ending < Ending::fault)
          << "when allocation " << successes + 1 << " fails";
    }
    std::printf("%s: %d left the command, %d ended the process, %d were absorbed\n",
                story.name.c_str(),
                static_cast<int>(endings[Ending::left]),
                static_cast<int>(endings[Ending::ended]),
                static_cast<int>(endings[Ending::absorbed]));
    EXPECT_GT(endings[Ending::left], 50U);
    EXPECT_GT(endings[Ending::ended], 20U);
  }
};

TEST_P(AllocationFault, LeavesTheCommandOrEndsTheProcessOrChangesNothing) {
  failEach(Recovery::newManagers);
}

TEST_P(AllocationFault, IsForgottenByTheNextManagersWhateverTheHostDoesMeanwhile) {
  failEach(Recovery::goOn);
}

INSTANTIATE_TEST_SUITE_P(Stories,
                         AllocationFault,
                         testing::ValuesIn(faultStories()),
                         [](const testing::TestParamInfo<String>& story) {
                           return storyTestName(story.param);
                         });

}  // namespace

}  // namespace Routing::Support
