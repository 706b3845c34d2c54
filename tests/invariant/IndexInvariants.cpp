#include "tests/invariant/IndexInvariants.h"

#include <string>

namespace Routing::Support {

namespace {

using Kind = OutputEvent::Kind;

bool holds(const FecIdToClientHop& index,
           FecId fecId,
           const String& client,
           const IpGenAddr& addr) {
  const Ptr<NexthopResolverFecIdRef> record = index.fecIdRef(fecId);
  const Ptr<NexthopResolverClientRef> ref = record ? record->clientRef(client) : nullptr;
  return ref && ref->nexthopRef().has(addr);
}

// Calls with every reference of the index: FEC, client, nexthop.
template <class Call>
void forEachReference(const FecIdToClientHop& index, Call call) {
  for (auto fec = index.fecIdRef().cursor(); !fec.atEnd(); fec.next()) {
    for (auto ref = fec.member().value->clientRef().cursor(); !ref.atEnd(); ref.next()) {
      const DenseSet<IpGenAddr>& nexthops = ref.member().value->nexthopRef();
      for (auto nexthop = nexthops.cursor(); !nexthop.atEnd(); nexthop.next()) {
        call(fec.key(), ref.key(), nexthop.key());
      }
    }
  }
}

std::size_t fecsOf(const FecIdToClientHop& index, const String& client, const IpGenAddr& addr) {
  std::size_t count = 0;
  for (auto fec = index.fecIdRef().cursor(); !fec.atEnd(); fec.next()) {
    count += holds(index, fec.key(), client, addr) ? 1U : 0U;
  }
  return count;
}

String reference(FecId fecId, const String& client, const IpGenAddr& addr) {
  return client + ' ' + addr.stringValue() + " and FEC " + std::to_string(fecId);
}

String emptyRecord(const FecIdToClientHop& index) {
  for (auto fec = index.fecIdRef().cursor(); !fec.atEnd(); fec.next()) {
    if (fec.member().value->clientRef().empty()) {
      return "FEC " + std::to_string(fec.key());
    }
    for (auto ref = fec.member().value->clientRef().cursor(); !ref.atEnd(); ref.next()) {
      if (ref.member().value->nexthopRef().empty()) {
        return "FEC " + std::to_string(fec.key()) + " client " + ref.key();
      }
    }
  }
  return {};
}

}  // namespace

String KeyMapsToFecExactlyWhenClientRecordHoldsNexthop::duringDelivery(const LiveWorld& world,
                                                                       const OutputEvent& event) {
  const Ptr<NexthopResolverManagerSm> manager = world.managerOf(event.vrf);
  if (event.kind != Kind::key || !manager) {
    return {};
  }
  const bool held = holds(*manager->fecIdToClientHop(), event.id, event.client, event.addr);
  return held ? String() : reference(event.id, event.client, event.addr);
}

String KeyMapsToFecExactlyWhenClientRecordHoldsNexthop::afterStep(
    const NexthopResolverManagerSm& manager,
    const LiveWorld& /*world*/) {
  const FecIdToClientHop& index = *manager.fecIdToClientHop();
  String broken;
  std::size_t references = 0;
  forEachReference(index, [&](FecId fecId, const String& client, const IpGenAddr& addr) {
    ++references;
    const auto* const key = index.clientNexthopToFecId().find({client, addr});
    if (key == nullptr || key->value != fecId) {
      broken = reference(fecId, client, addr);
    }
  });
  if (broken.empty() && references != index.clientNexthopToFecId().size()) {
    broken = "there are more keys than references";
  }
  return broken;
}

String ClientNexthopIsUnderAtMostOneFec::duringDelivery(const LiveWorld& world,
                                                        const OutputEvent& event) {
  const Ptr<NexthopResolverManagerSm> manager = world.managerOf(event.vrf);
  const bool ofNexthop =
      event.kind == Kind::key || event.kind == Kind::keyDel || event.kind == Kind::status;
  if (!ofNexthop || !manager) {
    return {};
  }
  const std::size_t count = fecsOf(*manager->fecIdToClientHop(), event.client, event.addr);
  // When its key is gone a move has taken the old FEC away already.
  return count <= 1 ? String() : event.text();
}

String ClientNexthopIsUnderAtMostOneFec::afterStep(const NexthopResolverManagerSm& manager,
                                                   const LiveWorld& /*world*/) {
  const FecIdToClientHop& index = *manager.fecIdToClientHop();
  String broken;
  forEachReference(index, [&](FecId fecId, const String& client, const IpGenAddr& addr) {
    if (fecsOf(index, client, addr) != 1) {
      broken = reference(fecId, client, addr);
    }
  });
  return broken;
}

// A status entry is written when the index is at rest.
String NoReferenceRecordIsEmpty::duringDelivery(const LiveWorld& world, const OutputEvent& event) {
  const Ptr<NexthopResolverManagerSm> manager = world.managerOf(event.vrf);
  return event.kind == Kind::status && manager ? emptyRecord(*manager->fecIdToClientHop())
                                               : String();
}

String NoReferenceRecordIsEmpty::afterStep(const NexthopResolverManagerSm& manager,
                                           const LiveWorld& /*world*/) {
  return emptyRecord(*manager.fecIdToClientHop());
}

}  // namespace Routing::Support
