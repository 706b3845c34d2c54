#pragma once

// Makes routing tables that look like the Internet's: its distribution of prefix lengths, its
// nesting of more specific prefixes inside others, its clusters of addresses. What is reproduced is
// written down in LengthDistribution.h.
//
// A table is a function of its shape and seed alone, on every machine, and its two families do not
// depend on each other: the IPv4 part is the same whatever number of IPv6 prefixes is asked for.
//
// How: the counts of the distribution become a forest of prefixes without addresses (ForestPlan),
// each node of which then hands parts of its own address space to its children (FreeSpace). What
// lies inside what is decided before the addresses are, so prefixes are distinct by construction
// and nothing is ever drawn twice.
//
// Cost: less than half a microsecond a prefix, and besides the table itself 30 bytes a prefix of
// the family it is at work on.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/net/IpGenPrefix.h"

namespace Routing {

struct TableShape {
  // Prefixes of each family; the defaults are those of the measured table.
  std::size_t ipv4 = 901'899;
  std::size_t ipv6 = 160'147;
};

// The most prefixes of a family that a table can have: about twice what the longest real table has.
constexpr std::size_t maximumPrefixes = 2'000'000;

// Distinct prefixes, exactly as many as the shape says, in their order: IPv4 first, by address, a
// prefix before what lies inside it. Throws: std::length_error beyond maximumPrefixes.
std::vector<IpGenPrefix> generateTable(const TableShape& shape, std::uint64_t seed);

// Distinct addresses that lie in prefixes of the table, spread evenly over them, in random order.
// Throws: std::length_error when the table has not so many addresses.
std::vector<IpGenAddr> pickNexthops(std::span<const IpGenPrefix> table,
                                    std::size_t count,
                                    std::uint64_t seed);

}  // namespace Routing
