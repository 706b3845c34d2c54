#include "tests/support/RecordFollower.h"

#include <utility>

namespace Routing::Support {

using Replay::Directory;
using Replay::World;

class RecordFollower::Slot final : public Notifiee {
 public:
  Slot(RecordFollower& follower,
       const Publisher& publisher,
       const Entity& entity,
       RecordKind kind,
       Look look)
      : follower_(follower),
        publisher_(publisher),
        entity_(entity),
        kind_(kind),
        look_(std::move(look)) {
    subscribe(publisher);
  }
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;
  ~Slot() override = default;

  // The last statement may end this slot.
  void onAttribute(FieldId field, const void* key) override {
    look_(key);
    follower_.reaction_({kind_, publisher_, entity_, field, key});
  }

  // Another one at the same place.
  std::unique_ptr<Slot> successor() const {
    return std::make_unique<Slot>(follower_, publisher_, entity_, kind_, look_);
  }

 private:
  RecordFollower& follower_;
  const Publisher& publisher_;
  const Entity& entity_;
  RecordKind kind_;
  Look look_;
};

RecordFollower::RecordFollower(World& world, Reaction reaction)
    : world_(world), reaction_(std::move(reaction)) {
  followDirectory(Directory::config, RecordKind::configuration);
  followDirectory(Directory::status, RecordKind::status);
  followDirectory(Directory::cell, RecordKind::status);
  followForwarding();
  followTheRest();
}

RecordFollower::~RecordFollower() = default;

template <class Source>
void RecordFollower::follow(const Source& source, RecordKind kind, Look look) {
  std::unique_ptr<Slot>& slot = slots_[&source];
  // One that is not subscribed followed a record that has gone; another stands in its place.
  if (!slot || !slot->subscribed()) {
    slot = std::make_unique<Slot>(*this, source, source, kind, std::move(look));
  }
}

// What looks at the VRFs of a client's record, or of the forwarding status.
template <class Owner>
RecordFollower::Look RecordFollower::lookInto(const Owner& owner, RecordKind kind) {
  const auto follow = [this, kind](const auto& vrf) {
    if (vrf) {
      this->follow(*vrf, kind, [](const void*) {});
    }
  };
  for (auto cursor = owner.vrf().cursor(); !cursor.atEnd(); cursor.next()) {
    follow(cursor.member().value);
  }
  return
      [&owner, follow](const void* key) { follow(owner.vrf(*static_cast<const VrfName*>(key))); };
}

void RecordFollower::followDirectory(Directory directory, RecordKind kind) {
  const auto followEntry = [this, directory, kind](const String& name) {
    const Ptr<Entity> entry = world_.entry(directory, name);
    if (const auto config = ptrCast<NexthopConfig>(entry)) {
      follow(*config, kind, lookInto(*config, kind));
    } else if (const auto status = ptrCast<NexthopStatus>(entry)) {
      follow(*status, kind, lookInto(*status, kind));
    }
  };
  follow(*world_.dir(directory), kind, [followEntry](const void* key) {
    followEntry(*static_cast<const String*>(key));
  });
  world_.walk(directory, followEntry);
}

void RecordFollower::followForwarding() {
  const NexthopResolverForwardingStatus& forwarding = *world_.forwardingStatus();
  follow(forwarding, RecordKind::forwarding, lookInto(forwarding, RecordKind::forwarding));
}

void RecordFollower::followTheRest() {
  const Look nothing = [](const void*) {};
  for (const auto& [name, vrf] : world_.vrfs()) {
    follow(*vrf.context, RecordKind::context, nothing);
    if (vrf.manager) {
      follow(*vrf.manager->fecIdToClientHop(), RecordKind::bookkeeping, nothing);
      follow(*vrf.manager->fecIdToResolverId(), RecordKind::bookkeeping, nothing);
    }
  }
}

void RecordFollower::rejoin(const Publisher& publisher) {
  Slot& slot = *slots_.at(&publisher);
  slot.unsubscribe();
  slot.subscribe(publisher);
}

void RecordFollower::renew(const Publisher& publisher) {
  std::unique_ptr<Slot>& slot = slots_.at(&publisher);
  slot = slot->successor();
}

}  // namespace Routing::Support
