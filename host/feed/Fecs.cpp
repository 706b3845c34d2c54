#include "host/feed/Fecs.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "platform/entity/Assert.h"
#include "platform/entity/Hash.h"

namespace Routing::Host {

namespace {

auto order(const Hop& hop) noexcept {
  const FibGen::Via& via = hop.via;
  return std::tuple(via.intfId.value, via.hop, via.mplsLabelAndAction().value(), via.weight);
}

void sort(Hops& hops) {
  std::sort(hops.begin(), hops.end(), [](const Hop& left, const Hop& right) {
    return order(left) < order(right);
  });
}

Hops sorted(Hops hops) {
  sort(hops);
  return hops;
}

bool anyAlive(const Hops& hops) noexcept {
  return std::any_of(hops.begin(), hops.end(), [](const Hop& hop) { return !hop.dead; });
}

}  // namespace

std::size_t Fecs::SetHash::operator()(const Set& set) const noexcept {
  HashState state(static_cast<std::uint32_t>(set.family));
  for (const Hop& hop : set.hops) {
    state.mix(hop.via.intfId.value)
        .mix(hop.via.hop.hash(0))
        .mix(hop.via.mplsLabelAndAction().value())
        .mix(hop.via.weight);
  }
  return state.result();
}

bool Fecs::SameSet::operator()(const Set& left, const Set& right) const noexcept {
  return left.family == right.family &&
         std::equal(left.hops.begin(),
                    left.hops.end(),
                    right.hops.begin(),
                    right.hops.end(),
                    [](const Hop& one, const Hop& other) { return one.via == other.via; });
}

Fecs::Fecs(const Ptr<FibGen::MemoryForwardingStatus>& table,
           FecIdSource& source,
           const Ptr<TaskScheduler>& scheduler)
    : table_(table),
      source_(source),
      deletion_(makeEntity<Task>(scheduler, TaskPriority::leastUrgent, "fecDeletion")) {
  deletionRun_.subscribe(*deletion_);
}

Fecs::~Fecs() = default;

FecId Fecs::ofHops(AddressFamily family, const Hops& hops) {
  if (lastFec_ != 0 && last_.family == family && last_.hops == hops) {
    return lastFec_;
  }
  asked_.family = family;
  asked_.hops = hops;
  sort(asked_.hops);
  const auto found = bySet_.find(asked_);
  FecId fec = 0;
  if (found != bySet_.end()) {
    fec = hopsIs(found->second, asked_.hops);
  } else if (anyAlive(hops)) {
    Record made;
    made.hops = asked_.hops;
    made.family = family;
    fec = add(std::move(made));
    bySet_.emplace(asked_, fec);
  }
  last_.family = family;
  last_.hops = hops;
  lastFec_ = fec;
  return fec;
}

FecId Fecs::findHops(AddressFamily family, const Hops& hops) const {
  const auto found = bySet_.find(Set{family, sorted(hops)});
  return found == bySet_.end() ? 0 : found->second;
}

FecId Fecs::ofObject(std::uint32_t object, const Hops& hops) {
  const auto found = byObject_.find(object);
  if (found != byObject_.end()) {
    return hopsIs(found->second, sorted(hops));
  }
  if (!anyAlive(hops)) {
    return 0;
  }
  Record made;
  made.hops = sorted(hops);
  made.object = object;
  const FecId fec = add(std::move(made));
  byObject_.emplace(object, fec);
  return fec;
}

FecId Fecs::findObject(std::uint32_t object) const {
  const auto found = byObject_.find(object);
  return found == byObject_.end() ? 0 : found->second;
}

FecId Fecs::ofType(RouteType type) {
  const auto key = static_cast<std::uint8_t>(type);
  const auto found = byType_.find(key);
  if (found != byType_.end()) {
    return found->second;
  }
  Record made;
  made.type = type;
  const FecId fec = add(std::move(made));
  byType_.emplace(key, fec);
  return fec;
}

FecId Fecs::findType(RouteType type) const {
  const auto found = byType_.find(static_cast<std::uint8_t>(type));
  return found == byType_.end() ? 0 : found->second;
}

// A FEC that nobody comes to hold is deleted like one that was released.
FecId Fecs::add(Record made) {
  const FecId fec = source_.next();
  Record& record = records_.emplace(fec, std::move(made)).first->second;
  write(fec, record);
  releasable(fec, record);
  return fec;
}

// What is unusable keeps its last vias until its routes are gone.
FecId Fecs::hopsIs(FecId fec, const Hops& hops) {
  Record& changed = record(fec);
  const bool usable = anyAlive(hops);
  if (changed.hops != hops) {
    unusable_ = unusable_ || (changed.usable && !usable);
    changed.hops = hops;
    changed.usable = usable;
    lastFec_ = 0;
    if (usable) {
      write(fec, changed);
    }
  }
  return usable ? fec : 0;
}

void Fecs::write(FecId fec, const Record& record) {
  FibGen::Fec content(fec);
  for (const Hop& hop : record.hops) {
    if (hop.dead) {
      continue;
    }
    if (content.viaCount() == FibGen::Fec::maxVias) {
      ++viasBeyondLimit_;
      continue;
    }
    content.viaIs(hop.via);
  }
  if (!table_->fecHas(fec) || !(table_->fec(fec) == content)) {
    table_->fecIs(std::move(content));
  }
}

void Fecs::hold(FecId fec) { ++record(fec).held; }

void Fecs::release(FecId fec) {
  Record& released = record(fec);
  ROUTING_ASSERT(released.held > 0 && "only a held FEC is released");
  if (--released.held == 0) {
    releasable(fec, released);
  }
}

void Fecs::releasable(FecId fec, Record& record) {
  if (!record.deleting) {
    record.deleting = true;
    released_.push_back(fec);
    deletion_->scheduleTask();
  }
}

void Fecs::deleteReleased(FieldId /*field*/, const void* /*key*/) {
  std::vector<FecId> released;
  released.swap(released_);
  for (const FecId fec : released) {
    Record& candidate = record(fec);
    candidate.deleting = false;
    if (candidate.held != 0) {
      continue;
    }
    forget(candidate);
    records_.erase(fec);
    table_->fecDel(fec);
  }
}

void Fecs::forget(const Record& record) {
  lastFec_ = 0;
  if (record.object != 0) {
    byObject_.erase(record.object);
  } else if (record.type != RouteType::none) {
    byType_.erase(static_cast<std::uint8_t>(record.type));
  } else {
    bySet_.erase(Set{record.family, record.hops});
  }
}

void Fecs::interfaceDead(std::uint32_t interface, AddressFamily family) {
  for (const auto& [fec, record] : records_) {
    const bool concerned = family == AddressFamily::unset ? record.family != AddressFamily::unset
                                                          : record.family == family;
    if (concerned && usesInterface(fec, interface)) {
      Hops hops = record.hops;
      for (Hop& hop : hops) {
        hop.dead = hop.dead || hop.via.intfId.value == interface;
      }
      hopsIs(fec, hops);
    }
  }
}

bool Fecs::usesInterface(FecId fec, std::uint32_t interface) const {
  const Hops& hops = record(fec).hops;
  return std::any_of(hops.begin(), hops.end(), [interface](const Hop& hop) {
    return hop.via.intfId.value == interface;
  });
}

bool Fecs::usesInterface(std::uint32_t interface) const {
  return std::any_of(records_.begin(), records_.end(), [this, interface](const auto& entry) {
    return usesInterface(entry.first, interface);
  });
}

const Fecs::Record& Fecs::record(FecId fec) const {
  const auto found = records_.find(fec);
  ROUTING_ASSERT(found != records_.end() && "a FEC of this VRF");
  return found->second;
}

Fecs::Record& Fecs::record(FecId fec) {
  return const_cast<Record&>(std::as_const(*this).record(fec));  // NOLINT(*-const-cast): own member
}

}  // namespace Routing::Host
