#include "tests/property/Shrink.h"

#include <algorithm>

namespace Routing::Support {

namespace {

Sequence without(const Sequence& sequence, std::size_t from, std::size_t count) {
  Sequence rest(sequence.begin(), sequence.begin() + static_cast<std::ptrdiff_t>(from));
  const std::size_t end = std::min(from + count, sequence.size());
  rest.insert(rest.end(), sequence.begin() + static_cast<std::ptrdiff_t>(end), sequence.end());
  return rest;
}

// Takes out what it can in runs of that length. True when it took out anything.
bool shrinkBy(Verdict& smallest, std::size_t length) {
  bool shrunk = false;
  for (std::size_t from = 0; from < smallest.done.size();) {
    Verdict verdict = judgeApart(without(smallest.done, from, length));
    if (verdict.failure.empty()) {
      from += length;
    } else {
      smallest = std::move(verdict);
      shrunk = true;
    }
  }
  return shrunk;
}

}  // namespace

Verdict shrink(const Verdict& failing) {
  Verdict smallest = failing;
  for (std::size_t length = std::max<std::size_t>(1, failing.done.size() / 2); length > 1;
       length /= 2) {
    shrinkBy(smallest, length);
  }
  while (shrinkBy(smallest, 1)) {
  }
  return smallest;
}

}  // namespace Routing::Support
