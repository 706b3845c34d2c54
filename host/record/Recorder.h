#pragma once

// Recorder: writes down what the library is given, as a replay file. Played back, the file ends in
// the same status, identifiers included: it is how a fault of a live daemon becomes a test.
//
//   input                                what is written
//   configurations of the clients        config, config-vrf, nexthop and their removal
//   statuses' presence                   status, status-del; what an earlier run left: status-entry
//   routing information                  routing VRF FAMILY on|off|absent
//   a VRF's tables and tries             route and route-del, where table and trie change together;
//                                        table, trie, announce otherwise
//   a VRF's FECs                         fec, fec-del
//   a VRF's context and forwarding       context, published: what they held before the manager
//   start and end of a manager           manager VRF no-cells, manager-del
//   a run of a manager's task            step, and budget where the time slice ended it
//   time                                 advance
//
// A run of a task is written as the number of nexthops it did, so a replay interrupts reviews where
// the daemon did, and changes that came in between fall in the same place.
//
// Time is written in whole milliseconds and only while nothing waits to run, since a replay that
// moves its clock runs everything first. A timer therefore fires within a few milliseconds of the
// inputs around it, not always on the same side of them.
//
// Owner: the daemon. Made when the stored records are loaded and nothing else has happened, after
// whatever loads the records of VRFs that come later; ends before the VRFs do.
// It changes nothing and publishes nothing.

#include <array>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "host/record/ReplayFile.h"
#include "host/vrf/Vrfs.h"
#include "platform/entity/DenseTable.h"
#include "platform/task/Clock.h"
#include "platform/task/Task.h"

namespace Routing::Host {

class Recorder {
 public:
  // Writes what stands already. Requires: no manager runs. Throws: SystemError.
  Recorder(const std::string& path, Vrfs& vrfs, const Ptr<const Clock>& clock);
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;
  // To be called at the end of each turn of the scheduler.
  void turnEnd();

 private:
  // Calls a function for what one publisher publishes.
  class Listener final : public Observer {
   public:
    using Call = std::function<void(FieldId field, const void* key)>;
    Listener(const Publisher& publisher, Call call) : call_(std::move(call)) {
      subscribe(publisher);
    }
    void onAttribute(FieldId field, const void* key) override { call_(field, key); }

   private:
    Call call_;
  };
  template <class Record>
  struct Followed {
    Ptr<Record> record;
    std::unique_ptr<Listener> listener;
  };
  struct Client {
    Followed<NexthopConfig> config;
    std::map<VrfName, Followed<NexthopVrfConfig>> vrfs;
  };
  struct FollowedVrf {
    const Vrf* vrf = nullptr;
    std::string word;
    bool managerWritten = false;
    // Prefixes in the tries, by which a change tells itself from an announcement.
    std::size_t prefixes4 = 0;
    std::size_t prefixes6 = 0;
    DenseSet<FecId> fecs;
    std::array<std::unique_ptr<Listener>, 5> listeners;
  };
  struct FollowedTask {
    // Good while its listener is subscribed.
    const Task* task;
    bool isTimer;
    std::uint64_t work = 0;
    std::unique_ptr<Listener> listener;
  };
  // The route table's part of a change whose other part, the trie's, comes next.
  struct TableChange {
    const FollowedVrf* vrf;
    IpGenPrefix prefix;
  };

  // Writes what is due before a line, then the line.
  void line(const std::string& text);
  void due();
  void managersWrite();
  void timeWrite();
  void advanceWrite();
  // Time that has passed since the last advance, in whole milliseconds.
  Nanoseconds elapsed() const;

  void configChanged(const String& name);
  void configFollow(const String& name, const Ptr<NexthopConfig>& config);
  void configVrfChanged(const String& name, const VrfName& vrf);
  void configVrfWrite(const String& name, const NexthopVrfConfig& config);
  void nexthopChanged(const String& name, const NexthopVrfConfig& config, const IpGenAddr& addr);
  void statusChanged(const String& name);
  void statusWrite(const String& name, const NexthopStatus& status);
  template <class Info>
  void routingFollow(const Ptr<Dir>& dir,
                     AddressFamily family,
                     std::map<VrfName, Followed<Info>>& followed);
  template <class Info>
  void routingChanged(const Ptr<Info>& info, const VrfName& name, AddressFamily family);

  void vrfAdded(const Vrf& vrf);
  void vrfListen(FollowedVrf& followed);
  void vrfRemoved(const Vrf& vrf);
  void contentWrite(FollowedVrf& vrf);
  void fecChanged(FollowedVrf& vrf, FecId fecId);
  void tableChanged(const FollowedVrf& vrf, const IpGenPrefix& prefix);
  void trieChanged(FollowedVrf& vrf, const TrieGen& trie, const IpGenPrefix& prefix);
  void tableChangeWrite(const TableChange& change);

  void tasksFollow();
  void taskFollow(const Ptr<const Task>& task, bool isTimer);
  void taskRan(FollowedTask& followed);

  Vrfs& vrfs_;
  Ptr<const Clock> clock_;
  ReplayFile file_;

  std::optional<TableChange> tableChange_;
  std::uint64_t budget_ = 0;
  // On the clock, where the replay's time stands.
  Nanoseconds time_;
  bool timeWritten_ = false;
  // Nothing of the library waited to run at the last turn's end.
  bool idle_ = true;
  // Resolvers may have come since the last turn's end.
  bool tasksMayDiffer_ = false;

  std::map<String, Client> clients_;
  std::map<String, Ptr<NexthopStatus>> statuses_;
  std::map<VrfName, Followed<RoutingInfo>> routing4_;
  std::map<VrfName, Followed<Routing6::RoutingInfo>> routing6_;
  // They are named by their listeners and stay where they are.
  std::list<FollowedVrf> followedVrfs_;
  std::list<FollowedTask> tasks_;
  // Of the four directories.
  std::list<Listener> directories_;
};

}  // namespace Routing::Host
