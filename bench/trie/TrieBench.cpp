// The trie beside a binary trie and a Patricia tree over one table: time and bytes, and how many
// times the others' figure is the trie's. Tables.h says which table.
//
//   longestMatch   a random prefix of the table, then a random address in it
//   longerPresent  a random prefix of the table
//   walk           the whole table, a prefix
//   walkSubtree    what is inside a random prefix of the table
//   change         a random prefix removed and added again
//   build          the whole table from sorted prefixes, a prefix
//   hosts          100,000 random host prefixes: longest match, and bytes

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "bench/support/Tables.h"
#include "bench/trie/Twins.h"
#include "platform/trie/PrefixTrie.h"

namespace Routing::TrieBench {
namespace {

using Bench::prefixTable;

constexpr std::size_t queryCount = std::size_t{1} << 20U;

template <class Trie>
struct FamilyOf;
template <template <class> class Trie, class Family>
struct FamilyOf<Trie<Family>> {
  using Type = Family;
};
template <class Trie>
constexpr AddressFamily familyOf = FamilyOf<Trie>::Type::family;

IpGenPrefix hostIn(const IpGenPrefix& prefix, std::mt19937_64& random) {
  IpGenAddr::Words any{};
  for (std::uint32_t& word : any) {
    word = static_cast<std::uint32_t>(random());
  }
  const IpGenAddr::Words head = maskedWords(any, prefix.length());
  for (std::size_t i = 0; i < any.size(); ++i) {
    any[i] ^= head[i] ^ prefix.words()[i];
  }
  return IpGenPrefix::host(prefix.family() == AddressFamily::ipv4 ? IpGenAddr::ipv4(any[0])
                                                                  : IpGenAddr::ipv6(any));
}

const std::vector<IpGenPrefix>& randomHosts(AddressFamily family) {
  static std::map<AddressFamily, std::vector<IpGenPrefix>> made;
  std::vector<IpGenPrefix>& hosts = made[family];
  std::mt19937_64 random(7);
  const IpGenPrefix all(
      family == AddressFamily::ipv4 ? IpGenAddr::ipv4(0) : IpGenAddr::ipv6(IpGenAddr::Words{}),
      0);
  while (hosts.size() < 100000) {
    hosts.push_back(hostIn(all, random));
  }
  return hosts;
}

// Random members of the table.
std::vector<IpGenPrefix> members(std::span<const IpGenPrefix> table) {
  std::mt19937_64 random(1);
  std::vector<IpGenPrefix> queries;
  queries.reserve(queryCount);
  while (queries.size() < queryCount) {
    queries.push_back(table[random() % table.size()]);
  }
  return queries;
}

std::vector<IpGenPrefix> addressesIn(std::span<const IpGenPrefix> table) {
  std::mt19937_64 random(2);
  std::vector<IpGenPrefix> queries = members(table);
  for (IpGenPrefix& query : queries) {
    query = hostIn(query, random);
  }
  return queries;
}

// Built once, so that all rows of a trie ask the same one.
template <class Trie>
Trie& fullTrie() {
  static Trie trie;
  static const bool filled = [] {
    for (const IpGenPrefix& prefix : prefixTable(familyOf<Trie>)) {
      trie.insert(prefix);
    }
    return true;
  }();
  benchmark::DoNotOptimize(filled);
  return trie;
}

template <class Trie>
void setBytes(benchmark::State& state, const Trie& trie, std::size_t prefixes) {
  state.counters["bytes/prefix"] =
      static_cast<double>(trie.memory()) / static_cast<double>(prefixes);
}

template <class Ask>
void askAll(benchmark::State& state, const std::vector<IpGenPrefix>& queries, Ask ask) {
  std::size_t at = 0;
  for (auto _ : state) {
    ask(queries[at]);
    at = at + 1 == queries.size() ? 0 : at + 1;
  }
}

template <class Trie>
void longestMatch(benchmark::State& state) {
  const Trie& trie = fullTrie<Trie>();
  askAll(state, addressesIn(prefixTable(familyOf<Trie>)), [&trie](const IpGenPrefix& query) {
    benchmark::DoNotOptimize(trie.longestMatch(query));
  });
  setBytes(state, trie, prefixTable(familyOf<Trie>).size());
}

template <class Trie>
void longerPresent(benchmark::State& state) {
  const Trie& trie = fullTrie<Trie>();
  askAll(state, members(prefixTable(familyOf<Trie>)), [&trie](const IpGenPrefix& query) {
    benchmark::DoNotOptimize(trie.longerPresent(query));
  });
}

template <class Trie>
void walkSubtree(benchmark::State& state) {
  const Trie& trie = fullTrie<Trie>();
  askAll(state, members(prefixTable(familyOf<Trie>)), [&trie](const IpGenPrefix& query) {
    std::size_t seen = 0;
    trie.walk(query, [&seen](const IpGenPrefix& found) { return ++seen + found.length() != 0; });
    benchmark::DoNotOptimize(seen);
  });
}

template <class Trie>
void walk(benchmark::State& state) {
  const Trie& trie = fullTrie<Trie>();
  const auto table = prefixTable(familyOf<Trie>);
  const IpGenPrefix all(table.front().family() == AddressFamily::ipv4
                            ? IpGenAddr::ipv4(0)
                            : IpGenAddr::ipv6(IpGenAddr::Words{}),
                        0);
  while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(table.size()))) {
    std::size_t seen = 0;
    trie.walk(all, [&seen](const IpGenPrefix& found) { return ++seen + found.length() != 0; });
    if (seen != table.size()) {
      state.SkipWithError("the walk missed a prefix");
    }
  }
}

template <class Trie>
void change(benchmark::State& state) {
  Trie& trie = fullTrie<Trie>();
  askAll(state, members(prefixTable(familyOf<Trie>)), [&trie](const IpGenPrefix& query) {
    benchmark::DoNotOptimize(trie.erase(query));
    benchmark::DoNotOptimize(trie.insert(query));
  });
  setBytes(state, trie, prefixTable(familyOf<Trie>).size());
}

template <class Trie>
void build(benchmark::State& state) {
  const auto table = prefixTable(familyOf<Trie>);
  while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(table.size()))) {
    Trie trie;
    for (const IpGenPrefix& prefix : table) {
      trie.insert(prefix);
    }
    benchmark::DoNotOptimize(trie);
    state.PauseTiming();
    setBytes(state, trie, table.size());
    state.ResumeTiming();
  }
}

template <class Trie>
void hosts(benchmark::State& state) {
  const std::vector<IpGenPrefix>& all = randomHosts(familyOf<Trie>);
  Trie trie;
  for (const IpGenPrefix& host : all) {
    trie.insert(host);
  }
  askAll(state, members(all), [&trie](const IpGenPrefix& query) {
    benchmark::DoNotOptimize(trie.longestMatch(query));
  });
  setBytes(state, trie, all.size());
}

// Remembers the rows, to print what is asked at the end: how the three compare.
class Comparison : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const std::string name = run.run_name.function_name;
      const std::size_t slash = name.rfind('/');
      if (run.run_type == Run::RT_Iteration || run.aggregate_name == "median") {
        Figures& figures = rows_[name.substr(0, slash)];
        figures.time[name.substr(slash + 1)] = run.GetAdjustedCPUTime();
        const auto bytes = run.counters.find("bytes/prefix");
        if (bytes != run.counters.end()) {
          figures.bytes[name.substr(slash + 1)] = bytes->second.value;
        }
      }
    }
  }
  void print() const {
    std::printf("\n%-22s %-12s %10s %18s %18s\n", "", "", "trie", "binary", "patricia");
    for (const auto& [name, figures] : rows_) {
      printRow(name, "ns", figures.time);
      printRow(name, "bytes/prefix", figures.bytes);
    }
  }

 private:
  using Values = std::map<std::string, double>;
  struct Figures {
    Values time;
    Values bytes;
  };

  static void printRow(const std::string& name, const char* unit, const Values& values) {
    const auto ours = values.find("trie");
    if (ours == values.end()) {
      return;
    }
    std::printf("%-22s %-12s %10.1f", name.c_str(), unit, ours->second);
    for (const char* twin : {"binary", "patricia"}) {
      const auto theirs = values.find(twin);
      if (theirs != values.end()) {
        std::printf(" %10.1f (%4.1fx)", theirs->second, theirs->second / ours->second);
      }
    }
    std::printf("\n");
  }

  std::map<std::string, Figures> rows_;
};

using Trie4 = PrefixTrie<TrieFamily4>;
using Binary4 = BinaryTrie<TrieFamily4>;
using Patricia4 = PatriciaTrie<TrieFamily4>;
using Trie6 = PrefixTrie<TrieFamily6>;
using Binary6 = BinaryTrie<TrieFamily6>;
using Patricia6 = PatriciaTrie<TrieFamily6>;

BENCHMARK(longestMatch<Trie4>)->Name("longestMatch/ipv4/trie");
BENCHMARK(longestMatch<Binary4>)->Name("longestMatch/ipv4/binary");
BENCHMARK(longestMatch<Patricia4>)->Name("longestMatch/ipv4/patricia");
BENCHMARK(longerPresent<Trie4>)->Name("longerPresent/ipv4/trie");
BENCHMARK(longerPresent<Binary4>)->Name("longerPresent/ipv4/binary");
BENCHMARK(longerPresent<Patricia4>)->Name("longerPresent/ipv4/patricia");
BENCHMARK(walkSubtree<Trie4>)->Name("walkSubtree/ipv4/trie");
BENCHMARK(walkSubtree<Binary4>)->Name("walkSubtree/ipv4/binary");
BENCHMARK(walkSubtree<Patricia4>)->Name("walkSubtree/ipv4/patricia");
BENCHMARK(walk<Trie4>)->Name("walk/ipv4/trie");
BENCHMARK(walk<Binary4>)->Name("walk/ipv4/binary");
BENCHMARK(walk<Patricia4>)->Name("walk/ipv4/patricia");
BENCHMARK(change<Trie4>)->Name("change/ipv4/trie");
BENCHMARK(change<Binary4>)->Name("change/ipv4/binary");
BENCHMARK(change<Patricia4>)->Name("change/ipv4/patricia");
BENCHMARK(build<Trie4>)->Name("build/ipv4/trie");
BENCHMARK(build<Binary4>)->Name("build/ipv4/binary");
BENCHMARK(build<Patricia4>)->Name("build/ipv4/patricia");
BENCHMARK(hosts<Trie4>)->Name("hosts/ipv4/trie");
BENCHMARK(hosts<Binary4>)->Name("hosts/ipv4/binary");
BENCHMARK(hosts<Patricia4>)->Name("hosts/ipv4/patricia");
BENCHMARK(longestMatch<Trie6>)->Name("longestMatch/ipv6/trie");
BENCHMARK(longestMatch<Binary6>)->Name("longestMatch/ipv6/binary");
BENCHMARK(longestMatch<Patricia6>)->Name("longestMatch/ipv6/patricia");
BENCHMARK(longerPresent<Trie6>)->Name("longerPresent/ipv6/trie");
BENCHMARK(longerPresent<Binary6>)->Name("longerPresent/ipv6/binary");
BENCHMARK(longerPresent<Patricia6>)->Name("longerPresent/ipv6/patricia");
BENCHMARK(walkSubtree<Trie6>)->Name("walkSubtree/ipv6/trie");
BENCHMARK(walkSubtree<Binary6>)->Name("walkSubtree/ipv6/binary");
BENCHMARK(walkSubtree<Patricia6>)->Name("walkSubtree/ipv6/patricia");
BENCHMARK(walk<Trie6>)->Name("walk/ipv6/trie");
BENCHMARK(walk<Binary6>)->Name("walk/ipv6/binary");
BENCHMARK(walk<Patricia6>)->Name("walk/ipv6/patricia");
BENCHMARK(change<Trie6>)->Name("change/ipv6/trie");
BENCHMARK(change<Binary6>)->Name("change/ipv6/binary");
BENCHMARK(change<Patricia6>)->Name("change/ipv6/patricia");
BENCHMARK(build<Trie6>)->Name("build/ipv6/trie");
BENCHMARK(build<Binary6>)->Name("build/ipv6/binary");
BENCHMARK(build<Patricia6>)->Name("build/ipv6/patricia");
BENCHMARK(hosts<Trie6>)->Name("hosts/ipv6/trie");
BENCHMARK(hosts<Binary6>)->Name("hosts/ipv6/binary");
BENCHMARK(hosts<Patricia6>)->Name("hosts/ipv6/patricia");

}  // namespace
}  // namespace Routing::TrieBench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  Routing::TrieBench::Comparison comparison;
  benchmark::RunSpecifiedBenchmarks(&comparison);
  comparison.print();
  return 0;
}
