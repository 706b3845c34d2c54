#pragma once

// Metrics: figures by name, as a monitoring system reads them (OpenMetrics text).
//
//   counter     a total that only grows; its samples are called NAME_total
//   gauge       a figure that goes up and down
//   histogram   how many observations were at most so large, their number and sum
//
// Counters and gauges are asked for their values when the text is made, so nothing is kept twice
// and an event costs nothing here. A histogram is written as its events happen.
//
// A name says what is measured and, behind the last "_", in which unit (seconds, bytes), without
// "_total". Names, units and the names of labels are letters, digits and "_".
//
// One thread.

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Routing::Host {

// Names and values, in the order in which they are shown.
using MetricLabels = std::vector<std::pair<std::string_view, std::string>>;

class Histogram {
 public:
  // The upper bounds of the buckets, each above the one before; a last one takes the rest.
  explicit Histogram(std::vector<double> bounds);

  void observe(double value) noexcept;
  std::uint64_t count() const noexcept { return count_; }

 private:
  friend class Metrics;
  std::vector<double> bounds_;
  // Observations of each bucket alone.
  std::vector<std::uint64_t> buckets_;
  std::uint64_t count_ = 0;
  double sum_ = 0;
};

class Metrics {
 public:
  // Calls the sink for each sample of a family. Two samples of a family differ in their labels.
  using Sink = std::function<void(const MetricLabels& labels, double value)>;
  using Samples = std::function<void(const Sink& sink)>;
  using Value = std::function<double()>;

  // Requires: each name once.
  void counterIs(std::string name, std::string help, Samples samples);
  void counterIs(std::string name, std::string help, Value value);
  void gaugeIs(std::string name, std::string help, Samples samples);
  void gaugeIs(std::string name, std::string help, Value value);
  // The reference stays good.
  Histogram& histogramIs(std::string name, std::string help, std::vector<double> bounds);

  // What stands now, to its end mark.
  std::string text() const;

 private:
  struct Family {
    std::string name;
    std::string_view type;
    std::string help;
    Samples samples;
    const Histogram* histogram;
  };

  void familyIs(std::string name,
                std::string_view type,
                std::string help,
                Samples samples,
                const Histogram* histogram);
  static void histogramTo(std::string& text, const std::string& name, const Histogram& histogram);

  std::vector<Family> families_;
  std::deque<Histogram> histograms_;
};

}  // namespace Routing::Host
