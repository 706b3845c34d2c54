#include "platform/fib/Fec.h"

#include "platform/entity/Exceptions.h"

namespace Routing {

void MplsLabelAndAction::labelIs(std::uint32_t label) {
  if (label > noLabel) {
    throw RangeError("MPLS label " + std::to_string(label));
  }
  value_ = (value_ & ~labelMask) | label;
}

}  // namespace Routing
