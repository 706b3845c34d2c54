#include "bench/support/Measure.h"

#include <ctime>

#include "platform/entity/Publisher.h"
#include "platform/trie/TrieGen.h"
#include "tests/support/Allocations.h"
#include "tools/table-generator/RandomSource.h"

namespace Routing::Bench {

namespace {

std::uint64_t trieQueries = 0;
std::uint64_t notifications = 0;

double threadSeconds() {
  timespec time{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  constexpr double nanosecond = 1e-9;
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * nanosecond;
}

}  // namespace

Cost Cost::operator-(const Cost& earlier) const {
  return {seconds - earlier.seconds,
          allocations - earlier.allocations,
          trieQueries - earlier.trieQueries,
          notifications - earlier.notifications};
}

Cost totalCost() { return {threadSeconds(), Support::allocations(), trieQueries, notifications}; }

Unit::Unit() {
  RandomSource random(1);
  map_.reserve(members);
  while (map_.size() < members) {
    const std::uint64_t key = random.next();
    map_.emplace(key, map_.size());
    keys_.push_back(key);
  }
  for (std::size_t i = keys_.size(); i > 1; --i) {
    std::swap(keys_[i - 1], keys_[random.below(static_cast<std::uint32_t>(i))]);
  }
  renew();
}

void Unit::renew() {
  const Cost cost = medianOf5([this] {
    return costOf([this] {
      std::uint64_t sum = 0;
      for (const std::uint64_t key : keys_) {
        sum += map_.find(key)->second;
      }
      keep(sum);
    });
  });
  seconds_ = cost.seconds / static_cast<double>(members);
}

// The linker sends each call of the functions named here to the first of the two and gives the
// second the function itself (--wrap). A member function is called like a function whose first
// argument is the object.

#define WRAPPED(symbol) asm("__wrap_" symbol)
#define REAL(symbol) asm("__real_" symbol)

#define LONGEST_MATCH "_ZNK7Routing7TrieGen12longestMatchERKNS_11IpGenPrefixE"
IpGenPrefix countLongestMatch(const TrieGen& trie, const IpGenPrefix& prefix)
    WRAPPED(LONGEST_MATCH);
IpGenPrefix longestMatch(const TrieGen& trie, const IpGenPrefix& prefix) REAL(LONGEST_MATCH);
IpGenPrefix countLongestMatch(const TrieGen& trie, const IpGenPrefix& prefix) {
  ++trieQueries;
  return longestMatch(trie, prefix);
}

#define SEARCH_END "_ZNK7Routing7TrieGen9searchEndERKNS_11IpGenPrefixERKNS_10TrieSearchE"
IpGenPrefix countLongestMatch(const TrieGen& trie,
                              const IpGenPrefix& prefix,
                              const TrieSearch& search) WRAPPED(SEARCH_END);
IpGenPrefix longestMatch(const TrieGen& trie, const IpGenPrefix& prefix, const TrieSearch& search)
    REAL(SEARCH_END);
IpGenPrefix countLongestMatch(const TrieGen& trie,
                              const IpGenPrefix& prefix,
                              const TrieSearch& search) {
  ++trieQueries;
  return longestMatch(trie, prefix, search);
}

#define LONGER_PRESENT "_ZNK7Routing7TrieGen18longerRoutePresentERKNS_11IpGenPrefixE"
bool countLongerPresent(const TrieGen& trie, const IpGenPrefix& prefix) WRAPPED(LONGER_PRESENT);
bool longerPresent(const TrieGen& trie, const IpGenPrefix& prefix) REAL(LONGER_PRESENT);
bool countLongerPresent(const TrieGen& trie, const IpGenPrefix& prefix) {
  ++trieQueries;
  return longerPresent(trie, prefix);
}

#define WALK                                                 \
  "_ZNK7Routing7TrieGen12preOrderWalkERKNS_11IpGenPrefixERK" \
  "NS_3PtrINS_19TrieGenWalkCallbackEEE"
void countWalk(const TrieGen& trie,
               const IpGenPrefix& prefix,
               const Ptr<TrieGenWalkCallback>& callback) WRAPPED(WALK);
void walk(const TrieGen& trie, const IpGenPrefix& prefix, const Ptr<TrieGenWalkCallback>& callback)
    REAL(WALK);
void countWalk(const TrieGen& trie,
               const IpGenPrefix& prefix,
               const Ptr<TrieGenWalkCallback>& callback) {
  ++trieQueries;
  walk(trie, prefix, callback);
}

#define DELIVER "_ZNK7Routing9Publisher7deliverENS_7FieldIdEPKv"
void countDelivery(const Publisher& publisher, FieldId field, const void* key) WRAPPED(DELIVER);
void deliver(const Publisher& publisher, FieldId field, const void* key) REAL(DELIVER);
void countDelivery(const Publisher& publisher, FieldId field, const void* key) {
  ++notifications;
  deliver(publisher, field, key);
}

}  // namespace Routing::Bench
