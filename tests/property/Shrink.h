#pragma once

// Shrinks a sequence that fails: takes out what it fails without, first in long runs of operations,
// then one by one, until every single one of them is needed.

#include <cstddef>

#include "tests/property/Trial.h"

namespace Routing::Support {

// The sequence fails. What is left fails too, though perhaps in another way.
Verdict shrink(const Verdict& failing);

}  // namespace Routing::Support
