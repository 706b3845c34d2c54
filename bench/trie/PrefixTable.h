#pragma once

// The prefixes that the trie is measured with.
//
// NEXTHOP_PREFIXES in the environment names a file of them, plain or compressed with gzip: one
// prefix a line, either family; lines that are empty or begin with '#' are skipped. Without it they
// are generated from a fixed seed: clustered like a routing table, with a rough mix of its lengths.

#include <string>
#include <vector>

#include "platform/net/IpGenPrefix.h"

namespace Routing::TrieBench {

// Sorted, each prefix once. Throws: std::runtime_error for a file that does not read, with the
// line.
std::vector<IpGenPrefix> loadPrefixes(const std::string& file, AddressFamily family);
std::vector<IpGenPrefix> generatePrefixes(AddressFamily family);
// What the environment says; read or made once for each family.
const std::vector<IpGenPrefix>& prefixTable(AddressFamily family);

}  // namespace Routing::TrieBench
