#include "tests/support/ReferenceModelReach.h"

namespace Routing::Support {

const char* nameOf(Situation situation) noexcept {
  switch (situation) {
    case Situation::startCounterUsedUp:
      return "start counter used up";
    case Situation::startNothingPublished:
      return "start nothing published";
    case Situation::startOnlyReservedPublished:
      return "start only reserved published";
    case Situation::startPublishedWithoutContext:
      return "start published without context";
    case Situation::startGoesOn:
      return "start goes on";
    case Situation::firstReferenceToPresentFec:
      return "first reference to present fec";
    case Situation::firstReferenceToMissingFec:
      return "first reference to missing fec";
    case Situation::moveBetweenFecs:
      return "move between fecs";
    case Situation::lastReferenceWithdrawsIdentifier:
      return "last reference withdraws identifier";
    case Situation::lastReferenceOfFecWithoutIdentifier:
      return "last reference of fec without identifier";
    case Situation::fecRemovedUnderReferences:
      return "fec removed under references";
    case Situation::fecRemovedUnderTwoClients:
      return "fec removed under two clients";
    case Situation::fecAppearsUnderReferences:
      return "fec appears under references";
    case Situation::fecAppearsWhileItsNexthopsMoveAway:
      return "fec appears while its nexthops move away";
    case Situation::outerDeliveryAfterIdentifierWasWithdrawn:
      return "outer delivery after identifier was withdrawn";
    case Situation::fecChangesUnderIdentifier:
      return "fec changes under identifier";
    case Situation::fecChangesUnreferenced:
      return "fec changes unreferenced";
    case Situation::fecComesBackAfterItsReferencesWent:
      return "fec comes back after its references went";
    case Situation::identifierWithInformationBits:
      return "identifier with information bits";
    case Situation::identifierOfReservedFec:
      return "identifier of reserved fec";
    case Situation::contextLoweredByReservedFec:
      return "context lowered by reserved fec";
    case Situation::reviewYields:
      return "review yields";
    case Situation::reviewResumesAtBookmark:
      return "review resumes at bookmark";
    case Situation::queuedTwice:
      return "queued twice";
    case Situation::unconfiguredBeforeReview:
      return "unconfigured before review";
    case Situation::routeOfHostNotYetTracked:
      return "route of host not yet tracked";
    case Situation::routeOfHostUnconfigured:
      return "route of host unconfigured";
    case Situation::routeWithNothingUnderIt:
      return "route with nothing under it";
    case Situation::defaultRouteChanges:
      return "default route changes";
    case Situation::unsetPrefixAnnounced:
      return "unset prefix announced";
    case Situation::routingSwitchedOff:
      return "routing switched off";
    case Situation::routingSwitchedOn:
      return "routing switched on";
    case Situation::identifierAppearsWhileRoutingIsOff:
      return "identifier appears while routing is off";
    case Situation::failureKeepsReference:
      return "failure keeps reference";
    case Situation::statusCreationComesBack:
      return "status creation comes back";
    case Situation::statusClearingComesBack:
      return "status clearing comes back";
    case Situation::staleStatusCleared:
      return "stale status cleared";
    case Situation::configurationRemovedUnderResolver:
      return "configuration removed under resolver";
    case Situation::statusRemovedUnderResolver:
      return "status removed under resolver";
    case Situation::startsOnKeptStatus:
      return "starts on kept status";
    case Situation::statusEntryNoLongerConfigured:
      return "status entry no longer configured";
    case Situation::kindOfKeptStatusDiffers:
      return "kind of kept status differs";
    case Situation::managerEndsWithPublishedRecords:
      return "manager ends with published records";
    case Situation::managerEndsWithoutVrf:
      return "manager ends without vrf";
    case Situation::managerEndsAndStatusIsKept:
      return "manager ends and status is kept";
    case Situation::resolverEndsWithUnreviewedReference:
      return "resolver ends with unreviewed reference";
    case Situation::cleanupRemovesEarlierRecord:
      return "cleanup removes earlier record";
    case Situation::cleanupRemovesReservedRecord:
      return "cleanup removes reserved record";
    case Situation::cleanupKeepsReservedRecord:
      return "cleanup keeps reserved record";
    case Situation::cleanupKeepsRecordOfThisRun:
      return "cleanup keeps record of this run";
    case Situation::notificationsPausedAndResumed:
      return "notifications paused and resumed";
  }
  return "";
}

}  // namespace Routing::Support
