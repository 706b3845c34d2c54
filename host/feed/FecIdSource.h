#pragma once

// Where the FecIds of the daemon come from. One for all VRFs, so that an identifier names one FEC
// in the whole daemon.
//
// No identifier is given out twice, in this run or a later one: what was published under it may
// still be read. Before the first identifier of a block is given out, `reserve` has kept the end of
// the block where it survives (the state store); the next run begins there. What is left of a block
// when the daemon ends is lost, which 2^56 identifiers can bear.
//
// 0 means no FEC and 1 to 3 have meanings of their own to the library, so the first is 4. The top 8
// bits of a FecId are information bits, never set here.

#include <cstdint>
#include <functional>
#include <utility>

#include "platform/entity/Assert.h"
#include "platform/fib/RouteTable.h"

namespace Routing::Host {

class FecIdSource {
 public:
  static constexpr FecId firstFecId = 4;
  static constexpr FecId blockSize = 4096;
  // One beyond the largest.
  static constexpr FecId limit = FecId{1} << 56U;

  // Called with the first identifier that is not to be given out by this run any more. It has been
  // kept when this returns, or at the latest when anything is that was made with an identifier
  // below it.
  using Reserve = std::function<void(FecId upTo)>;

  // `first` is what the previous run reserved up to, or firstFecId. Without `reserve` nothing
  // outlives the run.
  explicit FecIdSource(FecId first = firstFecId, Reserve reserve = {})
      : next_(first), reservedUpTo_(first), reserve_(std::move(reserve)) {
    ROUTING_ASSERT(first >= firstFecId && first < limit && "no FecId beyond the reserved ones");
  }

  // Throws: what reserve throws; then nothing was given out.
  FecId next() {
    if (next_ == reservedUpTo_) {
      ROUTING_ASSERT(limit - next_ > blockSize && "ran out of FecIds");
      if (reserve_) {
        reserve_(next_ + blockSize);
      }
      reservedUpTo_ = next_ + blockSize;
    }
    return next_++;
  }
  // What next() will give out.
  FecId peek() const noexcept { return next_; }

 private:
  FecId next_;
  FecId reservedUpTo_;
  Reserve reserve_;
};

}  // namespace Routing::Host
