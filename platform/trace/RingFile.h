#pragma once

// A trace ring's bytes: memory and files that hold them, their header, and a file's bytes as one
// whole.
//
// The ring writes into what mapRingMemory or mapRingFile gave it; the decoder reads what
// readRingFile returns. A file may have any content: its header is checked here, and nothing else
// is.

#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "platform/net/IpGenAddr.h"

namespace Routing {

// A ring's file that cannot be made or read. what() names the file and the reason.
class TraceRingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// So many zero bytes. Ended by unmapRing. Throws: TraceRingError.
char* mapRingMemory(std::size_t size);

// The bytes of a new file of that size that only its owner may read. A file that has the name
// already, such as the ring of a process that crashed, is kept as PATH.old, in the place of an
// older one. Ended by unmapRing, which leaves the file. Throws: TraceRingError, also when something
// other than a regular file has the name.
char* mapRingFile(const String& path, std::size_t size);

void unmapRing(char* bytes, std::size_t size) noexcept;

// The sizes of a ring's two areas.
struct RingSizes {
  std::size_t table = 0;
  std::size_t ring = 0;
};

// Read from the header that the image begins with, and within bounds. Throws: TraceRingError.
RingSizes readRingSizes(std::string_view image);

// The bytes of a file whose writer may be at work, such that everything in use is complete. One
// byte beyond the ring is read if there is one. Throws: TraceRingError.
String readRingFile(const String& path);

}  // namespace Routing
