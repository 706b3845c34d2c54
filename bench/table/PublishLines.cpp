// Publishing to nobody and to one.

#include "bench/support/Measure.h"
#include "bench/table/Lines.h"
#include "platform/entity/Publisher.h"

namespace Routing::Bench {

namespace {

constexpr FieldId field{1};
constexpr std::uint64_t rounds = 10000000;

class Source : public Publisher {};

class Sink {
 public:
  void changed(FieldId /*field*/, const void* key) { seen += key != nullptr ? 1U : 0U; }
  std::uint64_t seen = 0;
  Subscription<Sink, &Sink::changed> input{*this};
};

double secondsOfPublishing(const Source& source) {
  const Cost cost = medianOf5([&source] {
    return costOf([&source] {
      for (std::uint64_t key = 0; key < rounds; ++key) {
        source.publish(field, &key);
        keep(source);
      }
    });
  });
  return cost.seconds / rounds;
}

}  // namespace

void publishLines(Report& report) {
  report.lineIs("publishing");
  const Source source;
  report.timeAtMost("to no subscriber", secondsOfPublishing(source), 1.5 * nanosecond);
  Sink sink;
  sink.input.subscribe(source);
  report.timeAtMost("to one subscriber", secondsOfPublishing(source), 6 * nanosecond);
}

}  // namespace Routing::Bench
