#pragma once

// Situation: what a sequence of operations can run into that is easily got wrong. The reference
// model counts each time it meets one, so that a soak can show that random sequences do.

#include <array>
#include <cstddef>
#include <cstdint>

namespace Routing::Support {

enum class Situation : std::uint8_t {
  // Start-up of a FIB-via machine, a branch each.
  startCounterUsedUp,
  startNothingPublished,
  startOnlyReservedPublished,
  startPublishedWithoutContext,
  startGoesOn,
  // References and identifiers.
  firstReferenceToPresentFec,
  firstReferenceToMissingFec,
  moveBetweenFecs,
  lastReferenceWithdrawsIdentifier,
  lastReferenceOfFecWithoutIdentifier,
  fecRemovedUnderReferences,
  fecRemovedUnderTwoClients,
  fecAppearsUnderReferences,
  fecAppearsWhileItsNexthopsMoveAway,
  outerDeliveryAfterIdentifierWasWithdrawn,
  fecChangesUnderIdentifier,
  fecChangesUnreferenced,
  fecComesBackAfterItsReferencesWent,
  identifierWithInformationBits,
  identifierOfReservedFec,
  contextLoweredByReservedFec,
  // The review.
  reviewYields,
  reviewResumesAtBookmark,
  queuedTwice,
  unconfiguredBeforeReview,
  // Routes and routing.
  routeOfHostNotYetTracked,
  routeOfHostUnconfigured,
  routeWithNothingUnderIt,
  defaultRouteChanges,
  unsetPrefixAnnounced,
  routingSwitchedOff,
  routingSwitchedOn,
  identifierAppearsWhileRoutingIsOff,
  failureKeepsReference,
  // Clients.
  statusCreationComesBack,
  statusClearingComesBack,
  staleStatusCleared,
  configurationRemovedUnderResolver,
  statusRemovedUnderResolver,
  startsOnKeptStatus,
  statusEntryNoLongerConfigured,
  kindOfKeptStatusDiffers,
  // Restarts.
  managerEndsWithPublishedRecords,
  managerEndsWithoutVrf,
  managerEndsAndStatusIsKept,
  resolverEndsWithUnreviewedReference,
  cleanupRemovesEarlierRecord,
  cleanupRemovesReservedRecord,
  cleanupKeepsReservedRecord,
  cleanupKeepsRecordOfThisRun,
  notificationsPausedAndResumed,
};

constexpr std::size_t situationCount =
    static_cast<std::size_t>(Situation::notificationsPausedAndResumed) + 1;

using SituationCounts = std::array<std::uint64_t, situationCount>;

const char* nameOf(Situation situation) noexcept;

}  // namespace Routing::Support
