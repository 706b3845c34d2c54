// The text of metrics.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/metrics/Metrics.h"
#include "tests/host/metrics/OpenMetricsSyntax.h"

namespace Routing::Host {
namespace {

using ::testing::IsEmpty;
using ::testing::Not;

TEST(Metrics, FamiliesStandInOrderOfAdditionBetweenTheirHeadsAndTheEndMark) {
  Metrics metrics;
  metrics.counterIs("kernel_bytes", "Bytes read.", [] { return 4294967296.0; });
  metrics.gaugeIs("routes", "Routes by VRF.", [](const Metrics::Sink& sink) {
    sink({{"vrf", "default"}, {"family", "ipv4"}}, 900000);
    sink({{"vrf", "blue"}, {"family", "ipv6"}}, 0.5);
  });
  EXPECT_EQ(metrics.text(),
            "# TYPE kernel_bytes counter\n"
            "# UNIT kernel_bytes bytes\n"
            "# HELP kernel_bytes Bytes read.\n"
            "kernel_bytes_total 4294967296\n"
            "# TYPE routes gauge\n"
            "# HELP routes Routes by VRF.\n"
            "routes{vrf=\"default\",family=\"ipv4\"} 900000\n"
            "routes{vrf=\"blue\",family=\"ipv6\"} 0.5\n"
            "# EOF\n");
}

TEST(Metrics, ValuesAreThoseOfTheMomentOfAsking) {
  Metrics metrics;
  double value = 1;
  metrics.gaugeIs("queue", "Waiting.", [&value] { return value; });
  const std::string before = metrics.text();
  value = 2;
  EXPECT_NE(before.find("\nqueue 1\n"), std::string::npos);
  EXPECT_NE(metrics.text().find("\nqueue 2\n"), std::string::npos);
}

TEST(Metrics, BucketsOfAHistogramCountWhatIsAtMostTheirBound) {
  Metrics metrics;
  Histogram& histogram = metrics.histogramIs("wait_seconds", "Waits.", {0.001, 0.5, 1.0});
  for (const double value : {0.0005, 0.001, 0.75, 8.0}) {
    histogram.observe(value);
  }
  EXPECT_EQ(metrics.text(),
            "# TYPE wait_seconds histogram\n"
            "# UNIT wait_seconds seconds\n"
            "# HELP wait_seconds Waits.\n"
            "wait_seconds_bucket{le=\"0.001\"} 2\n"
            "wait_seconds_bucket{le=\"0.5\"} 2\n"
            "wait_seconds_bucket{le=\"1.0\"} 3\n"
            "wait_seconds_bucket{le=\"+Inf\"} 4\n"
            "wait_seconds_count 4\n"
            "wait_seconds_sum 8.7515\n"
            "# EOF\n");
}

TEST(Metrics, TextIsEscaped) {
  Metrics metrics;
  metrics.gaugeIs("odd", "A \"quoted\\\nhelp.", [](const Metrics::Sink& sink) {
    sink({{"name", "a\"b\\c\nd"}}, 1);
  });
  EXPECT_EQ(metrics.text(),
            "# TYPE odd gauge\n"
            "# HELP odd A \\\"quoted\\\\\\nhelp.\n"
            "odd{name=\"a\\\"b\\\\c\\nd\"} 1\n"
            "# EOF\n");
  EXPECT_THAT(OpenMetricsSyntax::faults(metrics.text()), IsEmpty());
}

TEST(MetricsDeathTest, ANameIsGivenOnce) {
  Metrics metrics;
  metrics.gaugeIs("routes", "Routes.", [] { return 1.0; });
  EXPECT_DEATH(metrics.counterIs("routes", "Routes.", [] { return 1.0; }), "");
}

// The reader of the other tests notices what it is there for.
TEST(OpenMetricsSyntax, NoticesWhatIsWrong) {
  const std::string head = "# TYPE a counter\n# HELP a A.\n";
  EXPECT_THAT(OpenMetricsSyntax::faults(head + "a_total 1\n# EOF\n"), IsEmpty());
  EXPECT_THAT(OpenMetricsSyntax::faults(head + "a_total 1\n"), Not(IsEmpty()));
  EXPECT_THAT(OpenMetricsSyntax::faults(head + "a 1\n# EOF\n"), Not(IsEmpty()));
  EXPECT_THAT(OpenMetricsSyntax::faults(head + "b_total 1\n# EOF\n"), Not(IsEmpty()));
  EXPECT_THAT(OpenMetricsSyntax::faults(head + head + "# EOF\n"), Not(IsEmpty()));
  EXPECT_THAT(OpenMetricsSyntax::faults(head + "a_total{x=1} 1\n# EOF\n"), Not(IsEmpty()));
  EXPECT_THAT(OpenMetricsSyntax::faults(head + "a_total 1\na_total 2\n# EOF\n"), Not(IsEmpty()));
  EXPECT_THAT(OpenMetricsSyntax::faults("# TYPE h histogram\nh_bucket{le=\"1.0\"} 1\n# EOF\n"),
              Not(IsEmpty()));
}

}  // namespace
}  // namespace Routing::Host
