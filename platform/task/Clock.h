#pragma once

// Where the task runtime takes its time from: the machine's steady clock, or a clock that a test or
// a tool moves by hand. Times are nanoseconds since a clock's own beginning.

#include <chrono>

#include "platform/entity/Entity.h"

namespace Routing {

using Nanoseconds = std::chrono::nanoseconds;

class Clock : public Entity {
 public:
  virtual Nanoseconds now() const = 0;
};

class RealClock final : public Clock {
 public:
  Nanoseconds now() const override;
  const TypeData& typeData() const override;
};

// Starts at 0 and stands still between two calls of nowIs.
class VirtualClock final : public Clock {
 public:
  Nanoseconds now() const override { return now_; }
  // Requires: not before the present time.
  void nowIs(Nanoseconds now);
  const TypeData& typeData() const override;

 private:
  Nanoseconds now_{0};
};

}  // namespace Routing
