#pragma once

// The FEC table: FECs by FecId, shared by all VRFs. Like the route tables (RouteTable.h) it has a
// narrow read interface and an implementation in this process's memory.
//
// Publishes: fecField with the FecId (const FecId*), after the change.

#include <functional>
#include <utility>

#include "platform/entity/DenseTable.h"
#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Publisher.h"
#include "platform/fib/Fec.h"

namespace Routing::FibGen {

class ForwardingStatus : public Entity, public Publisher {
 public:
  static constexpr FieldId fecField{1};

  // A copy of the FEC, whole; Fec(0) when there is none.
  // Throws: RangeError for more than Fec::maxVias vias or Fec::maxBackupVias backup vias; also when
  // the table is found corrupt.
  virtual Fec fec(FecId fecId) const = 0;
  // Tells the table's owner what a read found.
  virtual void doCorruptionDetected(const String& message) const = 0;
};

class MemoryForwardingStatus final : public ForwardingStatus {
 public:
  using CorruptionHook = std::function<void(const String& message)>;

  Fec fec(FecId fecId) const override;
  void doCorruptionDetected(const String& message) const override;

  // Stores the FEC, replacing the one under its key. One that is too large is stored too, and every
  // read of it throws. Publishes: its key.
  void fecIs(Fec fec);
  // True when there was one. Publishes: the key, if there was one.
  bool fecDel(FecId fecId);
  bool fecHas(FecId fecId) const noexcept { return fec_.has(fecId); }
  std::size_t fecCount() const noexcept { return fec_.size(); }
  // Publishes: the key, without a change.
  void fecAnnounce(FecId fecId) const { publish(fecField, &fecId); }
  std::size_t memory() const noexcept { return fec_.memory() + corrupt_.memory(); }

  // From now on reading this key throws, until the key is stored or removed.
  void corruptIs(FecId fecId) { corrupt_.insert(fecId); }
  // Called by doCorruptionDetected.
  void corruptionHookIs(CorruptionHook hook) { corruptionHook_ = std::move(hook); }

  const TypeData& typeData() const override;

 private:
  DenseMap<FecId, Fec> fec_;
  DenseSet<FecId> corrupt_;
  CorruptionHook corruptionHook_;
};

}  // namespace Routing::FibGen
