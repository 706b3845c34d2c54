#pragma once

// A store in a directory of its own, with records to put into it.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/store/StateStore.h"
#include "host/vrf/Vrfs.h"
#include "platform/task/Clock.h"

namespace Routing::Host {

class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string path = (std::filesystem::temp_directory_path() / "store-XXXXXX").string();
    if (::mkdtemp(path.data()) == nullptr) {
      throw SystemError(errno, "cannot make a directory for the test");
    }
    path_ = path;
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string store() const { return path_ + "/store"; }
  std::string file() const { return store() + "/data.mdb"; }

 private:
  std::string path_;
};

// Records of one daemon's life: made anew by each run.
struct Records {
  Records() { vrfs.vrfIs("default", 254); }

  NexthopConfig& client(const String& name) {
    if (const auto config = entityOf<NexthopConfig>(*vrfs.records().configs, name)) {
      return *config;
    }
    const auto config = makeEntity<NexthopConfig>(name);
    config->vrfIs("default", NexthopStatusFecIdType::resolverId);
    vrfs.records().configs->entityIs(name, config);
    return *config;
  }
  Ptr<NexthopStatus> status(const String& name) {
    if (!entityOf<NexthopStatus>(*vrfs.records().statuses, name)) {
      vrfs.records().statuses->entityIs(name, makeEntity<NexthopStatus>(name));
    }
    return entityOf<NexthopStatus>(*vrfs.records().statuses, name);
  }
  Ptr<NexthopVrfStatus> vrfStatus(const String& name) {
    return status(name)->vrfIs("default", NexthopStatusFecIdType::resolverId);
  }
  Ptr<NexthopResolverVrfForwardingStatus> forwarding() const {
    return vrfs.vrf("default")->forwarding()->vrfIs("default");
  }

  Ptr<TaskScheduler> scheduler = makeEntity<TaskScheduler>(makeEntity<VirtualClock>());
  Vrfs vrfs{scheduler};
};

inline NexthopStatusEntry resolvedEntry(const char* addr, std::uint64_t fecId) {
  NexthopStatusEntry entry;
  entry.addr = *IpGenAddr::parse(addr);
  entry.fecId = fecId;
  entry.metric = 20;
  entry.preference = 7;
  entry.routeType = 186;
  entry.prefix = IpGenPrefix(entry.addr, 8);
  entry.resolutionState = NexthopResolutionState::resolved;
  return entry;
}

// What a store holds, one line a record.
inline std::vector<std::string> contentOf(const StoreReader& reader) {
  std::vector<std::string> lines;
  reader.walkConfig({[](const String&) {},
                     [&](const String& client, const VrfName& vrf, NexthopStatusFecIdType kind) {
                       lines.push_back("config " + client + " " + vrf + " " +
                                       std::to_string(static_cast<int>(kind)));
                     },
                     [&](const String& client, const VrfName& vrf, const IpGenAddr& addr) {
                       lines.push_back("config " + client + " " + vrf + " " + addr.stringValue());
                     }});
  reader.walkStatus(
      {[&](const String& client) { lines.push_back(client); },
       [&](const String& client, const VrfName& vrf, NexthopStatusFecIdType kind) {
         lines.push_back(client + " " + vrf + " " + std::to_string(static_cast<int>(kind)));
       },
       [&](const String& client, const VrfName& vrf, const NexthopStatusEntry& entry) {
         lines.push_back(client + " " + vrf + " " + entry.stringValue());
       }});
  reader.walkForwarding("default", [&](const NexthopResolverIdVia& record) {
    lines.push_back("forwarding " + record.resolverId().stringValue() + " vias " +
                    std::to_string(record.nexthopResolverVia().size()));
  });
  if (const auto context = reader.context("default")) {
    lines.push_back("context " + std::to_string(*context));
  }
  return lines;
}

}  // namespace Routing::Host
