#pragma once

// The records of a daemon's VRFs, written to as the daemon does, turn by turn over virtual time,
// with a recorder beside them. replayed() plays the recording back with the program.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "host/record/Recorder.h"
#include "host/vrf/Vrfs.h"
#include "platform/task/Clock.h"
#include "platform/task/Task.h"
#include "tools/nexthop-replay/RecordLines.h"

namespace Routing::Host {

class RecordedWorld {
 public:
  // Reviews end after this many nexthops.
  static constexpr std::uint64_t slice = 3;

  RecordedWorld() {
    std::string pattern = ::testing::TempDir() + "recording-XXXXXX";
    directory_ = ::mkdtemp(pattern.data());
    scheduler->workBudgetIs(slice);
    TaskSchedulerRoot::schedulerIs(scheduler);
  }
  RecordedWorld(const RecordedWorld&) = delete;
  RecordedWorld& operator=(const RecordedWorld&) = delete;
  ~RecordedWorld() {
    vrfs.reset();
    TaskSchedulerRoot::schedulerIs(nullptr);
    static_cast<void>(std::system(("rm -r '" + directory_ + "'").c_str()));
  }

  void record() { recorder = std::make_unique<Recorder>(path(), *vrfs, clock); }
  void turn() {
    scheduler->runTurn();
    recorder->turnEnd();
  }
  void untilIdle() {
    do {
      turn();
    } while (scheduler->hasRunnable());
  }
  void pass(std::chrono::milliseconds time) { clock->nowIs(clock->now() + time); }

  // The managers end; configurations, statuses and what was published are found by new ones, which
  // begin with empty tables.
  void restart() {
    const SharedRecords records = vrfs->records();
    std::vector<std::pair<VrfName, Ptr<NexthopResolverFibViaContext>>> contexts;
    std::vector<Ptr<NexthopResolverForwardingStatus>> published;
    for (const auto& vrf : vrfs->all()) {
      contexts.emplace_back(vrf->name(), vrf->context());
      published.push_back(vrf->forwarding());
    }
    recorder.reset();
    vrfs = std::make_unique<Vrfs>(scheduler);
    moveEntries(*records.configs, *vrfs->records().configs);
    moveEntries(*records.statuses, *vrfs->records().statuses);
    for (std::size_t index = 0; index < contexts.size(); ++index) {
      const auto& [name, context] = contexts[index];
      const Vrf& vrf = vrfs->vrfIs(name, name == "default" ? 254 : 10);
      vrf.context()->firstUnAllocatedNexthopResolverIdIs(
          context->firstUnAllocatedNexthopResolverId());
      if (const auto entries = published[index]->vrf(name)) {
        const auto kept = vrf.forwarding()->vrfIs(name);
        for (auto cursor = entries->nexthopResolverIdVia().cursor(); !cursor.atEnd();
             cursor.next()) {
          kept->nexthopResolverIdViaIs(cursor.member());
        }
      }
    }
  }

  void fecIs(Vrf& vrf, FecId fecId, const std::string& hop) {
    FibGen::Fec fec(fecId);
    fec.viaIs({IntfId{3}, 1, *IpGenAddr::parse(hop), {}});
    vrf.fecs()->fecIs(fec);
  }
  // As FibFeed: the table first, the trie last.
  void routeIs(Vrf& vrf, const std::string& text, const Fib::Route& route) {
    const IpGenPrefix prefix = *IpGenPrefix::parse(text);
    const Ptr<TrieGen> trie = trieOf(vrf, prefix);
    if (prefix.family() == AddressFamily::ipv4) {
      vrf.routes4()->routeIs(Prefix(prefix), route);
    } else {
      vrf.routes6()->routeIs(Ip6Prefix(prefix), route);
    }
    if (trie->routeHas(prefix)) {
      trie->changedPrefixIs(prefix);
    } else {
      trie->routeIs(prefix, true);
    }
  }
  void routeDel(Vrf& vrf, const std::string& text) {
    const IpGenPrefix prefix = *IpGenPrefix::parse(text);
    if (prefix.family() == AddressFamily::ipv4) {
      vrf.routes4()->routeDel(Prefix(prefix));
    } else {
      vrf.routes6()->routeDel(Ip6Prefix(prefix));
    }
    trieOf(vrf, prefix)->routeDel(prefix);
  }
  // The client's configuration of the VRF; made, with its status, if absent.
  Ptr<NexthopVrfConfig> client(const String& name, const VrfName& vrf) {
    auto config = entityOf<NexthopConfig>(*vrfs->records().configs, name);
    if (!config) {
      config = makeEntity<NexthopConfig>(name);
      vrfs->records().configs->entityIs(name, config);
      vrfs->records().statuses->entityIs(name, makeEntity<NexthopStatus>(name));
    }
    return config->vrfIs(vrf, NexthopStatusFecIdType::resolverId);
  }
  void clientDel(const String& name) {
    vrfs->records().configs->entityDel(name);
    vrfs->records().statuses->entityDel(name);
  }

  std::string recording() const { return content(path()); }
  // What the records hold, as nexthop-replay shows it.
  std::string standing() const { return statusText() + forwardingText() + contextText(); }
  // The same of a replay of the recording; what is wrong with it, if anything is.
  std::string replayed() const;

  Ptr<VirtualClock> clock = makeEntity<VirtualClock>();
  Ptr<TaskScheduler> scheduler = makeEntity<TaskScheduler>(clock);
  std::unique_ptr<Vrfs> vrfs = std::make_unique<Vrfs>(scheduler);
  std::unique_ptr<Recorder> recorder;

 private:
  static const Ptr<TrieGen>& trieOf(const Vrf& vrf, const IpGenPrefix& prefix) {
    return prefix.family() == AddressFamily::ipv4 ? vrf.trie4() : vrf.trie6();
  }
  static void moveEntries(const Dir& from, Dir& to) {
    for (auto cursor = from.entry().cursor(); !cursor.atEnd(); cursor.next()) {
      to.entityIs(cursor.key(), from.entityPtr(cursor.key()));
    }
  }
  static std::string content(const std::string& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
  }
  std::string path() const { return directory_ + "/recording"; }

  std::string statusText() const {
    std::map<std::tuple<String, VrfName, IpGenAddr>, std::string> lines;
    const Dir& statuses = *vrfs->records().statuses;
    for (auto client = statuses.entry().cursor(); !client.atEnd(); client.next()) {
      const auto status = entityOf<NexthopStatus>(statuses, client.key());
      for (auto vrf = status->vrf().cursor(); !vrf.atEnd(); vrf.next()) {
        const NexthopVrfStatus& entries = *status->vrf(vrf.key());
        for (auto entry = entries.nexthop().cursor(); !entry.atEnd(); entry.next()) {
          lines[{client.key(), vrf.key(), entry.key()}] =
              Replay::statusLine(client.key(), vrf.key(), entry.member()).text();
        }
      }
    }
    return joined(lines);
  }
  std::string forwardingText() const {
    std::map<std::pair<VrfName, std::uint64_t>, std::string> lines;
    for (const auto& vrf : vrfs->all()) {
      const auto published = vrf->forwarding()->vrf(vrf->name());
      if (!published) {
        continue;
      }
      for (auto entry = published->nexthopResolverIdVia().cursor(); !entry.atEnd(); entry.next()) {
        const std::uint64_t number = entry.key().value();
        lines[{vrf->name(), number}] = Replay::Line("forwarding")
                                           .word("vrf", vrf->name())
                                           .number("resolverId", number)
                                           .vias(entry.member().nexthopResolverVia())
                                           .text();
      }
    }
    return joined(lines);
  }
  std::string contextText() const {
    std::map<VrfName, std::string> lines;
    for (const auto& vrf : vrfs->all()) {
      lines[vrf->name()] = Replay::contextLine(vrf->name(), *vrf->context()).text();
    }
    return joined(lines);
  }
  template <class Key>
  static std::string joined(const std::map<Key, std::string>& lines) {
    std::string text;
    for (const auto& [unused, line] : lines) {
      text += line + "\n";
    }
    return text;
  }

  std::string directory_;
};

}  // namespace Routing::Host
