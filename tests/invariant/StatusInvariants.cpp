#include "tests/invariant/StatusInvariants.h"

#include <string>

#include "platform/task/Task.h"

namespace Routing::Support {

namespace {

// The first client of whose resolver the test is false; empty when there is none.
template <class Test>
String firstFailing(const NexthopResolverManagerSm& manager, Test test) {
  for (auto cursor = manager.resolverSm().cursor(); !cursor.atEnd(); cursor.next()) {
    if (!test(*cursor.member().value)) {
      return manager.vrfName() + ' ' + cursor.key();
    }
  }
  return {};
}

}  // namespace

String ReviewSetHasMembersExactlyWhileTheTaskIsScheduled::afterStep(
    const NexthopResolverManagerSm& manager,
    const ObservedWorld& /*world*/) {
  return firstFailing(manager, [](const NexthopResolverSm& resolver) {
    return resolver.reviewNexthopTask()->taskIsRunnable() != resolver.reviewNexthop().empty();
  });
}

// A task that runs takes its members out one by one and is scheduled again at its end.
String ReviewSetHasMembersExactlyWhileTheTaskIsScheduled::duringDelivery(const ObservedWorld& world,
                                                                         const OutputEvent& event) {
  const Ptr<NexthopResolverManagerSm> manager = world.managerOf(event.vrf);
  const Task* const running = world.scheduler().runningTask();
  return !manager ? String() : firstFailing(*manager, [&](const NexthopResolverSm& resolver) {
    return resolver.reviewNexthopTask().get() == running ||
           resolver.reviewNexthopTask()->taskIsRunnable() != resolver.reviewNexthop().empty();
  });
}

String FailedEntrySaysNothingElse::duringDelivery(const ObservedWorld& /*world*/,
                                                  const OutputEvent& event) {
  if (event.kind != OutputEvent::Kind::status) {
    return {};
  }
  const NexthopStatusEntry& entry = event.entry;
  const bool keyed = entry.addr == event.addr;
  const bool resolved = entry.resolutionState == NexthopResolutionState::resolved && entry.prefix;
  const bool failed = entry.resolutionState == NexthopResolutionState::failed && entry.fecId == 0 &&
                      entry.metric == 0 && entry.preference == 1 && !entry.prefix &&
                      entry.routeType == 0 && entry.route6Type == 0;
  return keyed && (resolved || failed) ? String() : event.text();
}

String UnconfiguredNexthopHasNoEntryOnceReviewed::afterStep(const NexthopResolverManagerSm& manager,
                                                            const ObservedWorld& /*world*/) {
  return firstFailing(manager, [](const NexthopResolverSm& resolver) {
    if (!resolver.reviewNexthop().empty()) {
      return true;
    }
    const auto& entries = resolver.nexthopVrfStatus()->nexthop();
    for (auto cursor = entries.cursor(); !cursor.atEnd(); cursor.next()) {
      if (!resolver.nexthopVrfConfig()->nexthopConfigured(cursor.key())) {
        return false;
      }
    }
    return true;
  });
}

void StatusOfOtherVrfsIsNotTouched::beforeStep(const ObservedWorld& /*world*/, const Step& step) {
  vrf_ = step.vrf;
}

// A review is of one VRF too; its task's name says which.
String StatusOfOtherVrfsIsNotTouched::duringDelivery(const ObservedWorld& world,
                                                     const OutputEvent& event) {
  if (!event.isStatus()) {
    return {};
  }
  const Task* const task = world.scheduler().runningTask();
  const bool otherTask = task != nullptr && task->taskName().find("NexthopReview-") == 0 &&
                         task->taskName().find('-' + event.vrf + '-') == String::npos;
  const bool otherOperation = !vrf_.empty() && vrf_ != event.vrf;
  return otherTask || otherOperation ? event.text() : String();
}

// While records come and go the resolvers follow. Who has just been given an entry or a reference
// has one.
String ResolverExistsExactlyWhileConfiguredWithStatus::duringDelivery(const ObservedWorld& world,
                                                                      const OutputEvent& event) {
  const Ptr<NexthopResolverManagerSm> manager = world.managerOf(event.vrf);
  const bool given =
      event.kind == OutputEvent::Kind::status || event.kind == OutputEvent::Kind::key;
  return !given || !manager || manager->resolverSm().has(event.client) ? String() : event.text();
}

String ResolverExistsExactlyWhileConfiguredWithStatus::afterStep(
    const NexthopResolverManagerSm& manager,
    const ObservedWorld& world) {
  const Dir::Entries& configs = world.configDir().entry();
  std::size_t expected = 0;
  for (auto cursor = configs.cursor(); !cursor.atEnd(); cursor.next()) {
    const String& client = cursor.key();
    const bool configured =
        entityOf<NexthopConfig>(world.configDir(), client)->vrfHas(manager.vrfName());
    const bool hasStatus =
        world.statusDir(false).entry().has(client) ||
        (manager.nexthopCellSpecificStatusDir() && world.statusDir(true).entry().has(client));
    if (configured && hasStatus) {
      ++expected;
      if (!manager.resolverSm().has(client)) {
        return client + " has none";
      }
    }
  }
  return manager.resolverSm().size() == expected ? String() : "there are too many";
}

}  // namespace Routing::Support
