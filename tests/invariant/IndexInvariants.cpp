#include "tests/invariant/IndexInvariants.h"

#include <optional>
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

// The first FEC whose record is without client, but for those that the test excuses.
template <class Excuse>
std::optional<FecId> recordWithoutClient(const FecIdToClientHop& index, Excuse excused) {
  for (auto fec = index.fecIdRef().cursor(); !fec.atEnd(); fec.next()) {
    if (fec.member().value->clientRef().empty() && !excused(fec.key())) {
      return fec.key();
    }
  }
  return std::nullopt;
}

// The first client record without nexthop, in words, but for those that the test excuses.
template <class Excuse>
String recordWithoutNexthop(const FecIdToClientHop& index, Excuse excused) {
  for (auto fec = index.fecIdRef().cursor(); !fec.atEnd(); fec.next()) {
    for (auto ref = fec.member().value->clientRef().cursor(); !ref.atEnd(); ref.next()) {
      if (ref.member().value->nexthopRef().empty() && !excused(fec.key(), ref.key())) {
        return "FEC " + std::to_string(fec.key()) + " client " + ref.key();
      }
    }
  }
  return {};
}

}  // namespace

void KeyMapsToFecExactlyWhenClientRecordHoldsNexthop::beforeStep(const ObservedWorld& /*world*/,
                                                                 const Step& step) {
  told_.erase(step.start);
}

// A key comes after its reference and goes after it; in a move the new reference is there already
// when the old key goes.
String KeyMapsToFecExactlyWhenClientRecordHoldsNexthop::duringDelivery(const ObservedWorld& world,
                                                                       const OutputEvent& event) {
  const Ptr<NexthopResolverManagerSm> manager = world.managerOf(event.vrf);
  if ((event.kind != Kind::key && event.kind != Kind::keyDel) || !manager) {
    return {};
  }
  FecId& told = told_[event.vrf][{event.client, event.addr}];
  const bool there = event.kind == Kind::key;
  told = there ? event.id : told;
  const bool held = holds(*manager->fecIdToClientHop(), told, event.client, event.addr);
  return held == there ? String() : reference(told, event.client, event.addr);
}

String KeyMapsToFecExactlyWhenClientRecordHoldsNexthop::afterStep(
    const NexthopResolverManagerSm& manager,
    const ObservedWorld& /*world*/) {
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

String ClientNexthopIsUnderAtMostOneFec::duringDelivery(const ObservedWorld& world,
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
                                                   const ObservedWorld& /*world*/) {
  const FecIdToClientHop& index = *manager.fecIdToClientHop();
  String broken;
  forEachReference(index, [&](FecId fecId, const String& client, const IpGenAddr& addr) {
    if (fecsOf(index, client, addr) != 1) {
      broken = reference(fecId, client, addr);
    }
  });
  return broken;
}

void NoReferenceRecordIsEmpty::beforeStep(const ObservedWorld& /*world*/, const Step& /*step*/) {
  appearing_.reset();
}

// A record appears without client and its first client without nexthop; a record's last client goes
// before the record does, the nexthop's key in between. What reacts to a record's appearance is
// told before the observers hear of that.
String NoReferenceRecordIsEmpty::duringDelivery(const ObservedWorld& world,
                                                const OutputEvent& event) {
  const Ptr<NexthopResolverManagerSm> manager = world.managerOf(event.vrf);
  if (!manager) {
    return {};
  }
  const FecIdToClientHop& index = *manager->fecIdToClientHop();
  const bool ofRecord = event.kind == Kind::reference || event.kind == Kind::clientReferenceDel;
  const bool reaction =
      event.kind == Kind::context || event.kind == Kind::forwarding || event.kind == Kind::map;
  const auto fec = recordWithoutClient(index, [&](FecId fecId) {
    return event.kind == Kind::keyDel || (ofRecord && event.id == fecId);
  });
  if (event.kind == Kind::reference && appearing_ == std::pair(event.vrf, FecId{event.id})) {
    appearing_.reset();
  }
  if (fec && reaction && (!appearing_ || appearing_ == std::pair(event.vrf, *fec))) {
    appearing_.emplace(event.vrf, *fec);
  } else if (fec || (appearing_ && appearing_->first == event.vrf)) {
    return event.text();
  }
  return recordWithoutNexthop(index, [&](FecId fecId, const String& client) {
    return event.kind == Kind::clientReference && event.id == fecId && event.client == client;
  });
}

String NoReferenceRecordIsEmpty::afterStep(const NexthopResolverManagerSm& manager,
                                           const ObservedWorld& /*world*/) {
  const FecIdToClientHop& index = *manager.fecIdToClientHop();
  const auto fec = recordWithoutClient(index, [](FecId) { return false; });
  return fec ? "FEC " + std::to_string(*fec)
             : recordWithoutNexthop(index, [](FecId, const String&) { return false; });
}

}  // namespace Routing::Support
