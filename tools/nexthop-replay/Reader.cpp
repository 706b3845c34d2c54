#include "tools/nexthop-replay/Reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "tools/nexthop-replay/InputError.h"

namespace Routing::Replay {

namespace {

constexpr std::size_t blockSize = std::size_t{64} * 1024;
constexpr std::string_view blanks = " \t";

InputError systemError(const char* what) {
  return InputError(String(what) + ": " + std::strerror(errno));
}

}  // namespace

Reader::Reader(const String& file, std::function<void()> beforeRead)
    : beforeRead_(std::move(beforeRead)) {
  if (file != "-") {
    descriptor_ = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) {
      throw systemError("cannot open");
    }
  }
}

Reader::~Reader() {
  if (descriptor_ > 0) {
    ::close(descriptor_);
  }
}

std::optional<std::string_view> Reader::next() {
  ++line_;
  std::size_t searched = 0;
  const char* newline = nullptr;
  while (newline == nullptr) {
    const char* const from = buffer_.data() + begin_ + searched;
    const std::size_t unsearched = end_ - begin_ - searched;
    if (unsearched != 0) {
      newline = static_cast<const char*>(std::memchr(from, '\n', unsearched));
    }
    searched = end_ - begin_;
    if (newline == nullptr && !fill()) {
      break;
    }
  }
  if (newline == nullptr && begin_ == end_) {
    return std::nullopt;
  }
  const char* const start = buffer_.data() + begin_;
  const std::size_t size =
      newline != nullptr ? static_cast<std::size_t>(newline - start) : end_ - begin_;
  begin_ += newline != nullptr ? size + 1 : size;
  std::string_view line(start, size);
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  if (!isUtf8(line)) {
    throw InputError("not UTF-8");
  }
  return line;
}

bool Reader::fill() {
  std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(begin_),
            buffer_.begin() + static_cast<std::ptrdiff_t>(end_),
            buffer_.begin());
  end_ -= begin_;
  begin_ = 0;
  buffer_.resize(std::max(buffer_.size(), end_ + blockSize));
  beforeRead_();
  for (;;) {
    const ssize_t count = ::read(descriptor_, buffer_.data() + end_, buffer_.size() - end_);
    if (count >= 0) {
      end_ += static_cast<std::size_t>(count);
      return count != 0;
    }
    if (errno != EINTR) {
      throw systemError("cannot read");
    }
  }
}

namespace {

// What a lead byte says of its sequence: its length, 0 for a byte that leads none, and the range of
// the second byte, which rules out overlong forms, surrogates and what is beyond U+10FFFF.
struct Utf8Lead {
  std::size_t length;
  unsigned char least;
  unsigned char most;
};

constexpr Utf8Lead utf8Lead(unsigned char byte) noexcept {
  if (byte < 0x80) {
    return {1, 0, 0};
  }
  if (byte < 0xc2 || byte > 0xf4) {
    return {0, 0, 0};
  }
  if (byte < 0xe0) {
    return {2, 0x80, 0xbf};
  }
  if (byte < 0xf0) {
    return {3,
            static_cast<unsigned char>(byte == 0xe0 ? 0xa0 : 0x80),
            static_cast<unsigned char>(byte == 0xed ? 0x9f : 0xbf)};
  }
  return {4,
          static_cast<unsigned char>(byte == 0xf0 ? 0x90 : 0x80),
          static_cast<unsigned char>(byte == 0xf4 ? 0x8f : 0xbf)};
}

}  // namespace

bool isUtf8(std::string_view text) noexcept {
  const auto byteAt = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  std::size_t at = 0;
  while (at < text.size()) {
    const Utf8Lead lead = utf8Lead(byteAt(at));
    if (lead.length == 0 || text.size() - at < lead.length) {
      return false;
    }
    for (std::size_t offset = 1; offset < lead.length; ++offset) {
      const unsigned char least = offset == 1 ? lead.least : 0x80;
      const unsigned char most = offset == 1 ? lead.most : 0xbf;
      if (byteAt(at + offset) < least || byteAt(at + offset) > most) {
        return false;
      }
    }
    at += lead.length;
  }
  return true;
}

void splitWords(std::string_view line, std::vector<std::string_view>& words) {
  words.clear();
  const std::string_view text = withoutComment(line);
  std::size_t at = text.find_first_not_of(blanks);
  while (at != std::string_view::npos) {
    const std::size_t end = std::min(text.find_first_of(blanks, at), text.size());
    words.push_back(text.substr(at, end - at));
    at = text.find_first_not_of(blanks, end);
  }
}

std::string_view withoutComment(std::string_view line) noexcept {
  return line.substr(0, line.find('#'));
}

std::string_view trimmed(std::string_view text) noexcept {
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace Routing::Replay
