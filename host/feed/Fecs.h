#pragma once

// The FECs of one VRF, each under what it stands for:
//
//   a set of hops      shared by all routes of a family with these hops, in whatever order. Which
//                      routes use it never follows from the set changing: a route with other hops
//                      moves to another FEC.
//   a nexthop object   of the kernel; changes in place when the object does
//   a refusal          one each for local, blackhole, unreachable and prohibit, without vias
//
// What changes in place is which of the hops are used. A hop that is dead (its link is down) stays
// part of the set and is left out of the vias, so a link that flaps costs one FEC written a set,
// however many routes use it. A FEC none of whose hops is alive is unusable: it is not written with
// no vias but left as it was, and its routes are to be removed.
//
// Who uses a FEC holds it. One that nobody holds is deleted by a task of the least urgent priority:
// it runs when no review is waiting, so whoever was resolved over the FEC has moved on. It may be
// held again until then.
//
// Invariants:
//   1. Every FEC here is in the FEC table, before anything refers to it.
//   2. The table's vias of a usable FEC are its hops that are alive, in order of interface,
//   address,
//      label and weight, and at most Fec::maxVias (counted otherwise).
//   3. What is written again unchanged is not published.

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/feed/FecIdSource.h"
#include "host/feed/Hop.h"
#include "host/feed/RouteType.h"
#include "platform/entity/DenseTable.h"
#include "platform/entity/Ptr.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/task/Task.h"

namespace Routing::Host {

class Fecs {
 public:
  Fecs(const Ptr<FibGen::MemoryForwardingStatus>& table,
       FecIdSource& source,
       const Ptr<TaskScheduler>& scheduler);
  Fecs(const Fecs&) = delete;
  Fecs& operator=(const Fecs&) = delete;
  ~Fecs();

  // The FEC of these hops for routes of the family, made or brought up to date with which of them
  // are dead; 0 when none is alive. Publishes: the FEC, if it is new or its vias changed.
  FecId ofHops(AddressFamily family, const Hops& hops);
  // 0 when there is none.
  FecId findHops(AddressFamily family, const Hops& hops) const;
  // The same for the kernel's nexthop object, which has these hops now.
  // Publishes: the FEC, if it is new or its vias changed.
  FecId ofObject(std::uint32_t object, const Hops& hops);
  FecId findObject(std::uint32_t object) const;
  // The FEC of routes of this type, which have no hops. Publishes: the FEC, if it is new.
  FecId ofType(RouteType type);
  FecId findType(RouteType type) const;

  void hold(FecId fec);
  // Requires: held.
  void release(FecId fec);

  // Hops on the interface are dead now, in the FECs of sets for the family (unset: for both).
  // Publishes: each FEC that lost a via and keeps another.
  void interfaceDead(std::uint32_t interface, AddressFamily family);
  // True when a FEC became unusable since this was asked last.
  bool takeUnusable() noexcept { return std::exchange(unusable_, false); }

  // True for FECs without hops too. Requires: one of these FECs.
  bool usable(FecId fec) const { return record(fec).usable; }
  bool usesInterface(FecId fec, std::uint32_t interface) const;
  // True when any of these FECs has a hop on it, dead or alive.
  bool usesInterface(std::uint32_t interface) const;
  const Hops& hops(FecId fec) const { return record(fec).hops; }
  // 0 unless the FEC is an object's.
  std::uint32_t object(FecId fec) const { return record(fec).object; }

  std::size_t count() const noexcept { return records_.size(); }
  // Hops that were beyond Fec::maxVias and left out.
  std::uint64_t viasBeyondLimit() const noexcept { return viasBeyondLimit_; }

 private:
  struct Record {
    Hops hops;
    std::uint32_t held = 0;
    std::uint32_t object = 0;
    AddressFamily family = AddressFamily::unset;
    RouteType type = RouteType::none;
    bool usable = true;
    bool deleting = false;
  };
  struct Set {
    AddressFamily family;
    Hops hops;
  };
  struct SetHash {
    std::size_t operator()(const Set& set) const noexcept;
  };
  // Which of the hops are dead makes no difference.
  struct SameSet {
    bool operator()(const Set& left, const Set& right) const noexcept;
  };

  const Record& record(FecId fec) const;
  Record& record(FecId fec);
  FecId add(Record made);
  FecId hopsIs(FecId fec, const Hops& hops);
  void write(FecId fec, const Record& record);
  void releasable(FecId fec, Record& record);
  void deleteReleased(FieldId field, const void* key);
  void forget(const Record& record);

  Ptr<FibGen::MemoryForwardingStatus> table_;
  FecIdSource& source_;
  std::unordered_map<FecId, Record> records_;
  std::unordered_map<Set, FecId, SetHash, SameSet> bySet_;
  std::unordered_map<std::uint32_t, FecId> byObject_;
  std::unordered_map<std::uint8_t, FecId> byType_;
  // What ofHops was asked last: a full table asks for the same set many times in a row.
  Set last_{AddressFamily::unset, {}};
  FecId lastFec_ = 0;
  // The set that is looked for, kept for its memory.
  Set asked_{AddressFamily::unset, {}};
  std::vector<FecId> released_;
  Ptr<Task> deletion_;
  std::uint64_t viasBeyondLimit_ = 0;
  bool unusable_ = false;

  Subscription<Fecs, &Fecs::deleteReleased> deletionRun_{*this};
};

}  // namespace Routing::Host
