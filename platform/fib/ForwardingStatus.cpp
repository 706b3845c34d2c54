#include "platform/fib/ForwardingStatus.h"

#include <string>

#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"

namespace Routing::FibGen {

namespace {

void requireAtMost(FecId fecId, const char* what, std::size_t count, std::size_t most) {
  if (count > most) {
    throw RangeError("fec " + std::to_string(fecId) + ": " + std::to_string(count) + " " + what +
                     ", at most " + std::to_string(most));
  }
}

}  // namespace

Fec MemoryForwardingStatus::fec(FecId fecId) const {
  if (!corrupt_.empty() && corrupt_.has(fecId)) {
    throw RangeError("fec " + std::to_string(fecId) + " is corrupt");
  }
  const auto* entry = fec_.find(fecId);
  if (entry == nullptr) {
    return Fec(0);
  }
  requireAtMost(fecId, "vias", entry->value.viaCount(), Fec::maxVias);
  requireAtMost(fecId, "backup vias", entry->value.backupVia().size(), Fec::maxBackupVias);
  return entry->value;
}

void MemoryForwardingStatus::doCorruptionDetected(const String& message) const {
  if (corruptionHook_) {
    corruptionHook_(message);
  }
}

void MemoryForwardingStatus::fecIs(Fec fec) {
  const FecId fecId = fec.fecId();
  fec_.put({fecId, std::move(fec)});
  corrupt_.remove(fecId);
  publish(fecField, &fecId);
}

bool MemoryForwardingStatus::fecDel(FecId fecId) {
  corrupt_.remove(fecId);
  const bool removed = fec_.remove(fecId).has_value();
  if (removed) {
    publish(fecField, &fecId);
  }
  return removed;
}

const TypeData& MemoryForwardingStatus::typeData() const {
  static constexpr std::array attributes{attribute<&MemoryForwardingStatus::fecCount>("fecs")};
  static const TypeData type("Routing::FibGen::MemoryForwardingStatus", attributes);
  return type;
}

}  // namespace Routing::FibGen
