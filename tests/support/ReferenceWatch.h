#pragma once

// ReferenceWatch: logs what a FecIdToClientHop publishes, with the state at that moment:
//
//   fecIdRef 12 added, clients: 0      fecIdRef 12 removed
//   clientRef 12 bgp added, nexthops: 0      clientRef 12 bgp removed
//   key bgp 10.0.0.1 -> 12             key bgp 10.0.0.1 removed
//
// It watches the records of FECs from their appearance on. Made before a machine it is told before
// the machine is, so that its line stands before what the machine does about it.

#include <map>
#include <string>

#include "platform/entity/Ptr.h"
#include "resolver/NexthopResolverLocal.h"
#include "tests/support/EventLog.h"
#include "tests/support/Watcher.h"

namespace Routing::Support {

class ReferenceWatch {
 public:
  // The index may end before the watch does.
  ReferenceWatch(const FecIdToClientHop& references, EventLog& log)
      : references_(references),
        log_(log),
        watcher_(references, [this](FieldId field, const void* key) {
          if (field == FecIdToClientHop::fecIdRefField) {
            onFec(keyOf<FecId>(key));
          } else {
            onKey(keyOf<NexthopResolverClientNexthopKey>(key));
          }
        }) {}

 private:
  void onFec(FecId fecId) {
    const Ptr<NexthopResolverFecIdRef> record = references_.fecIdRef(fecId);
    const std::string name = "fecIdRef " + std::to_string(fecId);
    if (!record) {
      log_.add(name + " removed");
      return;
    }
    log_.add(name + " added, clients: " + std::to_string(record->clientRef().size()));
    records_.erase(fecId);
    records_.try_emplace(fecId,
                         *record,
                         [this, &watched = *record](FieldId /*field*/, const void* key) {
                           onClient(watched, keyOf<String>(key));
                         });
  }
  void onClient(const NexthopResolverFecIdRef& record, const String& client) {
    const Ptr<NexthopResolverClientRef> clientRef = record.clientRef(client);
    std::string line = "clientRef " + std::to_string(record.fecId()) + " " + client;
    line += clientRef ? " added, nexthops: " + std::to_string(clientRef->nexthopRef().size())
                      : " removed";
    log_.add(line);
  }
  void onKey(const NexthopResolverClientNexthopKey& key) {
    std::string line = "key " + key.clientName() + " " + key.nexthop().stringValue();
    line += references_.clientNexthopToFecId().has(key)
                ? " -> " + std::to_string(references_.clientNexthopToFecId(key))
                : " removed";
    log_.add(line);
  }

  const FecIdToClientHop& references_;
  EventLog& log_;
  std::map<FecId, Watcher> records_;
  Watcher watcher_;
};

}  // namespace Routing::Support
