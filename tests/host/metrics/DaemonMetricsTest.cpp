// What the daemon tells of itself, from parts that do no more than stand there.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "host/metrics/DaemonMetrics.h"
#include "platform/task/Clock.h"
#include "tests/host/metrics/OpenMetricsSyntax.h"

namespace Routing::Host {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class DaemonMetricsTest : public ::testing::Test {
 protected:
  DaemonMetricsTest() {
    std::string pattern = ::testing::TempDir() + "daemon-metrics-XXXXXX";
    directory_ = ::mkdtemp(pattern.data());
    store = std::make_unique<StateStore>(directory_);
  }
  ~DaemonMetricsTest() override {
    store.reset();
    static_cast<void>(std::system(("rm -r '" + directory_ + "'").c_str()));
  }
  DaemonMetrics::Parts parts() { return {loop, vrfs, kernel, service, store.get(), "1.2"}; }

  EventLoop loop{makeEntity<TaskScheduler>(makeEntity<RealClock>())};
  // Reviews run here, so that a test is not driven by the timers of the other parts.
  Ptr<TaskScheduler> reviews = makeEntity<TaskScheduler>(makeEntity<RealClock>());
  Vrfs vrfs{reviews};
  Vrf& vrf = vrfs.vrfIs("default", 254);
  FecIdSource fecIds;
  KernelRoutes kernel{loop, vrfs, fecIds, {}};
  ClientService service{loop, vrfs, nullptr, {}, {}};
  std::unique_ptr<StateStore> store;

 private:
  std::string directory_;
};

TEST_F(DaemonMetricsTest, TheTextIsOpenMetrics) {
  const DaemonMetrics metrics(parts());
  EXPECT_THAT(OpenMetricsSyntax::faults(metrics.text()), IsEmpty());
}

TEST_F(DaemonMetricsTest, TablesAreCountedByVrf) {
  const DaemonMetrics metrics(parts());
  vrf.routes4()->routeIs(Prefix(*IpGenPrefix::parse("10.0.0.0/8")), {4, 0, 1, 0});
  vrfs.vrfIs("blue", 10);
  vrfs.managerStart(vrf);
  const std::string text = metrics.text();
  EXPECT_THAT(text, HasSubstr("\nnexthopd_version{version=\"1.2\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\nnexthopd_routes{vrf=\"default\",family=\"ipv4\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\nnexthopd_routes{vrf=\"blue\",family=\"ipv4\"} 0\n"));
  EXPECT_THAT(text, HasSubstr("\nnexthopd_serving{vrf=\"default\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\nnexthopd_serving{vrf=\"blue\"} 0\n"));
}

TEST_F(DaemonMetricsTest, NexthopsThatWaitForTheirReviewAreCounted) {
  const DaemonMetrics metrics(parts());
  const auto config = makeEntity<NexthopConfig>("bgp");
  config->vrfIs("default", NexthopStatusFecIdType::fibFecId)
      ->nexthopIs({*IpGenAddr::parse("10.0.0.1")});
  vrfs.records().configs->entityIs("bgp", config);
  vrfs.records().statuses->entityIs("bgp", makeEntity<NexthopStatus>("bgp"));
  vrfs.managerStart(vrf);
  EXPECT_THAT(metrics.text(), HasSubstr("\nnexthopd_review_queue{vrf=\"default\"} 1\n"));
  while (reviews->runTurn()) {
  }
  EXPECT_THAT(metrics.text(), HasSubstr("\nnexthopd_review_queue{vrf=\"default\"} 0\n"));
}

TEST_F(DaemonMetricsTest, ASliceIsObservedWhenATaskRan) {
  DaemonMetrics metrics(parts());
  using std::chrono::microseconds;
  metrics.turnEnd({microseconds(5), microseconds(10), microseconds(60), microseconds(70)});
  metrics.turnEnd({microseconds(80), microseconds(90), microseconds(90), microseconds(95)});
  EXPECT_THAT(metrics.text(), HasSubstr("\nnexthopd_slice_seconds_count 1\n"));
  EXPECT_THAT(metrics.text(), HasSubstr("\nnexthopd_slice_seconds_bucket{le=\"1e-04\"} 1\n"));
  EXPECT_THAT(metrics.text(), HasSubstr("\nnexthopd_notice_delay_seconds_count 0\n"));
}

TEST_F(DaemonMetricsTest, ATransactionIsObservedOnce) {
  DaemonMetrics metrics(parts());
  store->metaIs("a", "b");
  store->commit();
  metrics.turnEnd({});
  metrics.turnEnd({});
  EXPECT_THAT(metrics.text(), HasSubstr("\nnexthopd_store_commit_seconds_count 1\n"));
}

TEST_F(DaemonMetricsTest, WithoutAStoreNothingIsToldOfIt) {
  const DaemonMetrics metrics({loop, vrfs, kernel, service, nullptr, "1.2"});
  EXPECT_THAT(metrics.text(), Not(HasSubstr("nexthopd_store")));
}

}  // namespace
}  // namespace Routing::Host
