#include "resolver/NexthopResolverLocal.h"

#include <string>
#include <utility>

#include "platform/entity/Assert.h"
#include "platform/entity/Hash.h"
#include "platform/entity/Inspection.h"

namespace Routing {

NexthopResolverClientNexthopKey::NexthopResolverClientNexthopKey(StrepReader& reader) {
  clientName_ = reader.attribute<String>("clientName");
  reader.separator("nexthop");
  nexthop_ = reader.attribute<IpGenAddr>("nexthop");
}

std::uint32_t NexthopResolverClientNexthopKey::hashOfParts(std::string_view clientName,
                                                           const IpGenAddr& nexthop,
                                                           std::uint32_t seed) noexcept {
  const IpGenAddr::Words& words = nexthop.words();
  return HashState(seed)
      .mix(clientName)
      .mix(IpGenAddr::pairOf(words, 0))
      .mix(IpGenAddr::pairOf(words, 2))
      .result();
}

bool NexthopResolverClientNexthopKey::isEq(
    const NexthopResolverClientNexthopKey& other) const noexcept {
  return this == &other || (nexthop_ == other.nexthop_ && clientName_ == other.clientName_);
}

std::strong_ordering operator<=>(const NexthopResolverClientNexthopKey& left,
                                 const NexthopResolverClientNexthopKey& right) noexcept {
  if (&left == &right) {
    return std::strong_ordering::equal;
  }
  const std::strong_ordering names = left.clientName_ <=> right.clientName_;
  return std::is_neq(names) ? names : left.nexthop_ <=> right.nexthop_;
}

String NexthopResolverClientNexthopKey::stringValue() const {
  return "clientName=" + clientName_ + " nexthop=" + nexthop_.stringValue();
}

void NexthopResolverClientRef::dumpState(DumpContext& dumpContext, std::uint32_t indent) const {
  dumpContext.printLine(indent, "NexthopResolverClientRef " + clientName_);
  for (auto cursor = nexthopRef_.cursor(); !cursor.atEnd(); cursor.next()) {
    dumpContext.printLine(indent + 2, cursor.key().stringValue());
  }
}

const TypeData& NexthopResolverClientRef::typeData() const {
  static constexpr std::array attributes{
      attribute<&NexthopResolverClientRef::clientName>("clientName"),
      attribute<&NexthopResolverClientRef::nexthopRef>("nexthopRef")};
  static const TypeData type("Routing::NexthopResolverClientRef", attributes);
  return type;
}

NexthopResolverFecIdRef::NexthopResolverFecIdRef(FecId fecId) : fecId_(fecId) {}

NexthopResolverFecIdRef::~NexthopResolverFecIdRef() { clientRefDelAll(); }

Ptr<NexthopResolverClientRef> NexthopResolverFecIdRef::clientRefIs(const String& clientName) {
  Ptr<NexthopResolverClientRef> record = clientRef(clientName);
  if (!record) {
    record = makeEntity<NexthopResolverClientRef>(clientName);
    clientRef_.put(*this, {clientName, record});
  }
  return record;
}

void NexthopResolverFecIdRef::clientRefDelAll() {
  for (auto cursor = clientRef_.cursor(); !cursor.atEnd(); cursor.next()) {
    clientRefDel(cursor.key());
  }
}

void NexthopResolverFecIdRef::updateClientRef(const String& clientName,
                                              IpGenAddr nexthop,
                                              bool add) {
  if (add) {
    clientRefIs(clientName)->nexthopRefIs(nexthop);
    return;
  }
  const Ptr<NexthopResolverClientRef> cr = clientRef(clientName);
  ROUTING_ASSERT(cr && "client not being tracked");
  cr->nexthopRefDel(nexthop);
  if (cr->nexthopRef().empty()) {
    clientRefDel(clientName);
  }
}

void NexthopResolverFecIdRef::dumpState(DumpContext& dumpContext, std::uint32_t indent) const {
  dumpContext.printLine(indent, "NexthopResolverFecIdRef " + std::to_string(fecId_));
  for (auto cursor = clientRef_.cursor(); !cursor.atEnd(); cursor.next()) {
    dumpContext.dumpChild(cursor.member().value.get(), indent + 2);
  }
}

const TypeData& NexthopResolverFecIdRef::typeData() const {
  using Collection = const ClientRefs& (NexthopResolverFecIdRef::*)() const noexcept;
  static constexpr std::array attributes{
      attribute<&NexthopResolverFecIdRef::fecId>("fecId"),
      attribute<static_cast<Collection>(&NexthopResolverFecIdRef::clientRef)>("clientRef")};
  static const TypeData type("Routing::NexthopResolverFecIdRef", attributes);
  return type;
}

FecIdToClientHop::FecIdToClientHop(const VrfName& vrfName) : vrfName_(vrfName) {}

FecIdToClientHop::~FecIdToClientHop() { fecIdRefDelAll(); }

Ptr<FecIdToClientHop> FecIdToClientHop::FecIdToClientHopIs(const VrfName& vrfName) {
  return makeEntity<FecIdToClientHop>(vrfName);
}

Ptr<FecIdToClientHop> fecIdToClientHopFactory(const VrfName& vrfName) {
  return FecIdToClientHop::FecIdToClientHopIs(vrfName);
}

Ptr<NexthopResolverFecIdRef> FecIdToClientHop::fecIdRefIs(FecId fecId) {
  Ptr<NexthopResolverFecIdRef> record = fecIdRef(fecId);
  if (!record) {
    record = makeEntity<NexthopResolverFecIdRef>(fecId);
    fecIdRef_.put(*this, {fecId, record});
  }
  return record;
}

void FecIdToClientHop::fecIdRefDelAll() {
  for (auto cursor = fecIdRef_.cursor(); !cursor.atEnd(); cursor.next()) {
    fecIdRefDel(cursor.key());
  }
}

// Whoever is notified may release the index: each of the reference operations holds it.

void FecIdToClientHop::addReference(FecId fecId, String clientName, IpGenAddr nexthop) {
  const Ptr<FecIdToClientHop> self(this);
  const NexthopResolverClientNexthopKey key(std::move(clientName), nexthop);
  const std::uint32_t hash = hashOf(key);
  const auto* const entry = clientNexthopToFecId_.find(key, hash);
  const FecId old = entry == nullptr ? 0 : entry->value;
  if (old == fecId) {
    return;
  }
  fecIdRefIs(fecId)->updateClientRef(key.clientName(), nexthop, true);
  if (old != 0) {
    deleteReference(old, key, hash);
  }
  clientNexthopToFecId_.set(*this, key, fecId, hash);
}

void FecIdToClientHop::deleteReference(FecId fecId, String clientName, IpGenAddr nexthop) {
  const NexthopResolverClientNexthopKey key(std::move(clientName), nexthop);
  deleteReference(fecId, key, hashOf(key));
}

void FecIdToClientHop::deleteReference(FecId fecId,
                                       const NexthopResolverClientNexthopKey& key,
                                       std::uint32_t hash) {
  const Ptr<FecIdToClientHop> self(this);
  const Ptr<NexthopResolverFecIdRef> fr = fecIdRef(fecId);
  ROUTING_ASSERT(fr && "trying to remove reference for untracked fecId");
  fr->updateClientRef(key.clientName(), key.nexthop(), false);
  clientNexthopToFecId_.remove(*this, key, hash);
  if (fr->clientRef().empty()) {
    fecIdRefDel(fecId);
  }
}

void FecIdToClientHop::deleteReferenceForClientNexthop(const String& clientName,
                                                       IpGenAddr nexthop) {
  const NexthopResolverClientNexthopKey key(clientName, nexthop);
  const std::uint32_t hash = hashOf(key);
  const auto* const entry = clientNexthopToFecId_.find(key, hash);
  if (entry != nullptr && entry->value != 0) {
    deleteReference(entry->value, key, hash);
  }
}

void FecIdToClientHop::deleteReferenceForFecId(FecId fecId) {
  const Ptr<FecIdToClientHop> self(this);
  const Ptr<NexthopResolverFecIdRef> fr = fecIdRef(fecId);
  ROUTING_ASSERT(fr && "trying to remove reference for untracked fecId");
  for (auto clients = fr->clientRef().cursor(); !clients.atEnd(); clients.next()) {
    // The last nexthop takes the client's record along, and with it the set that is walked.
    const Ptr<NexthopResolverClientRef> cr = clients.member().value;
    for (auto nexthops = cr->nexthopRef().cursor(); !nexthops.atEnd(); nexthops.next()) {
      deleteReference(fecId, cr->clientName(), nexthops.key());
    }
  }
}

void FecIdToClientHop::dumpState(DumpContext& dumpContext, std::uint32_t indent) const {
  dumpContext.printLine(indent, "FecIdToClientHop " + vrfName_);
  for (auto cursor = fecIdRef_.cursor(); !cursor.atEnd(); cursor.next()) {
    dumpContext.dumpChild(cursor.member().value.get(), indent + 2);
  }
  dumpContext.printLine(indent, "ClientNexthop to FecId Map");
  for (auto cursor = clientNexthopToFecId_.cursor(); !cursor.atEnd(); cursor.next()) {
    const auto& [key, fecId] = cursor.member();
    dumpContext.printLine(indent + 2,
                          "(" + key.clientName() + "," + key.nexthop().stringValue() + ") -> " +
                              std::to_string(fecId));
  }
}

const TypeData& FecIdToClientHop::typeData() const {
  using References = const FecIdRefs& (FecIdToClientHop::*)() const noexcept;
  using Keys = const FecIds& (FecIdToClientHop::*)() const noexcept;
  static constexpr std::array attributes{
      attribute<&FecIdToClientHop::vrfName>("vrfName"),
      attribute<static_cast<References>(&FecIdToClientHop::fecIdRef)>("fecIdRef"),
      attribute<static_cast<Keys>(&FecIdToClientHop::clientNexthopToFecId)>(
          "clientNexthopToFecId")};
  static const TypeData type("Routing::FecIdToClientHop", attributes);
  return type;
}

Ptr<ResolverIdAllocator> ResolverIdAllocator::ResolverIdAllocatorIs(ResolverId startResId) {
  return makeEntity<ResolverIdAllocator>(startResId);
}

Ptr<ResolverIdAllocator> resolverIdAllocatorFactory(ResolverId startResId) {
  return ResolverIdAllocator::ResolverIdAllocatorIs(startResId);
}

ResolverId ResolverIdAllocator::newId(FecId fecId) {
  if (currentId_ == maxResId) {
    ROUTING_ASSERT(0 && "ran out of ResolverId space");
  }
  if (isReservedFecId(fecId)) {
    return ResolverId(fecId);
  }
  currentId_ = ResolverId(currentId_.value() + 1);
  return ResolverId((fecId & ResolverId::informationBits) | currentId_.value());
}

const TypeData& ResolverIdAllocator::typeData() const {
  static constexpr std::array attributes{attribute<&ResolverIdAllocator::currentId>("currentId")};
  static const TypeData type("Routing::ResolverIdAllocator", attributes);
  return type;
}

FecIdToResolverId::FecIdToResolverId(const VrfName& vrfName) : vrfName_(vrfName) {}

Ptr<FecIdToResolverId> FecIdToResolverId::FecIdToResolverIdIs(const VrfName& vrfName) {
  return makeEntity<FecIdToResolverId>(vrfName);
}

Ptr<FecIdToResolverId> fecIdToResolverIdFactory(const VrfName& vrfName) {
  return FecIdToResolverId::FecIdToResolverIdIs(vrfName);
}

const TypeData& FecIdToResolverId::typeData() const {
  using Collection = const Map& (FecIdToResolverId::*)() const noexcept;
  static constexpr std::array attributes{
      attribute<&FecIdToResolverId::vrfName>("vrfName"),
      attribute<static_cast<Collection>(&FecIdToResolverId::fecIdToResolverIdMap)>(
          "fecIdToResolverIdMap")};
  static const TypeData type("Routing::FecIdToResolverId", attributes);
  return type;
}

}  // namespace Routing
