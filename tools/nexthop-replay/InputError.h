#pragma once

// What is wrong with the input: a word, a line, a file. The message says what, never where; whoever
// reads the input knows where it stands.

#include <stdexcept>

namespace Routing::Replay {

class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Routing::Replay
