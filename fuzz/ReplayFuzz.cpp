// Replay files as a whole: the input is the file, and the invariants are asked for after every
// command.
//
// Left out are the lines after which the library rightly ends the process or the invariants rightly
// fail, so that what is left must hold:
//   files that are named (routes) and names of operations (invoke)
//   entries of a type that no directory is meant to hold, a client in both status directories, and
//     a client's status replaced under a manager
//   what an earlier run left (context, published, status-entry), written under a manager
//   a counter near its end
//   routes with FecId 0, which hosts do not write
//   what is more than tables, while notifications are switched off: what is missed then is not made
//     up for, and machines that others have gone on without may rightly end the process

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "platform/entity/ValueParser.h"
#include "tests/invariant/Lifetime.h"
#include "tests/support/ReplayInvariants.h"
#include "tools/nexthop-replay/Arguments.h"
#include "tools/nexthop-replay/Commands.h"
#include "tools/nexthop-replay/InputError.h"
#include "tools/nexthop-replay/Reader.h"
#include "tools/nexthop-replay/Session.h"

namespace Routing::Fuzz {

namespace {

using Words = std::vector<std::string_view>;
using Replay::Directory;

class Judge {
 public:
  explicit Judge(Replay::World& world) : world_(world) {}

  bool mayRun(const Words& words) const {
    const std::string_view command = words[0];
    if (isOneOf(command, {"routes", "invoke", "foreign", "echo"}) ||
        isOneOf(command, {"expect", "expect-none"})) {
      return false;
    }
    if (anyPaused() && !isOneOf(command,
                                {"notifications",
                                 "manager-del",
                                 "route-del",
                                 "route",
                                 "table",
                                 "table-del",
                                 "trie",
                                 "trie-del",
                                 "announce",
                                 "fec",
                                 "fec-del",
                                 "announce-fec",
                                 "corrupt",
                                 "show"})) {
      return false;
    }
    if (isOneOf(command, {"published", "status-entry"}) || command == "replace") {
      return !anyManager();
    }
    if (command == "context") {
      return !anyManager() && words.size() > 2 && counterHasRoom(words[2]);
    }
    if (command == "status" && words.size() > 1) {
      return !world_.entry(words.size() > 2 ? Directory::status : Directory::cell,
                           String(words[1]));
    }
    if (isOneOf(command, {"route", "table"}) && words.size() > 4) {
      return ValueParser<std::uint64_t>::parse(words[4]) != std::uint64_t{0};
    }
    return true;
  }

 private:
  static bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
  }
  static bool counterHasRoom(std::string_view text) {
    const auto value = ValueParser<std::uint64_t>::parse(text);
    return value && (*value < ResolverId::maxResId / 2 ||
                     *value == NexthopResolverFibViaContext::allAllocated);
  }
  template <class Test>
  bool anyManager(Test test) const {
    return std::any_of(world_.vrfs().begin(), world_.vrfs().end(), [&](const auto& vrf) {
      return vrf.second.manager && test(*vrf.second.manager);
    });
  }
  bool anyManager() const {
    return anyManager([](const NexthopResolverManagerSm&) { return true; });
  }
  bool anyPaused() const {
    return anyManager(
        [](const NexthopResolverManagerSm& manager) { return !manager.hasNotificationActive(); });
  }

  Replay::World& world_;
};

void executeAndDrop(std::string_view file) {
  Replay::Output output(-1, Replay::Form::text);
  output.mutedIs(true);
  Replay::Session session(output);
  const Judge judge(session.world());
  Support::ReplayInvariants invariants(session.world());
  Words words;
  for (std::size_t at = 0; at < file.size();) {
    const std::size_t end = std::min(file.find('\n', at), file.size());
    const std::string_view line = file.substr(at, end - at);
    at = end + 1;
    Replay::splitWords(line, words);
    if (!Replay::isUtf8(line) || words.empty() || !judge.mayRun(words)) {
      continue;
    }
    invariants.beforeCommand(words);
    try {
      Replay::Arguments arguments(words, line);
      Replay::findCommand(words[0]).run(session, arguments);
    } catch (const Replay::InputError&) {
      // Nothing was done.
    }
    for (const String& violation : invariants.afterCommand()) {
      require(false, "after " + String(line) + ": " + violation);
    }
  }
}

void execute(std::string_view file) {
  const Support::NothingOfTheSystemLivesAfterDestruction lifetime;
  executeAndDrop(file);
  const String left = lifetime.broken();
  require(left.empty(), "still alive: " + left);
}

}  // namespace

}  // namespace Routing::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Routing::Fuzz::execute({reinterpret_cast<const char*>(data), size});
  return 0;
}
