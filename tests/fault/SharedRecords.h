#pragma once

// A copy of the records that outlive the process which runs the managers: the clients'
// configuration and status, what the forwarding plane was told, and the contexts. Taken at any
// moment, also in the middle of a notification, and put into another world.

#include <map>
#include <utility>
#include <vector>

#include "tools/nexthop-replay/World.h"

namespace Routing::Support {

class SharedRecords {
 public:
  explicit SharedRecords(Replay::World& world);

  // Requires: the world has none of them and no manager.
  void putInto(Replay::World& world) const;

  // The published identifiers other than those of reserved FECs, which each run uses again.
  std::vector<std::pair<VrfName, ResolverId>> counterIdentifiers() const;

 private:
  template <class Entry>
  struct VrfRecord {
    VrfName vrf;
    NexthopStatusFecIdType kind{};
    std::vector<Entry> entries;
  };
  // A client's name and its VRFs.
  template <class Entry>
  using Client = std::pair<String, std::vector<VrfRecord<Entry>>>;

  template <class Record, class Entry>
  static std::vector<Client<Entry>> copyOf(const Replay::World& world, Replay::Directory directory);
  template <class Record, class Entry>
  static void put(Replay::World& world,
                  Replay::Directory directory,
                  const std::vector<Client<Entry>>& clients);

  std::vector<Client<NexthopConfigEntry>> config_;
  std::vector<Client<NexthopStatusEntry>> status_;
  std::vector<Client<NexthopStatusEntry>> cellStatus_;
  std::vector<std::pair<VrfName, std::vector<NexthopResolverIdVia>>> forwarding_;
  std::map<VrfName, std::uint64_t> contexts_;
};

}  // namespace Routing::Support
