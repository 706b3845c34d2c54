#pragma once

// The bookkeeping that the resolvers and the FIB-via machine of a VRF share.
//
//   FecIdToClientHop      which client nexthops resolve through which FEC. Resolvers write it, the
//                         FIB-via machine reads it and learns of a FEC's first and last reference.
//   FecIdToResolverId     which ResolverId a FEC has. The FIB-via machine writes it, resolvers read
//                         it.
//   ResolverIdAllocator   where ResolverIds come from. The FIB-via machine's own.
//
// Owner of the first two: the VRF's manager, which makes them at start-up and shares them out.
//
// FecIdToClientHop holds a tree, FEC -> client -> nexthops, and the way back, key -> FEC:
//   1. A client nexthop is referenced under at most one FEC; under two only inside a move, where
//      the new reference comes before the old one goes.
//   2. A key maps to f exactly when the client's record under f holds the nexthop, but for the
//      steps inside one operation.
//   3. No FEC record is without a client, no client record without a nexthop, but during its own
//      notification of appearance.
//
// Everything published is delivered from inside the operation. A reaction to FecIdToClientHop must
// not call back into its reference operations.

#include <compare>
#include <cstdint>
#include <string_view>
#include <utility>

#include "platform/entity/DenseTable.h"
#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Published.h"
#include "platform/entity/Publisher.h"
#include "platform/entity/ValueParser.h"
#include "platform/fib/RouteTable.h"
#include "platform/net/IpGenAddr.h"
#include "platform/task/DumpContext.h"
#include "records/NexthopConfig.h"
#include "records/ResolverId.h"

namespace Routing {

// Names one client nexthop.
class NexthopResolverClientNexthopKey {
 public:
  static constexpr std::string_view typeName = "Routing::NexthopResolverClientNexthopKey";

  NexthopResolverClientNexthopKey() = default;
  NexthopResolverClientNexthopKey(String clientName, const IpGenAddr& nexthop)
      : clientName_(std::move(clientName)), nexthop_(nexthop) {}
  // Reads "clientName=NAME nexthop=ADDRESS". Throws: DeserialisationError.
  explicit NexthopResolverClientNexthopKey(StrepReader& reader);

  const String& clientName() const noexcept { return clientName_; }
  const IpGenAddr& nexthop() const noexcept { return nexthop_; }

  // Of the name and the 16 address bytes: keys that differ only in family hash alike.
  std::uint32_t hash(std::uint32_t seed) const noexcept {
    return hashOfParts(clientName_, nexthop_, seed);
  }
  // The hash of the key that these would make.
  static std::uint32_t hashOfParts(std::string_view clientName,
                                   const IpGenAddr& nexthop,
                                   std::uint32_t seed = 0) noexcept;
  bool isEq(const NexthopResolverClientNexthopKey& other) const noexcept;
  friend bool operator==(const NexthopResolverClientNexthopKey& left,
                         const NexthopResolverClientNexthopKey& right) noexcept {
    return left.isEq(right);
  }
  // By name, byte-wise, then by nexthop.
  friend std::strong_ordering operator<=>(const NexthopResolverClientNexthopKey& left,
                                          const NexthopResolverClientNexthopKey& right) noexcept;
  // False only for the default key.
  explicit operator bool() const noexcept { return !clientName_.empty() || nexthop_; }
  String stringValue() const;

 private:
  String clientName_;
  IpGenAddr nexthop_;
};

// The nexthops of one client that resolve through one FEC. Publishes nothing.
class NexthopResolverClientRef final : public DumpableEntity {
 public:
  explicit NexthopResolverClientRef(const String& clientName) : clientName_(clientName) {}

  const String& clientName() const noexcept { return clientName_; }
  const DenseSet<IpGenAddr>& nexthopRef() const noexcept { return nexthopRef_; }
  bool nexthopRefHas(const IpGenAddr& nexthop) const noexcept { return nexthopRef_.has(nexthop); }
  void nexthopRefIs(IpGenAddr nexthop) { nexthopRef_.insert(nexthop); }
  // True when it was a member.
  bool nexthopRefDel(IpGenAddr nexthop) { return nexthopRef_.remove(nexthop).has_value(); }
  void nexthopRefDelAll() { nexthopRef_.clear(); }

  void dumpState(DumpContext& dumpContext, std::uint32_t indent) const override;
  const TypeData& typeData() const override;

 private:
  String clientName_;
  DenseSet<IpGenAddr> nexthopRef_;
};

// The clients that reference one FEC.
// Publishes: clientRefField with the client's name (const String*), on appearance and removal.
class NexthopResolverFecIdRef final : public DumpableEntity, public Publisher {
 public:
  static constexpr FieldId clientRefField{1};
  using ClientRefs = PublishedMap<clientRefField, String, Ptr<NexthopResolverClientRef>>;

  explicit NexthopResolverFecIdRef(FecId fecId);
  // Removes every client record first, each removal published.
  ~NexthopResolverFecIdRef() override;

  FecId fecId() const noexcept { return fecId_; }
  const ClientRefs& clientRef() const noexcept { return clientRef_; }
  // Null when there is none.
  Ptr<NexthopResolverClientRef> clientRef(const String& clientName) const {
    return clientRef_.value(clientName);
  }
  bool clientRefHas(const String& clientName) const noexcept { return clientRef_.has(clientName); }
  // The client's record, made if absent. Publishes: the name, when made; the record is empty then.
  Ptr<NexthopResolverClientRef> clientRefIs(const String& clientName);
  // Returns what was removed, or null. Publishes: the name, if it was there.
  Ptr<NexthopResolverClientRef> clientRefDel(const String& clientName) {
    return clientRef_.removeValue(*this, clientName);
  }
  void clientRefDelAll();

  // Adds or removes one reference. The client's record goes with its last nexthop; a nexthop that
  // is not there is ignored. Requires: to remove, the client is tracked.
  void updateClientRef(const String& clientName, IpGenAddr nexthop, bool add);

  void dumpState(DumpContext& dumpContext, std::uint32_t indent) const override;
  const TypeData& typeData() const override;

 private:
  FecId fecId_;
  ClientRefs clientRef_;
};

// The references of a VRF, both ways.
// Publishes:
//   fecIdRefField               FecId   a FEC got its first reference or lost its last
//   clientNexthopToFecIdField   NexthopResolverClientNexthopKey   set to another FEC, or removed
class FecIdToClientHop final : public DumpableEntity, public Publisher {
 public:
  static constexpr FieldId fecIdRefField{1};
  static constexpr FieldId clientNexthopToFecIdField{2};
  using FecIdRefs = PublishedMap<fecIdRefField, FecId, Ptr<NexthopResolverFecIdRef>>;
  using FecIds = PublishedMap<clientNexthopToFecIdField, NexthopResolverClientNexthopKey, FecId>;

  explicit FecIdToClientHop(const VrfName& vrfName);
  // Removes every FEC record first, each removal published.
  ~FecIdToClientHop() override;
  static Ptr<FecIdToClientHop> FecIdToClientHopIs(const VrfName& vrfName);

  const VrfName& vrfName() const noexcept { return vrfName_; }

  const FecIdRefs& fecIdRef() const noexcept { return fecIdRef_; }
  // Null when there is none.
  Ptr<NexthopResolverFecIdRef> fecIdRef(FecId fecId) const { return fecIdRef_.value(fecId); }
  bool fecIdRefHas(FecId fecId) const noexcept { return fecIdRef_.has(fecId); }
  // The FEC's record, made if absent. Publishes: the FEC, when made; the record is empty then, and
  // the caller fills it at once.
  Ptr<NexthopResolverFecIdRef> fecIdRefIs(FecId fecId);
  // Returns what was removed, or null. Publishes: the FEC, if it was there.
  Ptr<NexthopResolverFecIdRef> fecIdRefDel(FecId fecId) {
    return fecIdRef_.removeValue(*this, fecId);
  }
  void fecIdRefDelAll();

  const FecIds& clientNexthopToFecId() const noexcept { return clientNexthopToFecId_; }
  // 0 when there is none.
  FecId clientNexthopToFecId(const NexthopResolverClientNexthopKey& key) const {
    return clientNexthopToFecId_.value(key);
  }
  bool clientNexthopToFecIdHas(const NexthopResolverClientNexthopKey& key) const noexcept {
    return clientNexthopToFecId_.has(key);
  }
  // Publishes: the key, unless it has this FEC already.
  void clientNexthopToFecIdIs(const NexthopResolverClientNexthopKey& key, FecId fecId) {
    clientNexthopToFecId_.set(*this, key, fecId);
  }
  // Returns the FEC that was mapped, or 0. Publishes: the key, if it was there.
  FecId clientNexthopToFecIdDel(const NexthopResolverClientNexthopKey& key) {
    return clientNexthopToFecId_.removeValue(*this, key);
  }
  // Publishes: each key; nothing when nobody subscribes.
  void clientNexthopToFecIdDelAll() { clientNexthopToFecId_.removeAll(*this); }
  // Makes room for so many more keys, so that their writer need not move those that are there.
  void clientNexthopToFecIdReserve(std::size_t more) {
    clientNexthopToFecId_.reserve(clientNexthopToFecId_.size() + more);
  }

  // The client nexthop references this FEC from now on, and no other. No effect when it does
  // already. Publishes, in order: the FEC if it is new; the old FEC's deleteReference, if there is
  // one; the key.
  void addReference(FecId fecId, String clientName, IpGenAddr nexthop);
  // Removes one reference. Publishes, in order: the key; the FEC, if that was its last reference.
  // Requires: the reference exists.
  void deleteReference(FecId fecId, String clientName, IpGenAddr nexthop);
  // Removes whatever reference the client nexthop has.
  void deleteReferenceForClientNexthop(const String& clientName, IpGenAddr nexthop);
  // Removes every reference to the FEC. Requires: there is one.
  void deleteReferenceForFecId(FecId fecId);

  void dumpState(DumpContext& dumpContext, std::uint32_t indent) const override;
  const TypeData& typeData() const override;

 private:
  void deleteReference(FecId fecId, const NexthopResolverClientNexthopKey& key, std::uint32_t hash);

  VrfName vrfName_;
  FecIdRefs fecIdRef_;
  FecIds clientNexthopToFecId_;
};

Ptr<FecIdToClientHop> fecIdToClientHopFactory(const VrfName& vrfName);

// Hands out ResolverIds from a counter that only goes up.
class ResolverIdAllocator final : public Entity {
 public:
  static constexpr ResolverId maxResId{ResolverId::maxResId};

  explicit ResolverIdAllocator(ResolverId startResId) noexcept : currentId_(startResId) {}
  static Ptr<ResolverIdAllocator> ResolverIdAllocatorIs(ResolverId startResId);

  // The last counter value handed out, or the start value.
  ResolverId currentId() const noexcept { return currentId_; }
  void currentIdIs(ResolverId currentId) noexcept { currentId_ = currentId; }
  void currentIdInc(ResolverId n) noexcept {
    currentId_ = ResolverId(currentId_.value() + n.value());
  }
  // A reserved FecId's own number, or the next counter value with the FecId's information bits.
  // Requires: the counter space is not used up, not even for a reserved FecId.
  ResolverId newId(FecId fecId);

  const TypeData& typeData() const override;

 private:
  ResolverId currentId_;
};

Ptr<ResolverIdAllocator> resolverIdAllocatorFactory(ResolverId startResId);

// The ResolverIds that FECs of a VRF have.
// Publishes: fecIdToResolverIdMapField with the FecId, on a new or another ResolverId and on
// removal.
class FecIdToResolverId final : public Entity, public Publisher {
 public:
  static constexpr FieldId fecIdToResolverIdMapField{1};
  using Map = PublishedMap<fecIdToResolverIdMapField, FecId, ResolverId>;

  explicit FecIdToResolverId(const VrfName& vrfName);
  static Ptr<FecIdToResolverId> FecIdToResolverIdIs(const VrfName& vrfName);

  const VrfName& vrfName() const noexcept { return vrfName_; }
  const Map& fecIdToResolverIdMap() const noexcept { return fecIdToResolverIdMap_; }
  bool fecIdToResolverIdMapHas(FecId fecId) const noexcept {
    return fecIdToResolverIdMap_.has(fecId);
  }
  // ResolverId 0 when there is none.
  ResolverId fecIdToResolverIdMap(FecId fecId) const { return fecIdToResolverIdMap_.value(fecId); }
  // Publishes: the FEC, unless it has this ResolverId already.
  void fecIdToResolverIdMapIs(FecId fecId, ResolverId resolverId) {
    fecIdToResolverIdMap_.set(*this, fecId, resolverId);
  }
  // Returns what was removed, or ResolverId 0. Publishes: the FEC, if it was there.
  ResolverId fecIdToResolverIdMapDel(FecId fecId) {
    return fecIdToResolverIdMap_.removeValue(*this, fecId);
  }
  // Publishes: each FEC; nothing when nobody subscribes.
  void fecIdToResolverIdMapDelAll() { fecIdToResolverIdMap_.removeAll(*this); }

  const TypeData& typeData() const override;

 private:
  VrfName vrfName_;
  Map fecIdToResolverIdMap_;
};

Ptr<FecIdToResolverId> fecIdToResolverIdFactory(const VrfName& vrfName);

}  // namespace Routing
