#include "tests/invariant/IdentifierInvariants.h"

#include <exception>
#include <optional>
#include <string>

namespace Routing::Support {

namespace {

using Kind = OutputEvent::Kind;

bool isReserved(std::uint64_t resolverId) { return resolverId <= 3; }
std::uint64_t counterOf(std::uint64_t resolverId) { return resolverId & 0x00ffffffffffffff; }

bool isPublished(const ObservedWorld& world, const VrfName& vrf, std::uint64_t resolverId) {
  const auto records = world.forwarding(vrf);
  return records && records->nexthopResolverIdViaHas(ResolverId(resolverId));
}

bool sameVias(const NexthopResolverIdVia& record, const FibGen::Fec& fec) {
  const auto& vias = record.nexthopResolverVia();
  if (vias.size() != fec.viaCount()) {
    return false;
  }
  for (std::size_t i = 0; i < vias.size(); ++i) {
    const FibGen::Via& from = fec.via()[i];
    const bool beyond = fec.viaIndexBoundary() != 0 && i >= fec.viaIndexBoundary();
    if (vias[i].hop() != from.hop || !(vias[i].intfId() == from.intfId) ||
        vias[i].weight() != from.weight ||
        !(vias[i].mplsLabelAndAction() == from.mplsLabelAndAction()) ||
        vias[i].beyondBoundary() != beyond) {
      return false;
    }
  }
  return true;
}

// Nothing when it cannot be read.
std::optional<FibGen::Fec> readFec(const ObservedWorld& world, FecId fecId) {
  try {
    return world.fecs().fec(fecId);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

bool isAbsent(const FibGen::Fec& fec) { return fec.isEq(FibGen::Fec(0)); }

// Whether the record of the identifier is published with the vias that its FEC has now.
bool hasItsVias(const ObservedWorld& world,
                const VrfName& vrf,
                FecId fecId,
                ResolverId identifier) {
  const auto records = world.forwarding(vrf);
  const auto* const record = records ? records->nexthopResolverIdVia().find(identifier) : nullptr;
  const auto fec = readFec(world, fecId);
  return record != nullptr && (!fec || sameVias(*record, *fec));
}

}  // namespace

// A record is written again when its FEC changes, and the first time before the map tells of it.
String ReferencedPresentFecHasOneIdentifierWithItsVias::duringDelivery(const ObservedWorld& world,
                                                                       const OutputEvent& event) {
  const auto manager = world.managerOf(event.vrf);
  if (!manager || (event.kind != Kind::map && event.kind != Kind::forwarding)) {
    return {};
  }
  const std::uint64_t identifier = event.kind == Kind::map ? event.value : event.id;
  const auto& map = manager->fecIdToResolverId()->fecIdToResolverIdMap();
  for (auto cursor = map.cursor(); !cursor.atEnd(); cursor.next()) {
    if (cursor.member().value.value() == identifier &&
        !hasItsVias(world, event.vrf, cursor.key(), cursor.member().value)) {
      return event.text();
    }
  }
  return {};
}

String ReferencedPresentFecHasOneIdentifierWithItsVias::afterStep(
    const NexthopResolverManagerSm& manager,
    const ObservedWorld& world) {
  const auto& map = manager.fecIdToResolverId()->fecIdToResolverIdMap();
  const auto& references = manager.fecIdToClientHop()->fecIdRef();
  for (auto cursor = references.cursor(); !cursor.atEnd(); cursor.next()) {
    const auto fec = readFec(world, cursor.key());
    if (fec && !isAbsent(*fec) && !map.has(cursor.key())) {
      return "FEC " + std::to_string(cursor.key()) + " has none";
    }
  }
  for (auto cursor = map.cursor(); !cursor.atEnd(); cursor.next()) {
    const FecId fecId = cursor.key();
    const auto fec = readFec(world, fecId);
    const bool wanted = references.has(fecId) && !(fec && isAbsent(*fec));
    if (!wanted || !hasItsVias(world, manager.vrfName(), fecId, cursor.member().value)) {
      return "FEC " + std::to_string(fecId);
    }
  }
  return {};
}

String IdentifierMapIsInjective::duringDelivery(const ObservedWorld& world,
                                                const OutputEvent& event) {
  const auto manager = world.managerOf(event.vrf);
  if (event.kind != Kind::map || !manager) {
    return {};
  }
  const auto& map = manager->fecIdToResolverId()->fecIdToResolverIdMap();
  for (auto cursor = map.cursor(); !cursor.atEnd(); cursor.next()) {
    if (cursor.key() != event.id && cursor.member().value.value() == event.value) {
      return event.text();
    }
  }
  return {};
}

void CounterValuesOfARunOnlyIncrease::beforeStep(const ObservedWorld& /*world*/, const Step& step) {
  runs_.erase(step.start);
}

// A record appears in the order of allocation; a map entry may be told after those that its own
// appearance has caused.
String CounterValuesOfARunOnlyIncrease::duringDelivery(const ObservedWorld& world,
                                                       const OutputEvent& event) {
  if (isReserved(event.id) || !world.managerOf(event.vrf)) {
    return {};
  }
  Run& run = runs_[event.vrf];
  if (event.kind == Kind::forwardingDel) {
    run.published.erase(event.id);
  }
  if (event.kind != Kind::forwarding || !run.published.insert(event.id).second) {
    return {};
  }
  const bool larger = counterOf(event.id) > run.largest;
  run.largest = counterOf(event.id);
  return larger ? String() : event.text();
}

String InformationBitsAreThoseOfTheFec::duringDelivery(const ObservedWorld& /*world*/,
                                                       const OutputEvent& event) {
  const bool same = event.value >> 56U == event.id >> 56U;
  return event.kind != Kind::map || same ? String() : event.text();
}

String ReservedFecIdIsItsOwnIdentifier::duringDelivery(const ObservedWorld& /*world*/,
                                                       const OutputEvent& event) {
  const bool either = isReserved(event.id) || isReserved(event.value);
  return event.kind != Kind::map || !either || event.id == event.value ? String() : event.text();
}

void RecordComesBeforeAndGoesBeforeTheMapEntry::beforeStep(const ObservedWorld& /*world*/,
                                                           const Step& step) {
  known_.erase(step.start);
}

String RecordComesBeforeAndGoesBeforeTheMapEntry::duringDelivery(const ObservedWorld& world,
                                                                 const OutputEvent& event) {
  std::map<FecId, std::uint64_t>& known = known_[event.vrf];
  if (event.kind == Kind::map) {
    known[event.id] = event.value;
    // The map still holds it, or this would be another kind of event.
    return isPublished(world, event.vrf, event.value) ? String() : event.text();
  }
  const auto found = known.find(event.id);
  if (event.kind != Kind::mapDel || found == known.end()) {
    return {};
  }
  const bool gone = !isPublished(world, event.vrf, found->second);
  known.erase(found);
  return gone ? String() : event.text();
}

String ContextIsWrittenBeforeTheRecord::duringDelivery(const ObservedWorld& world,
                                                       const OutputEvent& event) {
  if (event.kind == Kind::forwardingDel) {
    published_.erase({event.vrf, event.id});
  }
  if (event.kind != Kind::forwarding || !published_.insert({event.vrf, event.id}).second) {
    return {};
  }
  const bool past =
      !world.managerOf(event.vrf) ||
      world.contextOf(event.vrf)->firstUnAllocatedNexthopResolverId() == counterOf(event.id) + 1;
  return past ? String() : event.text();
}

void UnreferencedFecCausesNoEvent::beforeStep(const ObservedWorld& world, const Step& step) {
  silent_.clear();
  if (!step.fec) {
    return;
  }
  for (const VrfName& vrf : world.vrfNames()) {
    const auto manager = world.managerOf(vrf);
    if (!manager || !manager->fecIdToClientHop()->fecIdRef().has(*step.fec)) {
      silent_.insert(vrf);
    }
  }
}

String UnreferencedFecCausesNoEvent::duringDelivery(const ObservedWorld& /*world*/,
                                                    const OutputEvent& event) {
  return silent_.count(event.vrf) == 0 ? String() : event.text();
}

}  // namespace Routing::Support
