#include "tools/table-generator/TableGenerator.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>

#include "tools/table-generator/ForestPlan.h"
#include "tools/table-generator/FreeSpace.h"

namespace Routing {
namespace {

// Gives each family a random sequence of its own.
constexpr std::uint64_t familySalt = 0x5851f42d4c957f2dU;
// Draws in one prefix before another one is tried.
constexpr unsigned attempts = 4;

// The children of all nodes in one array, those of a node together and in their order; the children
// of node i are those from first[i] to first[i + 1].
struct Children {
  std::vector<std::uint32_t> first;
  std::vector<std::uint32_t> nodes;
};

Children childrenOf(const ForestPlan& plan) {
  const std::vector<ForestNode>& nodes = plan.nodes();
  Children children{std::vector<std::uint32_t>(nodes.size() + 1), {}};
  for (std::size_t node = plan.rootCount(); node < nodes.size(); ++node) {
    ++children.first[nodes[node].parent + 1];
  }
  for (std::size_t node = 0; node < nodes.size(); ++node) {
    children.first[node + 1] += children.first[node];
  }
  children.nodes.resize(nodes.size() - plan.rootCount());
  std::vector<std::uint32_t> next = children.first;
  for (std::uint32_t node = plan.rootCount(); node < nodes.size(); ++node) {
    children.nodes[next[nodes[node].parent]++] = node;
  }
  return children;
}

// The address of every node of the plan.
std::vector<IpGenAddr::Words> place(const ForestPlan& plan, RandomSource& random) {
  const std::vector<ForestNode>& nodes = plan.nodes();
  const Children children = childrenOf(plan);
  std::vector<IpGenAddr::Words> places(nodes.size());
  FreeSpace free;
  for (std::uint32_t node = 0; node < nodes.size(); ++node) {
    const std::uint32_t end = children.first[node + 1];
    if (children.first[node] == end) {
      continue;
    }
    free.clear();
    if (node < plan.rootCount()) {
      for (const Block& piece : plan.rootPieces(node)) {
        free.pieceIs(piece);
      }
    } else {
      free.pieceIs({places[node], nodes[node].length});
    }
    for (std::uint32_t index = children.first[node]; index < end; ++index) {
      const std::uint32_t child = children.nodes[index];
      places[child] = free.take(nodes[child].length, random).words;
    }
  }
  return places;
}

void addFamily(AddressFamily family,
               std::size_t count,
               std::uint64_t seed,
               std::vector<IpGenPrefix>& table) {
  RandomSource random(seed + familySalt * static_cast<std::uint64_t>(family));
  const ForestPlan plan(family, static_cast<std::uint32_t>(count), random);
  const std::vector<IpGenAddr::Words> places = place(plan, random);
  for (std::size_t node = 0; node < places.size(); ++node) {
    if (plan.nodes()[node].isPrefix) {
      const IpGenAddr address = family == AddressFamily::ipv4 ? IpGenAddr::ipv4(places[node][0])
                                                              : IpGenAddr::ipv6(places[node]);
      table.emplace_back(address, plan.nodes()[node].length);
    }
  }
}

void checkCount(std::size_t count) {
  if (count > maximumPrefixes) {
    throw std::length_error("at most " + std::to_string(maximumPrefixes) +
                            " prefixes of a family can be generated");
  }
}

using SeenAddresses = std::unordered_set<IpGenAddr>;

// The addresses of a prefix as numbers. Of a prefix with more than 2^64 addresses, those with the
// same upper bits as the one it was made with.
class AddressesOf {
 public:
  AddressesOf(const IpGenPrefix& prefix, RandomSource& random)
      : family_(prefix.family()), words_(prefix.words()) {
    const unsigned bits = addressBits(family_);
    for (unsigned word = prefix.length() / 32U; word * 32U < bits; ++word) {
      const auto drawn = static_cast<std::uint32_t>(random.next() >> 32U);
      const unsigned fixed = prefix.length() > word * 32U ? prefix.length() - word * 32U : 0;
      words_.at(word) |= drawn >> fixed;
    }
    const unsigned hostBits = bits - prefix.length();
    lastOffset_ = hostBits >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << hostBits) - 1;
  }

  // The address so many steps after the drawn one; the first of the prefix follows the last one.
  IpGenAddr after(std::uint64_t steps) const {
    IpGenAddr::Words words = words_;
    const bool ipv4 = family_ == AddressFamily::ipv4;
    const std::uint64_t low = ipv4 ? words[0] : (std::uint64_t{words[2]} << 32U) | words[3];
    const std::uint64_t moved = (low & ~lastOffset_) | ((low + steps) & lastOffset_);
    if (ipv4) {
      return IpGenAddr::ipv4(static_cast<std::uint32_t>(moved));
    }
    words[2] = static_cast<std::uint32_t>(moved >> 32U);
    words[3] = static_cast<std::uint32_t>(moved);
    return IpGenAddr::ipv6(words);
  }

  std::uint64_t lastOffset() const noexcept { return lastOffset_; }

 private:
  AddressFamily family_;
  IpGenAddr::Words words_;
  std::uint64_t lastOffset_ = 0;
};

// An address of the prefix that has not been seen; the unset address when all have.
IpGenAddr unseenAddress(const IpGenPrefix& prefix,
                        const SeenAddresses& seen,
                        RandomSource& random) {
  for (unsigned attempt = 0; attempt < attempts; ++attempt) {
    const IpGenAddr address = AddressesOf(prefix, random).after(0);
    if (!seen.contains(address)) {
      return address;
    }
  }
  const AddressesOf addresses(prefix, random);
  // Of one address more than have been seen, one has not.
  const std::uint64_t steps = std::min<std::uint64_t>(addresses.lastOffset(), seen.size());
  for (std::uint64_t step = 0; step <= steps; ++step) {
    const IpGenAddr address = addresses.after(step);
    if (!seen.contains(address)) {
      return address;
    }
  }
  return {};
}

}  // namespace

std::vector<IpGenPrefix> generateTable(const TableShape& shape, std::uint64_t seed) {
  checkCount(shape.ipv4);
  checkCount(shape.ipv6);
  std::vector<IpGenPrefix> table;
  table.reserve(shape.ipv4 + shape.ipv6);
  addFamily(AddressFamily::ipv4, shape.ipv4, seed, table);
  addFamily(AddressFamily::ipv6, shape.ipv6, seed, table);
  std::ranges::sort(table);
  return table;
}

std::vector<IpGenAddr> pickNexthops(std::span<const IpGenPrefix> table,
                                    std::size_t count,
                                    std::uint64_t seed) {
  RandomSource random(seed);
  SeenAddresses seen;
  std::vector<IpGenAddr> nexthops;
  for (std::size_t number = 0; number < count; ++number) {
    const std::size_t start = number * table.size() / count;
    IpGenAddr address;
    for (std::size_t step = 0; step < table.size() && !address; ++step) {
      address = unseenAddress(table[(start + step) % table.size()], seen, random);
    }
    if (!address) {
      throw std::length_error("the table has less than " + std::to_string(count) + " addresses");
    }
    seen.insert(address);
    nexthops.push_back(address);
  }
  for (std::size_t left = nexthops.size(); left > 1; --left) {
    std::swap(nexthops[left - 1], nexthops[random.below(static_cast<std::uint32_t>(left))]);
  }
  return nexthops;
}

}  // namespace Routing
