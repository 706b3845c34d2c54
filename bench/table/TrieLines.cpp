// Tries over the full table, beside a plain Patricia tree that answers the same questions.

#include <algorithm>
#include <string>
#include <vector>

#include "bench/support/Measure.h"
#include "bench/support/Tables.h"
#include "bench/table/Lines.h"
#include "bench/trie/Twins.h"
#include "platform/trie/PrefixTrie.h"
#include "tests/support/Allocations.h"
#include "tools/table-generator/RandomSource.h"

namespace Routing::Bench {

namespace {

constexpr std::size_t queryCount = std::size_t{1} << 18U;

using Queries = std::vector<IpGenPrefix>;

// Random members of the table.
Queries members(std::span<const IpGenPrefix> table) {
  RandomSource random(1);
  Queries queries(queryCount);
  for (IpGenPrefix& query : queries) {
    query = table[random.below(static_cast<std::uint32_t>(table.size()))];
  }
  return queries;
}

// A random address in each.
Queries addressesIn(Queries prefixes) {
  RandomSource random(2);
  for (IpGenPrefix& prefix : prefixes) {
    IpGenAddr::Words words{};
    for (std::uint32_t& word : words) {
      word = static_cast<std::uint32_t>(random.next());
    }
    const IpGenAddr::Words head = maskedWords(words, prefix.length());
    for (std::size_t i = 0; i < words.size(); ++i) {
      words[i] ^= head[i] ^ prefix.words()[i];
    }
    prefix = IpGenPrefix::host(prefix.family() == AddressFamily::ipv4 ? IpGenAddr::ipv4(words[0])
                                                                      : IpGenAddr::ipv6(words));
  }
  return prefixes;
}

template <class Ask>
double secondsEach(const Queries& queries, Ask ask) {
  const Cost cost = medianOf5([&] {
    return costOf([&] {
      for (const IpGenPrefix& query : queries) {
        ask(query);
      }
    });
  });
  return cost.seconds / static_cast<double>(queries.size());
}

struct TrieTimes {
  double longestMatch;
  double longerPresent;
  double walk;
  double change;
};

template <class Trie>
TrieTimes timesOf(std::span<const IpGenPrefix> table) {
  Trie trie;
  for (const IpGenPrefix& prefix : table) {
    trie.insert(prefix);
  }
  const Queries prefixes = members(table);
  TrieTimes times{};
  times.longestMatch = secondsEach(addressesIn(prefixes), [&trie](const IpGenPrefix& query) {
    keep(trie.longestMatch(query).length());
  });
  times.longerPresent =
      secondsEach(prefixes, [&trie](const IpGenPrefix& query) { keep(trie.longerPresent(query)); });
  times.walk = secondsEach(prefixes, [&trie](const IpGenPrefix& query) {
    std::size_t seen = 0;
    trie.walk(query, [&seen](const IpGenPrefix& found) { return ++seen + found.length() != 0; });
    keep(seen);
  });
  times.change = secondsEach(prefixes, [&trie](const IpGenPrefix& query) {
    keep(trie.erase(query));
    keep(trie.insert(query));
  });
  return times;
}

template <class Family>
double bytesEach(std::span<const IpGenPrefix> prefixes) {
  const std::size_t before = Support::allocatedBytes();
  PrefixTrie<Family> trie;
  for (const IpGenPrefix& prefix : prefixes) {
    trie.insert(prefix);
  }
  return static_cast<double>(Support::allocatedBytes() - before + sizeof(trie)) /
         static_cast<double>(trie.size());
}

template <class Family>
double bytesOf(const Queries& prefixes) {
  PrefixTrie<Family> trie;
  for (const IpGenPrefix& prefix : prefixes) {
    trie.insert(prefix);
  }
  return static_cast<double>(trie.memory());
}

Queries randomHosts(AddressFamily family, std::size_t count) {
  const IpGenPrefix all(
      family == AddressFamily::ipv4 ? IpGenAddr::ipv4(0) : IpGenAddr::ipv6(IpGenAddr::Words{}),
      0);
  return addressesIn(Queries(count, all));
}

template <class Family>
void memoryOf(Report& report,
              const std::string& name,
              double tableBytes,
              double hostBytes,
              double sixteenBytes) {
  constexpr std::size_t manyHosts = 100000;
  report.bytesAtMost(name + ", a prefix of the full table",
                     bytesEach<Family>(prefixTable(Family::family)),
                     tableBytes);
  report.bytesAtMost(name + ", a random host",
                     bytesEach<Family>(randomHosts(Family::family, manyHosts)),
                     hostBytes);
  report.bytesAtMost(name + ", 16 host routes",
                     bytesOf<Family>(randomHosts(Family::family, 16)),
                     sixteenBytes);
}

}  // namespace

void trieLines(Report& report) {
  using TrieBench::PatriciaTrie;
  report.lineIs("tries beside a plain Patricia tree, full table");
  const auto table4 = prefixTable(AddressFamily::ipv4);
  const auto table6 = prefixTable(AddressFamily::ipv6);
  const auto ours4 = timesOf<PrefixTrie<TrieFamily4>>(table4);
  const auto twin4 = timesOf<PatriciaTrie<TrieFamily4>>(table4);
  const auto ours6 = timesOf<PrefixTrie<TrieFamily6>>(table6);
  const auto twin6 = timesOf<PatriciaTrie<TrieFamily6>>(table6);
  report.ratioAtLeast("longest match, IPv4", ours4.longestMatch, twin4.longestMatch, 25);
  report.ratioAtLeast("longest match, IPv6", ours6.longestMatch, twin6.longestMatch, 4);
  report.ratioAtLeast("longer-present, IPv4", ours4.longerPresent, twin4.longerPresent, 15);
  report.ratioAtLeast("subtree walk, IPv4", ours4.walk, twin4.walk, 15);
  report.ratioAtLeast("delete + insert, IPv4", ours4.change, twin4.change, 10);
  report.ratioAtLeast("delete + insert, IPv6", ours6.change, twin6.change, 3);

  report.lineIs("trie memory");
  memoryOf<TrieFamily4>(report, "IPv4", 5, 24, 512);
  memoryOf<TrieFamily6>(report, "IPv6", 16, 40, 1024);
}

}  // namespace Routing::Bench
