#pragma once

// The free part of an address block, kept as aligned pieces of which halves are split off on
// demand. Whoever takes blocks in order of length, shortest first, is served as long as there is a
// piece that is not too small: no split leaves a piece longer than what is asked for later, so none
// is stranded.
//
// A block is taken either from one of the smallest pieces that will do, which puts neighbours
// together, or from anywhere in the free space; the mixture gives the runs and gaps of a real
// table.

#include <array>
#include <cstdint>
#include <vector>

#include "tools/table-generator/Block.h"
#include "tools/table-generator/RandomSource.h"

namespace Routing {

class FreeSpace {
 public:
  // Forgets everything and keeps the memory.
  void clear() noexcept;
  void pieceIs(const Block& piece);

  // Takes a block of this length out. Requires: a piece that is no longer than it.
  Block take(std::uint8_t length, RandomSource& random);

 private:
  using Lengths = std::array<std::vector<IpGenAddr::Words>, 129>;

  // The length of the piece to split: the smallest one, one that is likely to be small, or any,
  // weighted by size.
  std::uint8_t smallestPiece(std::uint8_t length) const;
  std::uint8_t nearPiece(std::uint8_t length, RandomSource& random) const;
  std::uint8_t anyPiece(std::uint8_t length, RandomSource& random) const;
  std::uint64_t weight(std::uint8_t length) const noexcept;

  Lengths pieces_;
  // No piece is shorter or longer than these.
  std::uint8_t shortest_ = 128;
  std::uint8_t longest_ = 0;
};

}  // namespace Routing
