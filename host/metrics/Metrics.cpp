#include "host/metrics/Metrics.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "platform/entity/Assert.h"

namespace Routing::Host {

namespace {

constexpr std::array<std::string_view, 2> units{"seconds", "bytes"};

// The unit that the name ends in, if it does.
std::string_view unitOf(std::string_view name) noexcept {
  const std::string_view last = name.substr(name.rfind('_') + 1);
  const auto* const found = std::find(units.begin(), units.end(), last);
  return found == units.end() ? std::string_view() : *found;
}

// Whole numbers without a decimal point or an exponent, as far as they are exact.
void appendNumber(std::string& text, double value) {
  constexpr double exact = 9007199254740992;  // 2 to the 53rd
  if (std::trunc(value) == value && std::fabs(value) < exact) {
    text.append(std::to_string(static_cast<std::int64_t>(value)));
    return;
  }
  constexpr std::size_t longest = 32;
  std::array<char, longest> digits{};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  ROUTING_ASSERT(error == std::errc{});
  text.append(digits.data(), end);
}

// The same escapes in help texts and values of labels.
void appendEscaped(std::string& text, std::string_view value) {
  for (const char letter : value) {
    if (letter == '\n') {
      text.append("\\n");
      continue;
    }
    if (letter == '\\' || letter == '"') {
      text.push_back('\\');
    }
    text.push_back(letter);
  }
}

void appendSample(std::string& text,
                  std::string_view name,
                  std::string_view suffix,
                  const MetricLabels& labels,
                  double value) {
  text.append(name).append(suffix);
  char separator = '{';
  for (const auto& [label, labelValue] : labels) {
    text.push_back(separator);
    text.append(label).append("=\"");
    appendEscaped(text, labelValue);
    text.push_back('"');
    separator = ',';
  }
  text.append(labels.empty() ? " " : "} ");
  appendNumber(text, value);
  text.push_back('\n');
}

Metrics::Samples single(Metrics::Value value) {
  return [value = std::move(value)](const Metrics::Sink& sink) { sink({}, value()); };
}

}  // namespace

Histogram::Histogram(std::vector<double> bounds)
    : bounds_(std::move(bounds)), buckets_(bounds_.size() + 1) {
  ROUTING_ASSERT(std::adjacent_find(bounds_.begin(), bounds_.end(), std::greater_equal<>()) ==
                 bounds_.end());
}

void Histogram::observe(double value) noexcept {
  const auto bucket = std::lower_bound(bounds_.begin(), bounds_.end(), value) - bounds_.begin();
  buckets_[static_cast<std::size_t>(bucket)] += 1;
  count_ += 1;
  sum_ += value;
}

void Metrics::counterIs(std::string name, std::string help, Samples samples) {
  familyIs(std::move(name), "counter", std::move(help), std::move(samples), nullptr);
}

void Metrics::counterIs(std::string name, std::string help, Value value) {
  counterIs(std::move(name), std::move(help), single(std::move(value)));
}

void Metrics::gaugeIs(std::string name, std::string help, Samples samples) {
  familyIs(std::move(name), "gauge", std::move(help), std::move(samples), nullptr);
}

void Metrics::gaugeIs(std::string name, std::string help, Value value) {
  gaugeIs(std::move(name), std::move(help), single(std::move(value)));
}

Histogram& Metrics::histogramIs(std::string name, std::string help, std::vector<double> bounds) {
  Histogram& histogram = histograms_.emplace_back(std::move(bounds));
  familyIs(std::move(name), "histogram", std::move(help), nullptr, &histogram);
  return histogram;
}

void Metrics::familyIs(std::string name,
                       std::string_view type,
                       std::string help,
                       Samples samples,
                       const Histogram* histogram) {
  ROUTING_ASSERT(std::none_of(families_.begin(), families_.end(), [&name](const Family& family) {
    return family.name == name;
  }));
  families_.push_back({std::move(name), type, std::move(help), std::move(samples), histogram});
}

std::string Metrics::text() const {
  std::string text;
  for (const Family& family : families_) {
    text.append("# TYPE ").append(family.name).append(" ").append(family.type).push_back('\n');
    if (const std::string_view unit = unitOf(family.name); !unit.empty()) {
      text.append("# UNIT ").append(family.name).append(" ").append(unit).push_back('\n');
    }
    text.append("# HELP ").append(family.name).append(" ");
    appendEscaped(text, family.help);
    text.push_back('\n');
    if (family.histogram != nullptr) {
      histogramTo(text, family.name, *family.histogram);
      continue;
    }
    const std::string_view suffix = family.type == "counter" ? "_total" : "";
    family.samples([&](const MetricLabels& labels, double value) {
      appendSample(text, family.name, suffix, labels, value);
    });
  }
  return text.append("# EOF\n");
}

void Metrics::histogramTo(std::string& text, const std::string& name, const Histogram& histogram) {
  std::uint64_t count = 0;
  for (std::size_t index = 0; index < histogram.buckets_.size(); ++index) {
    count += histogram.buckets_[index];
    std::string bound;
    if (index < histogram.bounds_.size()) {
      appendNumber(bound, histogram.bounds_[index]);
      // A bound is a floating point number, and compared as text by some.
      bound += bound.find_first_of(".e") == std::string::npos ? ".0" : "";
    } else {
      bound = "+Inf";
    }
    appendSample(text, name, "_bucket", {{"le", bound}}, static_cast<double>(count));
  }
  appendSample(text, name, "_count", {}, static_cast<double>(histogram.count_));
  appendSample(text, name, "_sum", {}, histogram.sum_);
}

}  // namespace Routing::Host
