#include "tools/support/PrefixFile.h"

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace Routing {
namespace {

// Also the longest line that is taken; the longest prefix in text has 43 characters.
constexpr std::size_t bufferSize = std::size_t{64} * 1024;
constexpr std::size_t quotedLength = 60;

String errorText(const String& path, std::size_t line, const String& reason) {
  const String place = line == 0 ? path : path + ":" + std::to_string(line);
  return place + ": error: " + reason;
}

// The text as it may stand in a message: one line, not too long.
String quoted(std::string_view text) {
  String result(text.substr(0, quotedLength));
  std::ranges::replace_if(
      result,
      [](char character) { return character < ' ' || character > '~'; },
      '?');
  return '"' + result + (text.size() > quotedLength ? "...\"" : "\"");
}

std::string_view withoutComment(std::string_view line) {
  constexpr std::string_view blanks = " \t\r\v\f";
  line = line.substr(0, line.find('#'));
  const std::size_t first = line.find_first_not_of(blanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return line.substr(first, line.find_last_not_of(blanks) - first + 1);
}

gzFile openStream(const String& path) {
  if (path != "-") {
    return gzopen(path.c_str(), "rb");
  }
  // Closing the stream must not close standard input.
  const int descriptor = dup(STDIN_FILENO);
  if (descriptor < 0) {
    return nullptr;
  }
  gzFile_s* const file = gzdopen(descriptor, "rb");
  if (file == nullptr) {
    close(descriptor);
  }
  return file;
}

}  // namespace

struct PrefixFile::Stream {
  gzFile file;

  explicit Stream(gzFile opened) : file(opened) {}
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() { gzclose_r(file); }

  // Empty when nothing went wrong.
  String error() const {
    int code = Z_OK;
    const char* const message = gzerror(file, &code);
    if (code == Z_OK || code == Z_STREAM_END) {
      return {};
    }
    if (code == Z_ERRNO) {
      return std::strerror(errno);
    }
    // The library puts the path in front.
    const String text = message;
    const std::size_t colon = text.rfind(": ");
    return colon == String::npos ? text : text.substr(colon + 2);
  }
};

PrefixFileError::PrefixFileError(String path, std::size_t line, String reason)
    : std::runtime_error(errorText(path, line, reason)),
      path_(std::move(path)),
      line_(line),
      reason_(std::move(reason)) {}

PrefixFile::PrefixFile(String path) : path_(std::move(path)), buffer_(bufferSize) {
  errno = 0;
  gzFile_s* const file = openStream(path_);
  if (file == nullptr) {
    throw PrefixFileError(
        path_,
        0,
        String("cannot open: ") + (errno == 0 ? "out of memory" : std::strerror(errno)));
  }
  stream_ = std::make_unique<Stream>(file);
}

PrefixFile::~PrefixFile() = default;

std::optional<IpGenPrefix> PrefixFile::next() {
  while (const std::optional<std::string_view> line = nextLine()) {
    const std::string_view text = withoutComment(*line);
    if (text.empty()) {
      continue;
    }
    const std::optional<IpGenPrefix> prefix = IpGenPrefix::parse(text);
    // The empty prefix has a text form too, but is no prefix of a table.
    if (!prefix || !*prefix) {
      throw PrefixFileError(path_, line_, "not a prefix: " + quoted(text));
    }
    return prefix;
  }
  return std::nullopt;
}

std::optional<std::string_view> PrefixFile::nextLine() {
  std::size_t end = unread_.find('\n');
  while (end == std::string_view::npos && fill()) {
    end = unread_.find('\n');
  }
  if (unread_.empty()) {
    return std::nullopt;
  }
  ++line_;
  const std::string_view line = unread_.substr(0, end);
  unread_.remove_prefix(end == std::string_view::npos ? unread_.size() : end + 1);
  return line;
}

bool PrefixFile::fill() {
  const std::size_t left = unread_.size();
  if (left == buffer_.size()) {
    throw PrefixFileError(path_, line_ + 1, "line too long");
  }
  std::ranges::copy(unread_, buffer_.begin());
  unread_ = {buffer_.data(), left};
  errno = 0;
  const int count =
      gzread(stream_->file, buffer_.data() + left, static_cast<unsigned>(buffer_.size() - left));
  if (count <= 0) {
    const String error = stream_->error();
    if (!error.empty()) {
      throw PrefixFileError(path_, line_, "cannot read: " + error);
    }
    return false;
  }
  unread_ = {buffer_.data(), left + static_cast<std::size_t>(count)};
  return true;
}

std::vector<IpGenPrefix> readTable(const String& path) {
  PrefixFile file(path);
  std::vector<IpGenPrefix> table;
  while (const std::optional<IpGenPrefix> prefix = file.next()) {
    table.push_back(*prefix);
  }
  return table;
}

}  // namespace Routing
