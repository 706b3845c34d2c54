#pragma once

// RecordFollower: is told of every write to the records that a world's managers share with others,
// from each record's first moment on and before any manager, for whoever must act right at a write.
//
//   publisher                                            kind
//   configuration directory, its clients, their VRFs     configuration
//   status directories, their clients, their VRFs        status
//   forwarding status, its VRFs                          forwarding
//   each VRF's context                                   context
//   each manager's reference index and identifier map    bookkeeping
//
// It is first because it subscribes first: the world's directories are made by its constructor, and
// a record is followed when the notification of its appearance arrives. What appears silently, the
// contexts and the bookkeeping, is followed when followTheRest() finds it.

#include <functional>
#include <memory>
#include <unordered_map>

#include "platform/entity/Publisher.h"
#include "tools/nexthop-replay/World.h"

namespace Routing::Support {

enum class RecordKind : std::uint8_t { configuration, status, forwarding, context, bookkeeping };

class RecordFollower {
 public:
  // What a notification says, and whose it is.
  struct Write {
    RecordKind kind;
    const Publisher& publisher;
    // The same object.
    const Entity& entity;
    FieldId field;
    const void* key;
  };
  // It may call back.
  using Reaction = std::function<void(const Write&)>;

  // The world outlives the follower. What stands in it already is followed too.
  RecordFollower(Replay::World& world, Reaction reaction);
  RecordFollower(const RecordFollower&) = delete;
  RecordFollower& operator=(const RecordFollower&) = delete;
  ~RecordFollower();

  void followTheRest();

  // The publisher's notifiee steps out of the line and takes its end.
  void rejoin(const Publisher& publisher);
  // The publisher's notifiee dies, and a new one takes the end of the line.
  void renew(const Publisher& publisher);

 private:
  class Slot;
  using Look = std::function<void(const void* key)>;

  // Takes a place at the publisher. `look` follows what stands under a key; it runs before the
  // reaction.
  template <class Source>
  void follow(const Source& source, RecordKind kind, Look look);
  template <class Owner>
  Look lookInto(const Owner& owner, RecordKind kind);
  void followDirectory(Replay::Directory directory, RecordKind kind);
  void followForwarding();

  Replay::World& world_;
  Reaction reaction_;
  std::unordered_map<const Publisher*, std::unique_ptr<Slot>> slots_;
};

}  // namespace Routing::Support
