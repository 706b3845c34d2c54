#include "tests/support/ReferenceModelReach.h"

namespace Routing::Support {

namespace {

// In the order of the enumerators.
constexpr std::array names{"start counter used up",
                           "start nothing published",
                           "start only reserved published",
                           "start published without context",
                           "start goes on",
                           "first reference to present fec",
                           "first reference to missing fec",
                           "move between fecs",
                           "last reference withdraws identifier",
                           "last reference of fec without identifier",
                           "fec removed under references",
                           "fec removed under two clients",
                           "fec appears under references",
                           "fec appears while its nexthops move away",
                           "outer delivery after identifier was withdrawn",
                           "fec changes under identifier",
                           "fec changes unreferenced",
                           "fec comes back after its references went",
                           "identifier with information bits",
                           "identifier of reserved fec",
                           "context lowered by reserved fec",
                           "review yields",
                           "review resumes at bookmark",
                           "queued twice",
                           "unconfigured before review",
                           "route of host not yet tracked",
                           "route of host unconfigured",
                           "route with nothing under it",
                           "default route changes",
                           "unset prefix announced",
                           "routing switched off",
                           "routing switched on",
                           "identifier appears while routing is off",
                           "failure keeps reference",
                           "status creation comes back",
                           "status clearing comes back",
                           "stale status cleared",
                           "configuration removed under resolver",
                           "status removed under resolver",
                           "starts on kept status",
                           "status entry no longer configured",
                           "kind of kept status differs",
                           "manager ends with published records",
                           "manager ends without vrf",
                           "manager ends and status is kept",
                           "resolver ends with unreviewed reference",
                           "cleanup removes earlier record",
                           "cleanup removes reserved record",
                           "cleanup keeps reserved record",
                           "cleanup keeps record of this run",
                           "notifications paused and resumed"};
static_assert(names.size() == situationCount);

}  // namespace

const char* nameOf(Situation situation) noexcept {
  return names[static_cast<std::size_t>(situation)];
}

}  // namespace Routing::Support
