#include "records/NexthopResolverFibViaContext.h"

#include "platform/entity/Inspection.h"

namespace Routing {

void NexthopResolverFibViaContext::firstUnAllocatedNexthopResolverIdIs(std::uint64_t value) {
  first_ = value;
  publish(firstUnAllocatedNexthopResolverIdField);
}

const TypeData& NexthopResolverFibViaContext::typeData() const {
  static constexpr std::array attributes{
      attribute<&NexthopResolverFibViaContext::firstUnAllocatedNexthopResolverId>(
          "firstUnAllocatedNexthopResolverId")};
  static const TypeData type("Routing::NexthopResolverFibViaContext", attributes);
  return type;
}

}  // namespace Routing
