#pragma once

// A FEC table whose reads do what the test says, and which remembers the corruption that it is told
// of. It publishes when it is asked to.

#include <functional>
#include <string>
#include <utility>

#include "platform/entity/TypeData.h"
#include "platform/fib/ForwardingStatus.h"
#include "tests/support/EventLog.h"

namespace Routing::Support {

class ScriptedForwardingStatus final : public FibGen::ForwardingStatus {
 public:
  using Read = std::function<FibGen::Fec(FecId)>;

  void readIs(Read read) { read_ = std::move(read); }
  void announce(FecId fecId) const { publish(fecField, &fecId); }
  Events takeCorruptions() const { return corruptions_.take(); }

  FibGen::Fec fec(FecId fecId) const override { return read_(fecId); }
  void doCorruptionDetected(const String& message) const override { corruptions_.add(message); }

  const TypeData& typeData() const override {
    static const TypeData type("Routing::Support::ScriptedForwardingStatus");
    return type;
  }

 private:
  Read read_ = [](FecId) { return FibGen::Fec(0); };
  mutable EventLog corruptions_;
};

}  // namespace Routing::Support
