#pragma once

// The lines of the table, in groups that share what they need. Each function measures its lines and
// reports them.

#include "bench/support/Tables.h"
#include "bench/table/Report.h"

namespace Routing::Bench {

// Tries: longest match, longer-present, walk, change, memory.
void trieLines(Report& report);
// Building the full table.
void buildLines(Report& report);
// Resolving many nexthops for the first time, and the longest slice of it.
void resolutionLines(Report& report, Tables& full);
void sliceLines(Report& report, Tables& full);
// Routes that change above many, some, one and no nexthops.
void coveringRouteLines(Report& report, Tables& full);
void moreSpecificRouteLines(Report& report, Tables& full);
void hostRouteLines(Report& report, Tables& full);
void unrelatedRouteLines(Report& report, Tables& full);
void defaultRouteLines(Report& report, Tables& full);
// Routing switched, FECs changed, nexthops unregistered.
void routingLines(Report& report, Tables& full);
void fecLines(Report& report, Tables& full);
void unregisteringLines(Report& report, Tables& full);
// Bytes of nexthops and clients.
void memoryLines(Report& report, Tables& full);
// Thousands of VRFs.
void vrfLines(Report& report);
// Publishing.
void publishLines(Report& report);
// A million routes withdrawn. Last: it empties the table.
void withdrawalLines(Report& report, Tables& full);

}  // namespace Routing::Bench
