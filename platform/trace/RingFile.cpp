#include "platform/trace/RingFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <system_error>
#include <utility>

#include "platform/trace/RingFormat.h"
#include "platform/trace/TraceBytes.h"

namespace Routing {
namespace {

using namespace RingFormat;

[[noreturn]] void fail(const String& subject, int error) {
  throw TraceRingError(subject + ": " + std::generic_category().message(error));
}

// Closes a descriptor at the end of its scope.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) {
      ::close(descriptor_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;
  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

void keepOldFile(const String& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    if (errno != ENOENT) {
      fail(path, errno);
    }
    return;
  }
  if (!S_ISREG(status.st_mode)) {
    throw TraceRingError(path + ": not a regular file");
  }
  if (std::rename(path.c_str(), (path + ".old").c_str()) != 0) {
    fail(path, errno);
  }
}

Descriptor openToRead(const String& path) {
  Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (file.get() < 0 || ::fstat(file.get(), &status) != 0) {
    fail(path, errno);
  }
  if (!S_ISREG(status.st_mode)) {
    throw TraceRingError(path + ": not a regular file");
  }
  return file;
}

// So many bytes from the beginning, or fewer at the file's end. Throws: TraceRingError.
String readBytes(const Descriptor& file, std::size_t size) {
  String bytes(size, '\0');
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count =
        ::pread(file.get(), bytes.data() + done, size - done, static_cast<off_t>(done));
    if (count < 0 && errno != EINTR) {
      throw TraceRingError(std::generic_category().message(errno));
    }
    if (count == 0) {
      break;
    }
    done += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  bytes.resize(done);
  return bytes;
}

std::uint64_t word(std::string_view image, std::size_t offset) {
  return loadLittleEndian<std::uint64_t>(image.data() + offset);
}

bool sizeHolds(std::uint64_t size, std::size_t minimum, std::size_t maximum) {
  return size >= minimum && size <= maximum && size % alignment == 0;
}

// An image in which everything in use is complete, though the writer may be writing: the newest
// position is read before the table's use, which is read before all the rest, and the oldest
// position comes last. Beyond the ring one byte more is read, if there is one: it does not belong.
String readImage(const Descriptor& file) {
  const String first = readBytes(file, headerSize);
  const RingSizes sizes = readRingSizes(first);
  const String second = readBytes(file, headerSize);
  String image = readBytes(file, headerSize + sizes.table + sizes.ring + 1);
  const String last = readBytes(file, headerSize);
  if (image.size() < headerSize || second.size() < headerSize || last.size() < headerSize) {
    throw TraceRingError("file shrank while it was read");
  }
  const std::uint64_t newest = word(first, newestOffset);
  const std::uint64_t oldest = word(last, oldestOffset);
  const bool moved = oldest != word(first, oldestOffset);
  std::memcpy(image.data(), second.data(), headerSize);
  storeLittleEndian(image.data() + newestOffset, newest);
  storeLittleEndian(image.data() + oldestOffset, moved ? std::min(oldest, newest) : oldest);
  return image;
}

}  // namespace

char* mapRingMemory(std::size_t size) {
  void* memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    fail("memory for trace ring", errno);
  }
  return static_cast<char*>(memory);
}

char* mapRingFile(const String& path, std::size_t size) {
  keepOldFile(path);
  const Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (file.get() < 0) {
    fail(path, errno);
  }
  int error = EINTR;
  while (error == EINTR) {
    error = ::posix_fallocate(file.get(), 0, static_cast<off_t>(size));
  }
  void* memory = MAP_FAILED;
  if (error == 0) {
    memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    error = errno;
  }
  if (memory == MAP_FAILED) {
    ::unlink(path.c_str());
    fail(path, error);
  }
  return static_cast<char*>(memory);
}

void unmapRing(char* bytes, std::size_t size) noexcept { ::munmap(bytes, size); }

RingSizes readRingSizes(std::string_view image) {
  if (image.size() < headerSize || !image.starts_with(magic)) {
    throw TraceRingError("not a trace ring");
  }
  if (loadLittleEndian<std::uint32_t>(image.data() + versionOffset) != version) {
    throw TraceRingError("trace ring of a version that is not known");
  }
  const std::uint64_t table = word(image, tableSizeOffset);
  const std::uint64_t ring = word(image, ringSizeOffset);
  const auto sum = loadLittleEndian<std::uint32_t>(image.data() + checkOffset);
  if (sum != check(version, image.substr(tableSizeOffset, 16)) ||
      !sizeHolds(table, minimumTableSize, maximumTableSize) ||
      !sizeHolds(ring, minimumRingSize, maximumRingSize)) {
    throw TraceRingError("header of trace ring is damaged");
  }
  return {table, ring};
}

String readRingFile(const String& path) {
  const Descriptor file = openToRead(path);
  try {
    return readImage(file);
  } catch (const TraceRingError& error) {
    throw TraceRingError(path + ": " + error.what());
  }
}

}  // namespace Routing
