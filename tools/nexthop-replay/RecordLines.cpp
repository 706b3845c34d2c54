#include "tools/nexthop-replay/RecordLines.h"

#include "platform/entity/Assert.h"

namespace Routing::Replay {

std::string_view kindWord(NexthopStatusFecIdType kind) noexcept {
  switch (kind) {
    case NexthopStatusFecIdType::fibFecId:
      return "fib";
    case NexthopStatusFecIdType::resolverId:
      return "resolver";
  }
  ROUTING_ASSERT(!"invalid identifier kind");
}

namespace {

std::string_view stateWord(NexthopResolutionState state) noexcept {
  switch (state) {
    case NexthopResolutionState::unknown:
      return "unknown";
    case NexthopResolutionState::failed:
      return "failed";
    case NexthopResolutionState::resolved:
      return "resolved";
  }
  ROUTING_ASSERT(!"invalid resolution state");
}

}  // namespace

Line statusLine(const String& client, const VrfName& vrf, const NexthopStatusEntry& entry) {
  Line line("status");
  line.word("client", client).word("vrf", vrf).address(entry.addr);
  line.word("state", stateWord(entry.resolutionState));
  line.named("fecId", entry.fecId).prefix(entry.prefix);
  line.named("metric", entry.metric).named("preference", entry.preference);
  line.named("routeType", entry.routeType).named("route6Type", entry.route6Type);
  return line;
}

Line vrfStatusLine(const String& client, const NexthopVrfStatus& status) {
  Line line("status-vrf");
  line.word("client", client).word("vrf", status.vrfName());
  line.word("kind", kindWord(status.fecIdType()));
  return line;
}

Line mapLine(const VrfName& vrf, FecId fecId, ResolverId resolverId) {
  Line line("map");
  line.word("vrf", vrf).number("fecId", fecId).number("resolverId", resolverId.value());
  return line;
}

Line contextLine(const VrfName& vrf, const NexthopResolverFibViaContext& context) {
  Line line("context");
  line.word("vrf", vrf).number("value", context.firstUnAllocatedNexthopResolverId());
  return line;
}

}  // namespace Routing::Replay
