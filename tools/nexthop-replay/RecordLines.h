#pragma once

// The lines that are printed of the library's records, by the watch and by the shows alike.

#include "platform/fib/RouteTable.h"
#include "records/NexthopConfig.h"
#include "records/NexthopResolverFibViaContext.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatus.h"
#include "records/ResolverId.h"
#include "tools/nexthop-replay/Line.h"

namespace Routing::Replay {

// "fib" or "resolver".
std::string_view kindWord(NexthopStatusFecIdType kind) noexcept;

Line statusLine(const String& client, const VrfName& vrf, const NexthopStatusEntry& entry);
Line vrfStatusLine(const String& client, const NexthopVrfStatus& status);
Line mapLine(const VrfName& vrf, FecId fecId, ResolverId resolverId);
Line contextLine(const VrfName& vrf, const NexthopResolverFibViaContext& context);

}  // namespace Routing::Replay
