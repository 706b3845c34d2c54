#include "tools/table-generator/ForestPlan.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Routing {
namespace {

// Draws before a walk over all candidates looks for one with room.
constexpr unsigned attempts = 8;
// Of prefixes outside all others 12.0 % cover some, of those inside others 7.5 %.
constexpr std::uint32_t outsideWeight = 8;
constexpr std::uint32_t insideWeight = 5;

// The space taken by a block that is so many halvings smaller than the whole.
std::uint64_t need(unsigned halvings) {
  return halvings > 62 ? 1 : std::uint64_t{1} << (62U - halvings);
}

// Prefixes as long as this follow the crowd; shorter ones, handed out when there was plenty, lie
// anywhere.
std::uint8_t crowdedLength(AddressFamily family) { return family == AddressFamily::ipv4 ? 20 : 29; }

// Adds the parts of the block that are not reserved.
void addPieces(const Block& block, std::span<const Block> reserved, std::vector<Block>& pieces) {
  bool whole = true;
  for (const Block& other : reserved) {
    if (block.overlaps(other)) {
      whole = false;
      if (other.length <= block.length) {
        return;
      }
    }
  }
  if (whole) {
    pieces.push_back(block);
    return;
  }
  addPieces(block.half(false), reserved, pieces);
  addPieces(block.half(true), reserved, pieces);
}

template <class Space>
bool hasRoom(const Space& space, std::uint8_t length) {
  return space.length <= length &&
         space.room >= need(static_cast<unsigned>(length) - static_cast<unsigned>(space.length));
}

// The first with room, from a given place on.
template <class Space>
Space* firstWithRoom(std::vector<Space>& spaces, std::uint32_t start, std::uint8_t length) {
  for (std::size_t step = 0; step < spaces.size(); ++step) {
    Space& space = spaces[(start + step) % spaces.size()];
    if (hasRoom(space, length)) {
      return &space;
    }
  }
  return nullptr;
}

}  // namespace

ForestPlan::ForestPlan(AddressFamily family, std::uint32_t prefixes, RandomSource& random)
    : family_(family), random_(random) {
  const std::vector<LengthCount> lengths = scaledLengths(family, prefixes);
  nodes_.reserve(std::size_t{prefixes} + 1024);
  makeRoots();
  bool sitesMade = false;
  for (const LengthCount& entry : lengths) {
    openRoots(entry.length);
    if (!sitesMade && entry.length >= siteLength(family)) {
      makeSites();
      sitesMade = true;
    }
    planLength(entry);
  }
}

void ForestPlan::makeRoots() {
  std::vector<WeightedSpace> spaces;
  for (const AddressBlock& block : addressBlocks(family_)) {
    Root root;
    addPieces(block.block, reservedBlocks(family_), root.pieces);
    std::ranges::stable_sort(root.pieces, {}, &Block::length);
    const auto node = static_cast<std::uint32_t>(roots_.size());
    roots_.push_back(std::move(root));
    nodeIs(node, block.block.length, false);
    spaces.emplace_back(block.prefixes, Space{node, block.block.length, 0});
  }
  sitesAre(std::move(spaces));
}

// A root's room grows as prefixes become short enough to lie in its smaller pieces.
void ForestPlan::openRoots(std::uint8_t length) {
  for (Space& space : sites_.spaces) {
    if (space.node >= roots_.size()) {
      continue;
    }
    Root& root = roots_[space.node];
    while (root.opened < root.pieces.size() && root.pieces[root.opened].length <= length) {
      const unsigned pieceLength = root.pieces[root.opened++].length;
      space.room += need(pieceLength - space.length);
    }
  }
}

void ForestPlan::makeSites() {
  std::vector<WeightedSpace> sites;
  const std::uint8_t length = siteLength(family_);
  const std::span<const AddressBlock> blocks = addressBlocks(family_);
  for (Space& space : sites_.spaces) {
    if (space.length == length) {
      return;
    }
    const AddressBlock& block = blocks[space.node];
    for (std::uint32_t rank = 1; rank <= block.sites && hasRoom(space, length); ++rank) {
      space.room -= need(static_cast<unsigned>(length) - static_cast<unsigned>(space.length));
      const std::uint32_t node = nodeIs(space.node, length, false);
      // Few sites are crowded: a site's share falls off with its rank.
      sites.emplace_back(std::uint64_t{block.prefixes} * 16 / rank, Space{node, length, need(0)});
    }
  }
  sitesAre(std::move(sites));
}

void ForestPlan::sitesAre(std::vector<WeightedSpace> spaces) {
  std::ranges::stable_sort(spaces, {}, &WeightedSpace::first);
  sites_ = Sites{};
  std::uint64_t sum = 0;
  for (const auto& [weight, space] : spaces) {
    sum += weight;
    sites_.spaces.push_back(space);
    sites_.runningWeights.push_back(sum);
  }
}

void ForestPlan::planLength(const LengthCount& entry) {
  for (Covers& covers : covers_) {
    covers.full = false;
  }
  std::uint32_t inside = 0;
  for (; inside < entry.inside; ++inside) {
    Space* const cover = drawCover(entry.length);
    if (cover == nullptr) {
      break;
    }
    childIs(*cover, entry.length);
  }
  for (std::uint32_t outside = inside; outside < entry.prefixes; ++outside) {
    Space* const site = drawSite(entry.length);
    if (site == nullptr) {
      throw std::length_error("no address space for so many prefixes");
    }
    childIs(*site, entry.length);
  }
  chooseCovers(entry, inside);
}

// Of the prefixes planned last, of which those inside others come first.
void ForestPlan::chooseCovers(const LengthCount& entry, std::uint32_t inside) {
  Covers covers;
  covers.covered = entry.covered;
  covers.left = entry.covered;
  const auto first = static_cast<std::uint32_t>(nodes_.size()) - entry.prefixes;
  std::uint32_t weightLeft = inside * insideWeight + (entry.prefixes - inside) * outsideWeight;
  for (std::uint32_t index = 0; index < entry.prefixes; ++index) {
    const std::uint32_t weight = index < inside ? insideWeight : outsideWeight;
    const auto wanted = entry.covers - static_cast<std::uint32_t>(covers.spaces.size());
    if (random_.chance(wanted * weight, weightLeft)) {
      covers.spaces.push_back({first + index, entry.length, need(0)});
    }
    weightLeft -= weight;
  }
  for (std::size_t count = covers.spaces.size(); count > 1; --count) {
    std::swap(covers.spaces[count - 1],
              covers.spaces[random_.below(static_cast<std::uint32_t>(count))]);
  }
  covers_.push_back(std::move(covers));
}

std::uint32_t ForestPlan::nodeIs(std::uint32_t parent, std::uint8_t length, bool isPrefix) {
  nodes_.push_back({parent, length, isPrefix});
  return static_cast<std::uint32_t>(nodes_.size() - 1);
}

void ForestPlan::childIs(Space& space, std::uint8_t length) {
  space.room -= need(static_cast<unsigned>(length) - static_cast<unsigned>(space.length));
  nodeIs(space.node, length, true);
}

ForestPlan::Space* ForestPlan::drawSite(std::uint8_t length) {
  const auto count = static_cast<std::uint32_t>(sites_.spaces.size());
  // What takes a whole site takes one that few others want.
  if (length == siteLength(family_)) {
    return firstWithRoom(sites_.spaces, 0, length);
  }
  for (unsigned attempt = 0; attempt < attempts; ++attempt) {
    std::size_t index = random_.below(count);
    if (length >= crowdedLength(family_)) {
      const std::vector<std::uint64_t>& weights = sites_.runningWeights;
      const std::uint64_t drawn = random_.below(static_cast<std::uint32_t>(weights.back()));
      index = static_cast<std::size_t>(std::ranges::upper_bound(weights, drawn) - weights.begin());
    }
    if (hasRoom(sites_.spaces[index], length)) {
      return &sites_.spaces[index];
    }
  }
  return firstWithRoom(sites_.spaces, random_.below(count), length);
}

ForestPlan::Space* ForestPlan::drawCover(std::uint8_t length) {
  while (Covers* const covers = drawCovers()) {
    if (Space* const space = drawCoverOf(*covers, length)) {
      covers->left -= covers->left > 0 ? 1U : 0U;
      return space;
    }
    covers->full = true;
  }
  return nullptr;
}

// A length, by how many prefixes it has still to cover; when none has any left, because the table
// is small or full, by how many it had to.
ForestPlan::Covers* ForestPlan::drawCovers() {
  for (const auto amount : {&Covers::left, &Covers::covered}) {
    std::uint32_t sum = 0;
    for (const Covers& covers : covers_) {
      sum += covers.full || covers.spaces.empty() ? 0 : covers.*amount;
    }
    std::uint32_t drawn = random_.below(sum);
    for (Covers& covers : covers_) {
      const std::uint32_t share = covers.full || covers.spaces.empty() ? 0 : covers.*amount;
      if (drawn < share) {
        return &covers;
      }
      drawn -= share;
    }
  }
  return nullptr;
}

ForestPlan::Space* ForestPlan::drawCoverOf(Covers& covers, std::uint8_t length) {
  const auto count = static_cast<std::uint32_t>(covers.spaces.size());
  // Each cover gets something to cover; spread over all draws, so that it is not always the
  // shortest prefixes that go there.
  if (covers.served < count && random_.chance(count, covers.covered)) {
    Space& space = covers.spaces[covers.served++];
    if (hasRoom(space, length)) {
      return &space;
    }
  }
  for (unsigned attempt = 0; attempt < attempts; ++attempt) {
    Space& space = covers.spaces[random_.skewedBelow(count)];
    if (hasRoom(space, length)) {
      return &space;
    }
  }
  return firstWithRoom(covers.spaces, random_.below(count), length);
}

}  // namespace Routing
