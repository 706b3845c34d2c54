#include "bench/trie/PrefixTable.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <stdexcept>

namespace Routing::TrieBench {

namespace {

struct LengthShare {
  std::uint8_t length;
  std::uint32_t percent;
};

// Rounded from what a routing table holds.
constexpr std::array<LengthShare, 9> shares4{
    {{24, 60}, {22, 12}, {23, 11}, {21, 6}, {20, 5}, {19, 3}, {18, 1}, {17, 1}, {16, 1}}};
constexpr std::array<LengthShare, 8> shares6{
    {{48, 49}, {32, 15}, {44, 11}, {40, 10}, {36, 5}, {46, 4}, {33, 4}, {29, 2}}};

struct Shape {
  std::size_t prefixes;
  std::size_t clusters;
  std::uint8_t clusterLength;
};

constexpr Shape shape4{900000, 24000, 16};
constexpr Shape shape6{160000, 20000, 29};

template <std::size_t count>
std::uint8_t lengthOf(const std::array<LengthShare, count>& shares, std::uint32_t percent) {
  for (const LengthShare& share : shares) {
    if (percent < share.percent) {
      return share.length;
    }
    percent -= share.percent;
  }
  return shares.front().length;
}

IpGenAddr randomAddress(AddressFamily family, std::mt19937_64& random) {
  if (family == AddressFamily::ipv4) {
    return IpGenAddr::ipv4(static_cast<std::uint32_t>(random()));
  }
  // Global unicast space.
  const std::uint64_t high = random() >> 3U | std::uint64_t{1} << 61U;
  const std::uint64_t low = random();
  return IpGenAddr::ipv6(IpGenAddr::Words{static_cast<std::uint32_t>(high >> 32U),
                                          static_cast<std::uint32_t>(high),
                                          static_cast<std::uint32_t>(low >> 32U),
                                          static_cast<std::uint32_t>(low)});
}

// The cluster's leading bits, the address's after them.
IpGenAddr inCluster(const IpGenPrefix& cluster, const IpGenAddr& address) {
  IpGenAddr::Words words = address.words();
  const IpGenAddr::Words head = maskedWords(words, cluster.length());
  for (std::size_t i = 0; i < words.size(); ++i) {
    words[i] ^= head[i] ^ cluster.words()[i];
  }
  return address.family() == AddressFamily::ipv4 ? IpGenAddr::ipv4(words[0])
                                                 : IpGenAddr::ipv6(words);
}

void sortOnce(std::vector<IpGenPrefix>& prefixes) {
  std::sort(prefixes.begin(), prefixes.end());
  prefixes.erase(std::unique(prefixes.begin(), prefixes.end()), prefixes.end());
}

struct FileCloser {
  void operator()(gzFile file) const { gzclose(file); }
};

}  // namespace

std::vector<IpGenPrefix> generatePrefixes(AddressFamily family) {
  const bool ipv4 = family == AddressFamily::ipv4;
  const Shape& shape = ipv4 ? shape4 : shape6;
  std::mt19937_64 random(ipv4 ? 4 : 6);
  std::vector<IpGenPrefix> clusters;
  for (std::size_t i = 0; i < shape.clusters; ++i) {
    clusters.emplace_back(randomAddress(family, random), shape.clusterLength);
  }
  std::vector<IpGenPrefix> prefixes{
      IpGenPrefix(ipv4 ? IpGenAddr::ipv4(0) : IpGenAddr::ipv6(IpGenAddr::Words{}), 0)};
  while (prefixes.size() < shape.prefixes) {
    for (std::size_t missing = shape.prefixes - prefixes.size(); missing != 0; --missing) {
      const auto percent = static_cast<std::uint32_t>(random() % 100);
      const IpGenPrefix& cluster = clusters[random() % clusters.size()];
      prefixes.emplace_back(inCluster(cluster, randomAddress(family, random)),
                            ipv4 ? lengthOf(shares4, percent) : lengthOf(shares6, percent));
    }
    sortOnce(prefixes);
  }
  return prefixes;
}

std::vector<IpGenPrefix> loadPrefixes(const std::string& file, AddressFamily family) {
  const std::unique_ptr<gzFile_s, FileCloser> input(gzopen(file.c_str(), "rb"));
  if (!input) {
    throw std::runtime_error(file + ": cannot be opened");
  }
  std::vector<IpGenPrefix> prefixes;
  std::array<char, 256> buffer{};
  for (std::size_t line = 1; gzgets(input.get(), buffer.data(), buffer.size()) != nullptr; ++line) {
    std::string text(buffer.data());
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    if (text.empty() || text.front() == '#') {
      continue;
    }
    const auto prefix = IpGenPrefix::parse(text);
    if (!prefix) {
      std::string message = file + ":" + std::to_string(line);
      throw std::runtime_error(message.append(": not a prefix: ").append(text));
    }
    if (prefix->family() == family) {
      prefixes.push_back(*prefix);
    }
  }
  if (gzeof(input.get()) == 0 || prefixes.empty()) {
    throw std::runtime_error(file + ": does not read to its end, or has no prefix of the family");
  }
  sortOnce(prefixes);
  return prefixes;
}

const std::vector<IpGenPrefix>& prefixTable(AddressFamily family) {
  const auto make = [](AddressFamily which) {
    const char* file = std::getenv("NEXTHOP_PREFIXES");
    return file != nullptr ? loadPrefixes(file, which) : generatePrefixes(which);
  };
  static const std::vector<IpGenPrefix> ipv4 = make(AddressFamily::ipv4);
  static const std::vector<IpGenPrefix> ipv6 = make(AddressFamily::ipv6);
  return family == AddressFamily::ipv4 ? ipv4 : ipv6;
}

}  // namespace Routing::TrieBench
