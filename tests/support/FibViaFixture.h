#pragma once

// FibViaFixture: a VRF's FIB-via machine with everything around it, on virtual time. The
// process-wide scheduler is the fixture's while the test runs.
//
// The test sets up what an earlier run has left (records, context) and the FECs, then calls
// start(). From then on the log holds, in order, what the index of references publishes, what the
// machine traces and what it writes (ReferenceWatch.h, TraceLog.h, FibViaWatch.h).

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/entity/Ptr.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/task/Clock.h"
#include "platform/task/TaskScheduler.h"
#include "platform/task/VirtualTime.h"
#include "records/NexthopResolverFibViaContext.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "resolver/NexthopResolverFibViaSm.h"
#include "resolver/NexthopResolverLocal.h"
#include "tests/support/Addresses.h"
#include "tests/support/EventLog.h"
#include "tests/support/FibViaWatch.h"
#include "tests/support/ReferenceWatch.h"
#include "tests/support/TraceLog.h"

namespace Routing::Support {

// A FEC with that many vias: hop 192.0.2.1, interface 1 and weight 1, and so on, one more each.
inline FibGen::Fec fecOf(FecId fecId, std::uint32_t vias = 1) {
  FibGen::Fec fec(fecId);
  for (std::uint32_t i = 1; i <= vias; ++i) {
    fec.viaIs({.intfId = IntfId{i},
               .weight = i,
               .hop = IpGenAddr::ipv4(0xc0000200 + i),
               .labelAndAction = {}});
  }
  return fec;
}

// The line of a message of the machine of VRF v1.
inline std::string fibViaLine(int level, const std::string& message) {
  return std::to_string(level) + " NexthopResolverFibViaSm: [v1] " + message;
}

class FibViaFixture : public testing::Test {
 protected:
  FibViaFixture() { TaskSchedulerRoot::schedulerIs(scheduler); }
  ~FibViaFixture() override {
    machine = nullptr;
    TaskSchedulerRoot::schedulerIs(nullptr);
  }

  // What an earlier run has left.
  void published(std::initializer_list<std::uint64_t> resolverIds) {
    for (const std::uint64_t resolverId : resolverIds) {
      records->nexthopResolverIdViaIs(NexthopResolverIdVia(ResolverId(resolverId)));
    }
  }
  void firstUnallocated(std::uint64_t value) {
    context->firstUnAllocatedNexthopResolverIdIs(value);
  }

  // Makes the machine and returns what its start-up logged.
  Events start() { return start(table); }
  Events start(const Ptr<const FibGen::ForwardingStatus>& forwardingStatus) {
    watchAll();
    machine = NexthopResolverFibViaSm::NexthopResolverFibViaSmIs("v1",
                                                                 forwardingStatus,
                                                                 records,
                                                                 references,
                                                                 map,
                                                                 context);
    return log.take();
  }
  // Logs nothing but what the machine writes.
  void watchOutputs() { outputWatch.emplace(*context, *records, *map, log); }
  void watchAll() {
    traces.emplace(log, "NexthopResolverFibViaSm");
    referenceWatch.emplace(*references, log);
    watchOutputs();
  }

  Events addReference(FecId fecId, const String& client, std::string_view nexthop) {
    references->addReference(fecId, client, addr(nexthop));
    return log.take();
  }
  Events deleteReference(const String& client, std::string_view nexthop) {
    references->deleteReferenceForClientNexthop(client, addr(nexthop));
    return log.take();
  }
  Events writeFec(const FibGen::Fec& fec) {
    table->fecIs(fec);
    return log.take();
  }
  Events removeFec(FecId fecId) {
    table->fecDel(fecId);
    return log.take();
  }
  Events advance(Nanoseconds duration) {
    advanceTime(*scheduler, *clock, duration);
    return log.take();
  }

  // The keys of the published records, in the order of the collection.
  std::vector<std::uint64_t> publishedIds() const {
    std::vector<std::uint64_t> ids;
    for (auto cursor = records->nexthopResolverIdVia().cursor(); !cursor.atEnd(); cursor.next()) {
      ids.push_back(cursor.key().value());
    }
    return ids;
  }
  // Null when there is none.
  const NexthopResolverIdVia* record(std::uint64_t resolverId) const {
    return records->nexthopResolverIdVia().find(ResolverId(resolverId));
  }
  std::uint64_t firstUnallocated() const { return context->firstUnAllocatedNexthopResolverId(); }

  EventLog log;
  Ptr<VirtualClock> clock = makeEntity<VirtualClock>();
  Ptr<TaskScheduler> scheduler = makeEntity<TaskScheduler>(clock);
  Ptr<FibGen::MemoryForwardingStatus> table = makeEntity<FibGen::MemoryForwardingStatus>();
  Ptr<NexthopResolverVrfForwardingStatus> records =
      makeEntity<NexthopResolverVrfForwardingStatus>("v1");
  Ptr<FecIdToClientHop> references = fecIdToClientHopFactory("v1");
  Ptr<FecIdToResolverId> map = fecIdToResolverIdFactory("v1");
  Ptr<NexthopResolverFibViaContext> context = makeEntity<NexthopResolverFibViaContext>();
  Ptr<NexthopResolverFibViaSm> machine;
  // After what they watch, so that they end before it.
  std::optional<TraceLog> traces;
  std::optional<ReferenceWatch> referenceWatch;
  std::optional<FibViaWatch> outputWatch;
};

}  // namespace Routing::Support
