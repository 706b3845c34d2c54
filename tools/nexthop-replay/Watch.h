#pragma once

// The watch: prints every notification of the library's outputs as it is delivered.
//
// It holds an observer for each object that publishes outputs. Observers are delivered to after all
// machines, whenever they subscribed, and hold nothing: an object that ends takes its observer off,
// and one more is swept away with others. A line tells what stands under the key at that moment,
// the -del form when nothing does.
//
//   object                                   lines
//   NexthopStatus                            status-vrf
//   NexthopVrfStatus                         status
//   NexthopResolverVrfForwardingStatus       forwarding
//   NexthopResolverFibViaContext             context
//   FecIdToResolverId                        map
//   FecIdToClientHop                         reference, key
//   NexthopResolverFecIdRef                  client-reference
//
// Objects made later: whoever makes one attaches it before anybody else can reach it, or, where the
// library makes it, the notification that tells of it does. The second is in time because nothing
// is published in an object before those that were told of it have returned: a fresh VRF status is
// written by a task, a fresh forwarding status when its machine starts, a fresh FEC record when it
// has been announced. The index and the map of a manager publish nothing before the factory
// returns.

#include <cstddef>
#include <memory>
#include <unordered_map>

#include "platform/entity/Publisher.h"
#include "records/NexthopResolverFibViaContext.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatus.h"
#include "resolver/NexthopResolverLocal.h"
#include "tools/nexthop-replay/Output.h"

namespace Routing::Replay {

class Watch {
 public:
  explicit Watch(Output& output) noexcept : output_(output) {}
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch();

  bool on() const noexcept { return on_; }
  // After switching it on, attach everything that is there.
  void onIs(bool on);

  // Each attaches the object and what it holds; no effect while the watch is off, or when attached.
  void attach(const NexthopStatus& status);
  void attach(const NexthopVrfStatus& status, const String& client);
  void attach(const NexthopResolverForwardingStatus& status);
  void attach(const NexthopResolverVrfForwardingStatus& status);
  void attach(const NexthopResolverFibViaContext& context, const VrfName& vrf);
  void attach(const FecIdToResolverId& map);
  void attach(const FecIdToClientHop& index);

 private:
  // An observer that can be owned.
  class Watcher : public Observer {
   public:
    Watcher() = default;
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;
    ~Watcher() override = default;
  };
  template <class Source>
  class SourceWatcher;

  void attach(const NexthopResolverFecIdRef& record, const VrfName& vrf);
  // The name is that of the source's owner, where the source does not know it.
  template <class Source>
  bool add(const Source& source, const String& name);
  void sweep();

  void changed(const NexthopStatus& status, const String& name, FieldId field, const void* key);
  void changed(const NexthopVrfStatus& status,
               const String& client,
               FieldId field,
               const void* key);
  void changed(const NexthopResolverForwardingStatus& status,
               const String& name,
               FieldId field,
               const void* key);
  void changed(const NexthopResolverVrfForwardingStatus& status,
               const String& name,
               FieldId field,
               const void* key);
  void changed(const NexthopResolverFibViaContext& context,
               const VrfName& vrf,
               FieldId field,
               const void* key);
  void changed(const FecIdToResolverId& map, const String& name, FieldId field, const void* key);
  void changed(const FecIdToClientHop& index, const String& name, FieldId field, const void* key);
  void changed(const NexthopResolverFecIdRef& record,
               const VrfName& vrf,
               FieldId field,
               const void* key);
  void referenceChanged(const FecIdToClientHop& index, FecId fecId);
  void keyChanged(const FecIdToClientHop& index, const NexthopResolverClientNexthopKey& key);

  Output& output_;
  bool on_ = false;
  std::unordered_map<const Publisher*, std::unique_ptr<Watcher>> watchers_;
  std::size_t sweepAt_ = 1024;
};

}  // namespace Routing::Replay
