#include "tests/invariant/IdentifierInvariants.h"

#include <string>

namespace Routing::Support {

namespace {

using Kind = OutputEvent::Kind;

bool isReserved(std::uint64_t resolverId) { return resolverId <= 3; }
std::uint64_t counterOf(std::uint64_t resolverId) { return resolverId & 0x00ffffffffffffff; }

bool isPublished(const LiveWorld& world, const VrfName& vrf, std::uint64_t resolverId) {
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

bool startsARun(const Operation& operation) { return operation.kind == Operation::Kind::manager; }

}  // namespace

String ReferencedPresentFecHasOneIdentifierWithItsVias::afterStep(
    const NexthopResolverManagerSm& manager,
    const LiveWorld& world) {
  const auto& map = manager.fecIdToResolverId()->fecIdToResolverIdMap();
  const auto records = world.forwarding(manager.vrfName());
  std::size_t served = 0;
  const auto& references = manager.fecIdToClientHop()->fecIdRef();
  for (auto cursor = references.cursor(); !cursor.atEnd(); cursor.next()) {
    const FibGen::Fec fec = world.fecs().fec(cursor.key());
    if (fec.isEq(FibGen::Fec(0))) {
      continue;
    }
    ++served;
    const auto* const identifier = map.find(cursor.key());
    const NexthopResolverIdVia* const record =
        identifier == nullptr ? nullptr : records->nexthopResolverIdVia().find(identifier->value);
    if (record == nullptr || !sameVias(*record, fec)) {
      return "FEC " + std::to_string(cursor.key());
    }
  }
  return served == map.size() ? String() : "a FEC that is not referenced or not present";
}

String IdentifierMapIsInjective::duringDelivery(const LiveWorld& world, const OutputEvent& event) {
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

void CounterValuesOfARunOnlyIncrease::beforeStep(const LiveWorld& /*world*/,
                                                 const Operation& operation) {
  if (startsARun(operation)) {
    runs_.erase(operation.vrfName());
  }
}

// A record appears in the order of allocation; a map entry may be told after those that its own
// appearance has caused.
String CounterValuesOfARunOnlyIncrease::duringDelivery(const LiveWorld& world,
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

String InformationBitsAreThoseOfTheFec::duringDelivery(const LiveWorld& /*world*/,
                                                       const OutputEvent& event) {
  const bool same = event.value >> 56U == event.id >> 56U;
  return event.kind != Kind::map || same ? String() : event.text();
}

void RecordComesBeforeAndGoesBeforeTheMapEntry::beforeStep(const LiveWorld& /*world*/,
                                                           const Operation& operation) {
  if (startsARun(operation)) {
    known_.erase(operation.vrfName());
  }
}

String RecordComesBeforeAndGoesBeforeTheMapEntry::duringDelivery(const LiveWorld& world,
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

String ContextIsWrittenBeforeTheRecord::duringDelivery(const LiveWorld& world,
                                                       const OutputEvent& event) {
  if (event.kind == Kind::forwardingDel) {
    published_.erase({event.vrf, event.id});
  }
  if (event.kind != Kind::forwarding || !published_.insert({event.vrf, event.id}).second) {
    return {};
  }
  const LiveVrf& vrf = world.vrfs().at(event.vrf);
  const bool past =
      !vrf.manager || vrf.context->firstUnAllocatedNexthopResolverId() == counterOf(event.id) + 1;
  return past ? String() : event.text();
}

void UnreferencedFecCausesNoEvent::beforeStep(const LiveWorld& world, const Operation& operation) {
  silent_.clear();
  if (operation.kind != Operation::Kind::fec && operation.kind != Operation::Kind::fecDel &&
      operation.kind != Operation::Kind::announceFec) {
    return;
  }
  for (const auto& [vrf, of] : world.vrfs()) {
    if (!of.manager || !of.manager->fecIdToClientHop()->fecIdRef(operation.fecId())) {
      silent_.insert(vrf);
    }
  }
}

String UnreferencedFecCausesNoEvent::duringDelivery(const LiveWorld& /*world*/,
                                                    const OutputEvent& event) {
  return silent_.count(event.vrf) == 0 ? String() : event.text();
}

}  // namespace Routing::Support
