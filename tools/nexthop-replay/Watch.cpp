#include "tools/nexthop-replay/Watch.h"

#include <algorithm>

#include "tools/nexthop-replay/RecordLines.h"

namespace Routing::Replay {

template <class Source>
class Watch::SourceWatcher final : public Watcher {
 public:
  SourceWatcher(Watch& watch, const Source& source, const String& name)
      : watch_(watch), source_(source), name_(name) {
    subscribe(source);
  }

  // The source is there for as long as it calls.
  void onAttribute(FieldId field, const void* key) override {
    watch_.changed(source_, name_, field, key);
  }

 private:
  Watch& watch_;
  const Source& source_;
  String name_;
};

Watch::~Watch() = default;

void Watch::onIs(bool on) {
  on_ = on;
  if (!on) {
    watchers_.clear();
  }
}

// False when the watch is off or the source is attached already.
template <class Source>
bool Watch::add(const Source& source, const String& name) {
  if (!on_) {
    return false;
  }
  if (watchers_.size() >= sweepAt_) {
    sweep();
  }
  // A watcher that is not subscribed is that of an object that was here before.
  std::unique_ptr<Watcher>& watcher = watchers_[&source];
  if (watcher && watcher->subscribed()) {
    return false;
  }
  watcher = std::make_unique<SourceWatcher<Source>>(*this, source, name);
  return true;
}

// Takes the watchers of objects that ended off the list. None of them is being called: the calls
// under way are those of objects that publish.
void Watch::sweep() {
  std::erase_if(watchers_, [](const auto& entry) { return !entry.second->subscribed(); });
  sweepAt_ = std::max(sweepAt_, 2 * watchers_.size());
}

void Watch::attach(const NexthopStatus& status) {
  if (add(status, String())) {
    for (auto cursor = status.vrf().cursor(); !cursor.atEnd(); cursor.next()) {
      attach(*cursor.member().value, status.name());
    }
  }
}

void Watch::attach(const NexthopVrfStatus& status, const String& client) { add(status, client); }

void Watch::attach(const NexthopResolverForwardingStatus& status) {
  if (add(status, String())) {
    for (auto cursor = status.vrf().cursor(); !cursor.atEnd(); cursor.next()) {
      attach(*cursor.member().value);
    }
  }
}

void Watch::attach(const NexthopResolverVrfForwardingStatus& status) { add(status, String()); }

void Watch::attach(const NexthopResolverFibViaContext& context, const VrfName& vrf) {
  add(context, vrf);
}

void Watch::attach(const FecIdToResolverId& map) { add(map, String()); }

void Watch::attach(const FecIdToClientHop& index) {
  if (add(index, String())) {
    for (auto cursor = index.fecIdRef().cursor(); !cursor.atEnd(); cursor.next()) {
      attach(*cursor.member().value, index.vrfName());
    }
  }
}

void Watch::attach(const NexthopResolverFecIdRef& record, const VrfName& vrf) { add(record, vrf); }

void Watch::changed(const NexthopStatus& status,
                    const String& /*name*/,
                    FieldId field,
                    const void* key) {
  if (field != NexthopStatus::vrfField) {
    return;
  }
  const auto& vrf = *static_cast<const VrfName*>(key);
  if (const auto* entry = status.vrf().find(vrf)) {
    output_.print(vrfStatusLine(status.name(), *entry->value));
    attach(*entry->value, status.name());
  } else {
    output_.print(Line("status-vrf-del").word("client", status.name()).word("vrf", vrf));
  }
}

void Watch::changed(const NexthopVrfStatus& status,
                    const String& client,
                    FieldId field,
                    const void* key) {
  if (field != NexthopVrfStatus::nexthopField) {
    return;
  }
  const auto& addr = *static_cast<const IpGenAddr*>(key);
  if (const NexthopStatusEntry* entry = status.nexthop(addr)) {
    output_.print(statusLine(client, status.vrfName(), *entry));
  } else {
    output_.print(
        Line("status-del").word("client", client).word("vrf", status.vrfName()).address(addr));
  }
}

void Watch::changed(const NexthopResolverForwardingStatus& status,
                    const String& /*name*/,
                    FieldId field,
                    const void* key) {
  if (field == NexthopResolverForwardingStatus::vrfField) {
    if (const auto* entry = status.vrf().find(*static_cast<const VrfName*>(key))) {
      attach(*entry->value);
    }
  }
}

void Watch::changed(const NexthopResolverVrfForwardingStatus& status,
                    const String& /*name*/,
                    FieldId field,
                    const void* key) {
  if (field != NexthopResolverVrfForwardingStatus::nexthopResolverIdViaField) {
    return;
  }
  const auto resolverId = *static_cast<const ResolverId*>(key);
  const NexthopResolverIdVia* record = status.nexthopResolverIdVia().find(resolverId);
  Line line(record != nullptr ? "forwarding" : "forwarding-del");
  line.word("vrf", status.vrfName()).number("resolverId", resolverId.value());
  if (record != nullptr) {
    line.named("vias", record->nexthopResolverVia().size());
  }
  output_.print(line);
}

void Watch::changed(const NexthopResolverFibViaContext& context,
                    const VrfName& vrf,
                    FieldId field,
                    const void* /*key*/) {
  if (field == NexthopResolverFibViaContext::firstUnAllocatedNexthopResolverIdField) {
    output_.print(contextLine(vrf, context));
  }
}

void Watch::changed(const FecIdToResolverId& map,
                    const String& /*name*/,
                    FieldId field,
                    const void* key) {
  if (field != FecIdToResolverId::fecIdToResolverIdMapField) {
    return;
  }
  const FecId fecId = *static_cast<const FecId*>(key);
  if (map.fecIdToResolverIdMapHas(fecId)) {
    output_.print(mapLine(map.vrfName(), fecId, map.fecIdToResolverIdMap(fecId)));
  } else {
    output_.print(Line("map-del").word("vrf", map.vrfName()).number("fecId", fecId));
  }
}

void Watch::changed(const FecIdToClientHop& index,
                    const String& /*name*/,
                    FieldId field,
                    const void* key) {
  if (field == FecIdToClientHop::fecIdRefField) {
    referenceChanged(index, *static_cast<const FecId*>(key));
  } else if (field == FecIdToClientHop::clientNexthopToFecIdField) {
    keyChanged(index, *static_cast<const NexthopResolverClientNexthopKey*>(key));
  }
}

void Watch::referenceChanged(const FecIdToClientHop& index, FecId fecId) {
  const auto* entry = index.fecIdRef().find(fecId);
  output_.print(Line(entry != nullptr ? "reference" : "reference-del")
                    .word("vrf", index.vrfName())
                    .number("fecId", fecId));
  if (entry != nullptr) {
    attach(*entry->value, index.vrfName());
  }
}

void Watch::keyChanged(const FecIdToClientHop& index, const NexthopResolverClientNexthopKey& key) {
  const auto* entry = index.clientNexthopToFecId().find(key);
  Line line(entry != nullptr ? "key" : "key-del");
  line.word("vrf", index.vrfName()).word("client", key.clientName()).address(key.nexthop());
  if (entry != nullptr) {
    line.number("fecId", entry->value);
  }
  output_.print(line);
}

void Watch::changed(const NexthopResolverFecIdRef& record,
                    const VrfName& vrf,
                    FieldId field,
                    const void* key) {
  if (field != NexthopResolverFecIdRef::clientRefField) {
    return;
  }
  const auto& client = *static_cast<const String*>(key);
  output_.print(Line(record.clientRef().has(client) ? "client-reference" : "client-reference-del")
                    .word("vrf", vrf)
                    .number("fecId", record.fecId())
                    .word("client", client));
}

}  // namespace Routing::Replay
