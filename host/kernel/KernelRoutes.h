#pragma once

// KernelRoutes: keeps the VRFs' tables equal to what the kernel of this network namespace forwards.
//
//   start      subscribe, then read everything: links, addresses, nexthop objects, routes
//   then       follow notifications; a turn of the event loop applies a bounded batch of them
//   lost       the receive buffer ran over, a message was cut off, a dump was torn by changes:
//              read everything again, and remove what is not there any more
//   doubt      something changed that may have removed routes without a word (KernelState.h): what
//              was done by rule is checked by reading the routes concerned again
//
//   damage     a message does not read: as for what was lost; if it never does, ever more seldom
//   disturbed  changes of routes may have hidden others from a dump (VrfRoutes.h): read everything
//              again; while changes go on and disturb each reading, ever more seldom
//
// Reading again begins at most once a second, and a check a little after its reason, because the
// kernel drops routes after it tells of the reason. Notifications are never stopped for it, and
// what has not changed causes no event. Reasons that keep coming delay neither: a reading that
// began too soon after the last of them is followed by another.
//
// It is synced when what is here is what the kernel has, as far as anybody can tell: from the end
// of the first reading on, but not from a loss or a damaged message to the end of the next reading.
// A disturbed dump has nobody wait: changes that go on would never let it be synced.
// A VRF is ready, once, when its first routes are complete, or all that read; then its manager may
// start.
//
// Owner: the daemon. It must end before the event loop and the VRFs.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/feed/FecIdSource.h"
#include "host/kernel/KernelState.h"
#include "host/kernel/NetlinkSocket.h"
#include "host/loop/EventLoop.h"
#include "host/vrf/Vrfs.h"
#include "platform/task/Task.h"

namespace Routing::Host {

class KernelRoutes {
 public:
  struct Options {
    // Holds a burst of about a hundred thousand notifications.
    std::size_t receiveBuffer = std::size_t{64} << 20U;
  };
  struct Counters {
    KernelCounters messages;
    std::uint64_t bytes = 0;
    std::uint64_t overruns = 0;
    std::uint64_t truncated = 0;
    std::uint64_t tornDumps = 0;
    std::uint64_t failedDumps = 0;
    // Readings of everything after the first.
    std::uint64_t resyncs = 0;
    std::uint64_t checks = 0;
    std::uint64_t viasBeyondLimit = 0;
  };
  // One route that the kernel holds for a prefix.
  struct Description {
    struct Hop {
      // Empty when the destination is on the link itself.
      std::string address;
      std::string interface;
      std::uint32_t weight = 1;
      // MplsLabelAndAction::noLabel when there is none.
      std::uint32_t label = MplsLabelAndAction::noLabel;
      bool dead = false;
    };
    // Names the protocol, for an ordinary route.
    RouteType type = RouteType::none;
    std::uint32_t metric = 0;
    std::uint8_t preference = 0;
    // From the kernel's table "local".
    bool local = false;
    // The kernel's nexthop object, or 0.
    std::uint32_t object = 0;
    FecId fec = 0;
    std::vector<Hop> hops;
  };

  // Throws: SystemError.
  KernelRoutes(EventLoop& loop, Vrfs& vrfs, FecIdSource& source, const Options& options);
  // With a socket that a test answers.
  KernelRoutes(EventLoop& loop, Vrfs& vrfs, FecIdSource& source, NetlinkSocket socket);
  KernelRoutes(const KernelRoutes&) = delete;
  KernelRoutes& operator=(const KernelRoutes&) = delete;
  ~KernelRoutes();

  // Called each time it becomes synced. To be set before start().
  void syncedIs(std::function<void()> hook) { syncedHook_ = std::move(hook); }
  // Called once for each VRF, before the hook above. To be set before start().
  void vrfReadyIs(std::function<void(Vrf& vrf)> hook) { vrfReadyHook_ = std::move(hook); }
  // Begins. Throws: SystemError.
  void start();

  bool synced() const noexcept { return synced_; }
  Counters counters() const;
  const KernelState& state() const noexcept { return state_; }
  // Best first.
  std::vector<Description> describe(const Vrf& vrf, const IpGenPrefix& prefix) const;

 private:
  void readable();
  void datagram(Bytes messages);
  void message(const Message& message);
  void dumpAnswered(const Message& message);
  void dumpFinished(bool complete);
  void dumpNext();
  void answerOverdue(FieldId field, const void* key);
  void queueIsEmpty();
  void lost();
  void doubtsTake();
  void recheckLater();
  bool everythingWanted() const noexcept;
  Nanoseconds recheckDelay() const;
  void retry(FieldId field, const void* key);
  std::vector<DumpRequest> checksOf(const std::set<std::uint32_t>& interfaces) const;
  void recheck(FieldId field, const void* key);
  void vrfAdded(Vrf& vrf);

  EventLoop& loop_;
  Vrfs& vrfs_;
  NetlinkSocket socket_;
  KernelState state_;
  std::function<void()> syncedHook_;
  std::function<void(Vrf& vrf)> vrfReadyHook_;

  std::deque<DumpRequest> queue_;
  // Under way, with the sequence number of its reply.
  std::optional<DumpRequest> dump_;
  std::uint32_t sequence_ = 0;
  bool torn_ = false;
  // Something of it came since this was asked last.
  bool answered_ = false;
  // What is to be read again when its time has come; when the first and the last reason came.
  Recheck doubts_;
  Nanoseconds firstDoubt_{0};
  Nanoseconds lastDoubt_{0};
  Nanoseconds lastReading_{0};
  // Something was lost that no dump under way or in the queue makes good.
  bool lost_ = false;
  // The same of messages that did not read.
  bool damaged_ = false;
  // The same of dumps that were disturbed.
  bool disturbed_ = false;
  // How long to wait before reading again what did not read or was disturbed.
  Nanoseconds retryWait_;
  bool synced_ = false;
  bool started_ = false;
  std::set<VrfName> notReady_;
  Counters counters_;

  Ptr<TimerTask> timer_;
  Ptr<TimerTask> retryTimer_;
  Ptr<TimerTask> answerTimer_;
  Subscription<KernelRoutes, &KernelRoutes::recheck> timerRun_{*this};
  Subscription<KernelRoutes, &KernelRoutes::retry> retryTimerRun_{*this};
  Subscription<KernelRoutes, &KernelRoutes::answerOverdue> answerTimerRun_{*this};
};

}  // namespace Routing::Host
