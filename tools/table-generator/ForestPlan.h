#pragma once

// Which prefixes a generated table has and which lies inside which, before any has an address.
//
// The plan is a forest. Its roots are the address blocks of the registries, which are no prefixes
// of the table themselves. Below the IPv6 roots come the sites, blocks that prefixes cluster in,
// which are none either; an IPv4 root is its own site. Then come the prefixes, shortest first:
//
//   outside all others   goes below a site, or a root while it is too short for a site; sites are
//                        drawn by how crowded they are
//   inside another       goes below a prefix chosen to cover others; the length of that one is
//   drawn
//                        by how many prefixes its length has still to cover
//
// The counts of prefixes of each length hold exactly, and so do those inside another as long as
// there is something shorter with room. The number of covers, what each covers and the depth of
// nesting follow from the draws and come near the measured ones.
//
// Invariants:
//   1. A node stands after its parent and is at least as long; below a prefix it is longer.
//   2. The children of a node fit into it: taken in their order, each finds an aligned place.

#include <cstdint>
#include <span>
#include <vector>

#include "tools/table-generator/Block.h"
#include "tools/table-generator/LengthDistribution.h"
#include "tools/table-generator/RandomSource.h"

namespace Routing {

struct ForestNode {
  std::uint32_t parent;
  std::uint8_t length;
  // False for roots and sites.
  bool isPrefix;
};

class ForestPlan {
 public:
  // Throws: std::length_error when prefixes outside all others do not find room.
  ForestPlan(AddressFamily family, std::uint32_t prefixes, RandomSource& random);

  // The roots first; a root is its own parent.
  const std::vector<ForestNode>& nodes() const noexcept { return nodes_; }
  std::uint32_t rootCount() const noexcept { return static_cast<std::uint32_t>(roots_.size()); }
  // The parts of a root that are not reserved, the largest first.
  const std::vector<Block>& rootPieces(std::uint32_t root) const { return roots_.at(root).pieces; }

 private:
  // A node that may have children, and the space left in it, where the whole of it is 2^62.
  struct Space {
    std::uint32_t node;
    std::uint8_t length;
    std::uint64_t room;
  };
  struct Root {
    std::vector<Block> pieces;
    // How many of the pieces count in the root's room.
    std::size_t opened = 0;
  };
  // Spaces to draw from, by weight; the lightest first.
  struct Sites {
    std::vector<Space> spaces;
    std::vector<std::uint64_t> runningWeights;
  };
  // The prefixes of one length that were chosen to cover others.
  struct Covers {
    std::vector<Space> spaces;
    // How many prefixes they are to cover in all, and how many are still to come.
    std::uint32_t covered = 0;
    std::uint32_t left = 0;
    // How many of the spaces, from the first on, were drawn for being the next without a child.
    std::uint32_t served = 0;
    // None of them has room for the length that is being planned.
    bool full = false;
  };
  using WeightedSpace = std::pair<std::uint64_t, Space>;

  void makeRoots();
  void makeSites();
  void sitesAre(std::vector<WeightedSpace> spaces);
  void openRoots(std::uint8_t length);
  void planLength(const LengthCount& entry);
  void chooseCovers(const LengthCount& entry, std::uint32_t inside);

  std::uint32_t nodeIs(std::uint32_t parent, std::uint8_t length, bool isPrefix);
  void childIs(Space& space, std::uint8_t length);
  Space* drawSite(std::uint8_t length);
  Covers* drawCovers();
  Space* drawCover(std::uint8_t length);
  Space* drawCoverOf(Covers& covers, std::uint8_t length);

  AddressFamily family_;
  RandomSource& random_;
  std::vector<Root> roots_;
  std::vector<ForestNode> nodes_;
  Sites sites_;
  // One for each length planned so far.
  std::vector<Covers> covers_;
};

}  // namespace Routing
