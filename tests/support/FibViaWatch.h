#pragma once

// FibViaWatch: logs what a FIB-via machine writes, each with the state at that moment:
//
//   context 5
//   record 4, vias: 2      record 4 removed
//   map 12 -> 4            map 12 removed

#include <string>

#include "records/NexthopResolverFibViaContext.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "resolver/NexthopResolverLocal.h"
#include "tests/support/EventLog.h"
#include "tests/support/Watcher.h"

namespace Routing::Support {

class FibViaWatch {
 public:
  // All three outlive the watch.
  FibViaWatch(const NexthopResolverFibViaContext& context,
              const NexthopResolverVrfForwardingStatus& records,
              const FecIdToResolverId& map,
              EventLog& log)
      : context_(
            context,
            [&log, &context](FieldId, const void*) {
              log.add("context " + std::to_string(context.firstUnAllocatedNexthopResolverId()));
            }),
        records_(records,
                 [&log, &records](FieldId, const void* key) {
                   const auto* record = records.nexthopResolverIdVia().find(keyOf<ResolverId>(key));
                   std::string line = "record " + keyOf<ResolverId>(key).stringValue();
                   line += record == nullptr
                               ? " removed"
                               : ", vias: " + std::to_string(record->nexthopResolverVia().size());
                   log.add(line);
                 }),
        map_(map, [&log, &map](FieldId, const void* key) {
          const FecId fecId = keyOf<FecId>(key);
          std::string line = "map " + std::to_string(fecId);
          line += map.fecIdToResolverIdMapHas(fecId)
                      ? " -> " + map.fecIdToResolverIdMap(fecId).stringValue()
                      : " removed";
          log.add(line);
        }) {}

 private:
  Watcher context_;
  Watcher records_;
  Watcher map_;
};

}  // namespace Routing::Support
