#include "tests/support/ObservedWorld.h"

#include <algorithm>

namespace Routing::Support {

void ObservedWorld::tap(const Publisher& publisher, Tap::Reaction reaction) {
  if (taps_.size() >= sweepAt_) {
    std::erase_if(taps_, [](const auto& member) { return !member.second->subscribed(); });
    sweepAt_ = std::max<std::size_t>(256, 2 * taps_.size());
  }
  std::unique_ptr<Tap>& slot = taps_[&publisher];
  // One that is not subscribed is that of an object that was here before.
  if (!slot || !slot->subscribed()) {
    slot = std::make_unique<Tap>(publisher, std::move(reaction));
  }
}

void ObservedWorld::note(OutputEvent event) {
  events_.push_back(std::move(event));
  if (listener_) {
    // A copy: what the listener looks at may not move.
    listener_(OutputEvent(events_.back()));
  }
}

void ObservedWorld::observe(const NexthopResolverForwardingStatus& status) {
  tap(status, [this, &status](FieldId, const void* key) {
    if (const auto made = status.vrf(*static_cast<const VrfName*>(key))) {
      observe(*made);
    }
  });
  for (auto cursor = status.vrf().cursor(); !cursor.atEnd(); cursor.next()) {
    observe(*cursor.member().value);
  }
}

void ObservedWorld::observe(const NexthopResolverFibViaContext& context, const VrfName& vrf) {
  tap(context, [this, &context, vrf](FieldId, const void*) {
    note({.kind = Kind::context, .vrf = vrf, .id = context.firstUnAllocatedNexthopResolverId()});
  });
}

void ObservedWorld::observe(const NexthopResolverManagerSm& manager) {
  observe(*manager.fecIdToClientHop());
  observe(*manager.fecIdToResolverId());
}

void ObservedWorld::observe(const NexthopStatus& status) {
  tap(status, [this, &status](FieldId, const void* key) {
    const auto& vrf = *static_cast<const VrfName*>(key);
    const Ptr<NexthopVrfStatus> vrfStatus = status.vrf(vrf);
    if (!vrfStatus) {
      note({.kind = Kind::statusVrfDel, .vrf = vrf, .client = status.name()});
      return;
    }
    observe(*vrfStatus, status.name());
    note({.kind = Kind::statusVrf,
          .vrf = vrf,
          .client = status.name(),
          .value = static_cast<std::uint64_t>(vrfStatus->fecIdType())});
  });
  for (auto cursor = status.vrf().cursor(); !cursor.atEnd(); cursor.next()) {
    observe(*cursor.member().value, status.name());
  }
}

void ObservedWorld::observe(const NexthopVrfStatus& status, const String& client) {
  tap(status, [this, &status, client](FieldId, const void* key) {
    const IpGenAddr addr = *static_cast<const IpGenAddr*>(key);
    const NexthopStatusEntry* const entry = status.nexthop(addr);
    note({.kind = entry != nullptr ? Kind::status : Kind::statusDel,
          .vrf = status.vrfName(),
          .client = client,
          .addr = addr,
          .entry = entry != nullptr ? *entry : NexthopStatusEntry()});
  });
}

void ObservedWorld::observe(const NexthopResolverVrfForwardingStatus& status) {
  tap(status, [this, &status](FieldId, const void* key) {
    const auto resolverId = *static_cast<const ResolverId*>(key);
    const NexthopResolverIdVia* const record = status.nexthopResolverIdVia().find(resolverId);
    note({.kind = record != nullptr ? Kind::forwarding : Kind::forwardingDel,
          .vrf = status.vrfName(),
          .id = resolverId.value(),
          .value = record != nullptr ? record->nexthopResolverVia().size() : 0});
  });
}

void ObservedWorld::observe(const FecIdToResolverId& map) {
  tap(map, [this, &map](FieldId, const void* key) {
    const FecId fecId = *static_cast<const FecId*>(key);
    note({.kind = map.fecIdToResolverIdMapHas(fecId) ? Kind::map : Kind::mapDel,
          .vrf = map.vrfName(),
          .id = fecId,
          .value = map.fecIdToResolverIdMap(fecId).value()});
  });
}

void ObservedWorld::observe(const FecIdToClientHop& index) {
  tap(index, [this, &index](FieldId field, const void* key) {
    if (field == FecIdToClientHop::fecIdRefField) {
      const FecId fecId = *static_cast<const FecId*>(key);
      const Ptr<NexthopResolverFecIdRef> record = index.fecIdRef(fecId);
      if (record) {
        observe(*record, index.vrfName());
      }
      note({.kind = record ? Kind::reference : Kind::referenceDel,
            .vrf = index.vrfName(),
            .id = fecId});
    } else {
      const auto& clientNexthop = *static_cast<const NexthopResolverClientNexthopKey*>(key);
      const bool there = index.clientNexthopToFecId().has(clientNexthop);
      note({.kind = there ? Kind::key : Kind::keyDel,
            .vrf = index.vrfName(),
            .client = clientNexthop.clientName(),
            .addr = clientNexthop.nexthop(),
            .id = index.clientNexthopToFecId(clientNexthop)});
    }
  });
  for (auto cursor = index.fecIdRef().cursor(); !cursor.atEnd(); cursor.next()) {
    observe(*cursor.member().value, index.vrfName());
  }
}

void ObservedWorld::observe(const NexthopResolverFecIdRef& record, const VrfName& vrf) {
  tap(record, [this, &record, vrf](FieldId, const void* key) {
    const auto& client = *static_cast<const String*>(key);
    note({.kind = record.clientRef().has(client) ? Kind::clientReference : Kind::clientReferenceDel,
          .vrf = vrf,
          .client = client,
          .id = record.fecId()});
  });
}

}  // namespace Routing::Support
