#pragma once

// What a full Internet routing table looks like, in counts: how many prefixes there are of each
// length, how they nest, and which address blocks they come from. These are measured facts, of a
// table with 901,899 IPv4 and 160,147 IPv6 prefixes; the generator reproduces them with addresses
// of its own.
//
// "Inside" means inside another prefix of the table. The prefix that covers a prefix is the longest
// of those it lies inside of, so that each prefix inside another counts for exactly one cover.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/net/IpGenAddr.h"
#include "tools/table-generator/Block.h"

namespace Routing {

// The prefixes of one length.
struct LengthCount {
  std::uint8_t length = 0;
  std::uint32_t prefixes = 0;
  // How many of them lie inside another prefix.
  std::uint32_t inside = 0;
  // How many of them cover at least one other prefix, and how many prefixes they cover in all.
  std::uint32_t covers = 0;
  std::uint32_t covered = 0;
};

// An address block that registries hand out from.
struct AddressBlock {
  Block block{};
  // How many blocks of the family's site length are in use inside it.
  std::uint32_t sites = 0;
  // How many prefixes of the table lie in it; a weight.
  std::uint32_t prefixes = 0;
};

// By length, shortest first.
std::span<const LengthCount> measuredLengths(AddressFamily family);
// Sum of the prefixes of measuredLengths.
std::uint32_t measuredPrefixes(AddressFamily family);
// The same distribution for a table of another size; the prefixes add up to the size. A longer
// table than the measured one grows in its long prefixes only, because registries have no more of
// the short blocks to give.
std::vector<LengthCount> scaledLengths(AddressFamily family, std::uint32_t prefixes);

std::span<const AddressBlock> addressBlocks(AddressFamily family);
// What no prefix of a public table overlaps: private use, documentation, protocol assignments.
std::span<const Block> reservedBlocks(AddressFamily family);

// Prefixes cluster in blocks of this length: /8 for IPv4, /20 for IPv6.
std::uint8_t siteLength(AddressFamily family);

}  // namespace Routing
