#include "tests/support/StoryRun.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>

#include "tools/nexthop-replay/Arguments.h"
#include "tools/nexthop-replay/Commands.h"
#include "tools/nexthop-replay/Reader.h"
#include "tools/nexthop-replay/RecordLines.h"
#include "tools/nexthop-replay/Shows.h"

namespace Routing::Support {

using Replay::World;

namespace {

bool onlyPrints(const String& word) {
  static const std::set<String>
      words{"echo", "trace", "watch", "show", "expect", "expect-none", "dump", "inspect"};
  return words.count(word) != 0;
}

std::vector<std::string_view> wordsOf(const String& line) {
  std::vector<std::string_view> words;
  Replay::splitWords(line, words);
  return words;
}

}  // namespace

String storyFile(std::string_view name, std::string_view extension) {
  return String("tests/replay/").append(name).append(extension);
}

String commandWord(const String& command) { return String(wordsOf(command).front()); }

Story Story::load(const String& name) {
  std::ifstream file(storyFile(name, ".replay"));
  if (!file) {
    throw std::runtime_error("there is no story " + name);
  }
  Story story{name, {}};
  String line;
  while (std::getline(file, line)) {
    if (!wordsOf(line).empty() && !onlyPrints(commandWord(line))) {
      story.commands.push_back(line);
    }
  }
  return story;
}

const std::vector<String>& faultStories() {
  static const std::vector<String> stories{"move-between-fecs",
                                           "fec-appears-while-a-move-is-pending",
                                           "fec-removed-under-four-nexthops",
                                           "routing-off-and-on",
                                           "warm-restart",
                                           "configuration-removed"};
  return stories;
}

String storyTestName(String story) {
  std::replace(story.begin(), story.end(), '-', '_');
  return story;
}

StoryRun::StoryRun() : output_(-1, Replay::Form::text), session_(output_) { output_.mutedIs(true); }

void StoryRun::watchInvariants() { invariants_ = std::make_unique<ReplayInvariants>(world()); }

std::vector<String> StoryRun::violations() {
  return invariants_ ? std::exchange(violations_, {}) : ReplayInvariants(world()).afterCommand();
}

void StoryRun::readFailed() { invariants_->readFailed(); }

void StoryRun::execute(const String& command) {
  const std::vector<std::string_view> words = wordsOf(command);
  if (!invariants_) {
    executeWords(words, command);
    return;
  }
  invariants_->beforeCommand(words);
  executeWords(words, command);
  for (const String& violation : invariants_->afterCommand()) {
    violations_.push_back("after " + command + ": " + violation);
  }
}

void StoryRun::executeWords(const std::vector<std::string_view>& words, const String& command) {
  if (makeManager_ && words.front() == "manager") {
    makeManager_(world(), world().vrf(String(words.at(1))));
    return;
  }
  Replay::Arguments arguments(words, command);
  Replay::findCommand(words.front()).run(session_, arguments);
}

void StoryRun::execute(const Story& story) {
  for (const String& command : story.commands) {
    execute(command);
  }
}

std::set<VrfName> StoryRun::managed() {
  std::set<VrfName> names;
  for (const auto& [name, vrf] : world().vrfs()) {
    if (vrf.manager) {
      names.insert(name);
    }
  }
  return names;
}

void StoryRun::dropManagers() {
  for (const VrfName& name : managed()) {
    world().vrf(name).manager = nullptr;
  }
}

void StoryRun::makeManagers(const std::set<VrfName>& vrfs) {
  for (const VrfName& name : vrfs) {
    execute("manager " + name);
  }
}

void StoryRun::settle(const std::set<VrfName>& vrfs) {
  for (const VrfName& name : vrfs) {
    if (!world().vrf(name).manager) {
      execute("manager " + name);
    }
  }
  execute("budget 0");
  execute("advance 301");
}

namespace {

// The FEC that each identifier of a VRF stands for.
using FecsById = std::map<std::pair<VrfName, std::uint64_t>, FecId>;

FecsById fecsById(const World& world) {
  FecsById fecs;
  for (const auto& [name, vrf] : world.vrfs()) {
    if (!vrf.manager) {
      continue;
    }
    const auto& map = vrf.manager->fecIdToResolverId()->fecIdToResolverIdMap();
    for (auto cursor = map.cursor(); !cursor.atEnd(); cursor.next()) {
      fecs[{name, cursor.member().value.value()}] = cursor.key();
    }
  }
  return fecs;
}

String nameOf(const FecsById& fecs, const VrfName& vrf, std::uint64_t id) {
  const auto found = fecs.find({vrf, id});
  return found == fecs.end() ? "withdrawn" : "of-fec-" + std::to_string(found->second);
}

void addStatus(const NexthopStatus& status, const FecsById& fecs, std::vector<String>& lines) {
  for (auto vrfs = status.vrf().cursor(); !vrfs.atEnd(); vrfs.next()) {
    const VrfName& vrf = vrfs.key();
    const auto& vrfStatus = vrfs.member().value;
    for (auto cursor = vrfStatus->nexthop().cursor(); !cursor.atEnd(); cursor.next()) {
      NexthopStatusEntry entry = cursor.member();
      String id;
      if (vrfStatus->fecIdType() == NexthopStatusFecIdType::resolverId &&
          entry.resolutionState == NexthopResolutionState::resolved) {
        id = " " + nameOf(fecs, vrf, entry.fecId);
        entry.fecId = 0;
      }
      lines.push_back(Replay::statusLine(status.name(), vrf, entry).text() + id);
    }
  }
}

void addForwarding(const World& world, const FecsById& fecs, std::vector<String>& lines) {
  const auto& forwarding = world.presentForwardingStatus();
  if (!forwarding) {
    return;
  }
  for (auto vrfs = forwarding->vrf().cursor(); !vrfs.atEnd(); vrfs.next()) {
    const VrfName& vrf = vrfs.key();
    const auto& records = vrfs.member().value;
    for (auto cursor = records->nexthopResolverIdVia().cursor(); !cursor.atEnd(); cursor.next()) {
      const NexthopResolverIdVia& record = cursor.member();
      Replay::Line line("forwarding");
      line.word("vrf", vrf).word("id", nameOf(fecs, vrf, record.resolverId().value()));
      lines.push_back(line.vias(record.nexthopResolverVia()).text());
    }
  }
}

}  // namespace

std::vector<String> standingState(World& world) {
  const FecsById fecs = fecsById(world);
  std::vector<String> lines;
  for (const auto directory : {Replay::Directory::status, Replay::Directory::cell}) {
    world.walk(directory, [&](const String& name) {
      if (const auto status = ptrCast<NexthopStatus>(world.entry(directory, name))) {
        addStatus(*status, fecs, lines);
      }
    });
  }
  addForwarding(world, fecs, lines);
  for (const auto& [id, fec] : fecs) {
    lines.push_back("map " + id.first + " " + std::to_string(fec));
  }
  for (const auto& shown : {Replay::showVrfStatus(world, {}),
                            Replay::showReferences(world, {}),
                            Replay::showResolvers(world, {}),
                            Replay::showTracked(world, {})}) {
    for (const Replay::Line& line : shown) {
      lines.push_back(line.text());
    }
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

StoryEnd endOf(const Story& story) {
  StoryEnd end;
  StoryRun run;
  for (const String& command : story.commands) {
    run.execute(command);
    end.served.merge(run.managed());
  }
  run.settle(end.served);
  end.state = standingState(run.world());
  return end;
}

}  // namespace Routing::Support
