#include "tests/support/ReplayInvariants.h"

#include <algorithm>
#include <array>
#include <initializer_list>

#include "platform/entity/ValueParser.h"

namespace Routing::Support {

namespace {

using Replay::Directory;
using Replay::World;
using Words = std::vector<std::string_view>;

bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

std::optional<FecId> fecIdIn(const Words& words, std::size_t place) {
  return place < words.size() ? ValueParser<std::uint64_t>::parse(words[place]) : std::nullopt;
}

// A line that does not read does nothing, so it does not matter what is made of it: but for a
// start, which is one only when there is no manager yet.
Step stepOf(const Words& words) {
  const std::string_view command = words.front();
  const auto wordAt = [&](std::size_t place) {
    return place < words.size() ? VrfName(words[place]) : VrfName();
  };
  Step step;
  if (command == "manager") {
    step.start = wordAt(1);
  }
  step.switchesNotifications = command == "notifications";
  if (isOneOf(command,
              {"manager",
               "manager-del",
               "notifications",
               "vrf",
               "routing",
               "announce",
               "route",
               "route-del",
               "table",
               "table-del",
               "trie",
               "trie-del"})) {
    step.vrf = wordAt(1);
  } else if (isOneOf(command, {"nexthop", "nexthop-del", "config-vrf-del"})) {
    step.vrf = wordAt(2);
  } else if (isOneOf(command, {"fec", "fec-del", "announce-fec"})) {
    step.fec = fecIdIn(words, 1);
  }
  constexpr std::size_t fecOfRoute = 4;
  step.usesFecZero = (command == "fec" && step.fec == FecId{0}) ||
                     (isOneOf(command, {"route", "table"}) && fecIdIn(words, fecOfRoute) == 0);
  return step;
}

}  // namespace

class ReplayInvariants::Watched final : public ObservedWorld {
 public:
  explicit Watched(World& world) : world_(world) {
    for (StatusFollower& follower : followers_) {
      follower.subscribe(*world_.dir(follower.directory));
      world_.walk(follower.directory,
                  [&](const String& name) { observeStatus(follower.directory, name); });
    }
    observe(*world_.forwardingStatus());
    world_.fecs();
    world_.dir(Directory::config);
    observeTheRest();
  }

  // Contexts appear with the VRF's name, the bookkeeping when the factory returns.
  void observeTheRest() {
    for (const auto& [name, vrf] : world_.vrfs()) {
      // None when there was no memory for it.
      if (vrf.context) {
        observe(*vrf.context, name);
      }
      if (vrf.manager) {
        observe(*vrf.manager);
      }
    }
  }

  std::vector<VrfName> vrfNames() const override {
    std::vector<VrfName> names;
    for (const auto& [name, vrf] : world_.vrfs()) {
      names.push_back(name);
    }
    return names;
  }
  Ptr<NexthopResolverManagerSm> managerOf(const VrfName& vrf) const override {
    const auto found = world_.vrfs().find(vrf);
    return found == world_.vrfs().end() ? nullptr : found->second.manager;
  }
  Ptr<NexthopResolverFibViaContext> contextOf(const VrfName& vrf) const override {
    const auto found = world_.vrfs().find(vrf);
    return found == world_.vrfs().end() ? nullptr : found->second.context;
  }
  Ptr<NexthopResolverVrfForwardingStatus> forwarding(const VrfName& vrf) const override {
    return world_.forwardingStatus()->vrf(vrf);
  }
  const TaskScheduler& scheduler() const override { return world_.scheduler(); }
  const FibGen::MemoryForwardingStatus& fecs() const override { return *world_.fecs(); }
  const Dir& configDir() const override { return *world_.dir(Directory::config); }
  const Dir& statusDir(bool cell) const override {
    return *world_.dir(cell ? Directory::cell : Directory::status);
  }

 private:
  // Not an observer: it comes before the managers, which write to the status at once.
  class StatusFollower final : public Notifiee {
   public:
    StatusFollower(Watched& watched, Directory of) : directory(of), watched_(watched) {}
    StatusFollower(const StatusFollower&) = delete;
    StatusFollower& operator=(const StatusFollower&) = delete;
    ~StatusFollower() override = default;
    void onAttribute(FieldId /*field*/, const void* key) override {
      watched_.observeStatus(directory, *static_cast<const String*>(key));
    }

    const Directory directory;

   private:
    Watched& watched_;
  };

  void observeStatus(Directory directory, const String& name) {
    if (const auto status = ptrCast<NexthopStatus>(world_.entry(directory, name))) {
      observe(*status);
    }
  }

  World& world_;
  std::array<StatusFollower, 2> followers_{{{*this, Directory::status}, {*this, Directory::cell}}};
};

ReplayInvariants::ReplayInvariants(World& world)
    : watched_(std::make_unique<Watched>(world)), check_(*watched_) {}

ReplayInvariants::~ReplayInvariants() = default;

void ReplayInvariants::beforeCommand(const Words& words) {
  watched_->observeTheRest();
  Step step = stepOf(words);
  if (watched_->managerOf(step.start)) {
    step.start.clear();
  }
  check_.beforeStep(step);
}

std::vector<String> ReplayInvariants::afterCommand() {
  watched_->observeTheRest();
  watched_->takeEvents();
  return check_.afterStep();
}

}  // namespace Routing::Support
