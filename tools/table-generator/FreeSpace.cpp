#include "tools/table-generator/FreeSpace.h"

#include <algorithm>
#include <utility>

#include "platform/entity/Assert.h"

namespace Routing {
namespace {

// Of 32 blocks, how many go near what is there already, and of 64 of these, how many times one goes
// further off by another piece. Found by trial: with them the share of prefixes whose other half is
// in the table too, and the number of runs of 16 that the prefixes lie in, come near the measured
// ones.
constexpr std::uint32_t neighbourly = 31;
constexpr std::uint32_t further = 39;

}  // namespace

void FreeSpace::clear() noexcept {
  for (std::size_t length = shortest_; length <= longest_; ++length) {
    pieces_[length].clear();
  }
  shortest_ = 128;
  longest_ = 0;
}

void FreeSpace::pieceIs(const Block& piece) {
  pieces_.at(piece.length).push_back(piece.words);
  shortest_ = std::min(shortest_, piece.length);
  longest_ = std::max(longest_, piece.length);
}

Block FreeSpace::take(std::uint8_t length, RandomSource& random) {
  const bool near = random.chance(neighbourly, 32);
  const std::uint8_t from = near ? nearPiece(length, random) : anyPiece(length, random);
  std::vector<IpGenAddr::Words>& pieces = pieces_.at(from);
  if (!near) {
    std::swap(pieces[random.below(static_cast<std::uint32_t>(pieces.size()))], pieces.back());
  }
  Block block{pieces.back(), from};
  pieces.pop_back();
  // One draw is enough for all halvings but those of the deepest IPv6 prefixes, whose last bits
  // come out as zeros.
  std::uint64_t bits = random.next();
  while (block.length < length) {
    const bool upper = (bits & 1U) != 0;
    bits >>= 1U;
    pieceIs(block.half(!upper));
    block = block.half(upper);
  }
  return block;
}

std::uint8_t FreeSpace::smallestPiece(std::uint8_t length) const {
  std::uint8_t from = std::min(length, longest_);
  while (from > shortest_ && pieces_[from].empty()) {
    --from;
  }
  ROUTING_ASSERT(!pieces_[from].empty() && "the plan leaves room for every block");
  return from;
}

std::uint8_t FreeSpace::nearPiece(std::uint8_t length, RandomSource& random) const {
  std::uint8_t from = smallestPiece(length);
  std::uint8_t wider = from;
  while (wider > shortest_ && random.chance(further, 64)) {
    do {
      --wider;
    } while (wider > shortest_ && pieces_[wider].empty());
    from = pieces_[wider].empty() ? from : wider;
  }
  return from;
}

std::uint8_t FreeSpace::anyPiece(std::uint8_t length, RandomSource& random) const {
  std::uint64_t total = 0;
  for (std::uint8_t from = shortest_; from <= std::min(length, longest_); ++from) {
    total += weight(from);
  }
  std::uint64_t drawn = total == 0 ? 0 : random.next() % total;
  for (std::uint8_t from = shortest_; from <= std::min(length, longest_); ++from) {
    if (drawn < weight(from)) {
      return from;
    }
    drawn -= weight(from);
  }
  return smallestPiece(length);
}

std::uint64_t FreeSpace::weight(std::uint8_t length) const noexcept {
  // Pieces 2^40 times smaller than the largest are never hit; a piece count stays below 2^22.
  const unsigned halvings = length - static_cast<unsigned>(shortest_);
  return halvings > 40 ? 0 : static_cast<std::uint64_t>(pieces_[length].size()) << (40 - halvings);
}

}  // namespace Routing
