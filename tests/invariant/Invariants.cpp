#include "tests/invariant/IdentifierInvariants.h"
#include "tests/invariant/IndexInvariants.h"
#include "tests/invariant/StatusInvariants.h"

namespace Routing::Support {

std::vector<std::unique_ptr<Invariant>> allInvariants() {
  std::vector<std::unique_ptr<Invariant>> all;
  all.push_back(std::make_unique<KeyMapsToFecExactlyWhenClientRecordHoldsNexthop>());
  all.push_back(std::make_unique<ClientNexthopIsUnderAtMostOneFec>());
  all.push_back(std::make_unique<NoReferenceRecordIsEmpty>());
  all.push_back(std::make_unique<ReferencedPresentFecHasOneIdentifierWithItsVias>());
  all.push_back(std::make_unique<IdentifierMapIsInjective>());
  all.push_back(std::make_unique<CounterValuesOfARunOnlyIncrease>());
  all.push_back(std::make_unique<InformationBitsAreThoseOfTheFec>());
  all.push_back(std::make_unique<ReservedFecIdIsItsOwnIdentifier>());
  all.push_back(std::make_unique<RecordComesBeforeAndGoesBeforeTheMapEntry>());
  all.push_back(std::make_unique<ContextIsWrittenBeforeTheRecord>());
  all.push_back(std::make_unique<UnreferencedFecCausesNoEvent>());
  all.push_back(std::make_unique<ReviewSetHasMembersExactlyWhileTheTaskIsScheduled>());
  all.push_back(std::make_unique<FailedEntrySaysNothingElse>());
  all.push_back(std::make_unique<UnconfiguredNexthopHasNoEntryOnceReviewed>());
  all.push_back(std::make_unique<StatusOfOtherVrfsIsNotTouched>());
  all.push_back(std::make_unique<ResolverExistsExactlyWhileConfiguredWithStatus>());
  return all;
}

}  // namespace Routing::Support
