#include "platform/entity/ValueParser.h"

#include <algorithm>

namespace Routing {

std::optional<bool> ValueParser<bool>::parse(std::string_view text) {
  if (text == "true") {
    return true;
  }
  if (text == "false") {
    return false;
  }
  return std::nullopt;
}

void StrepReader::separator(std::string_view next) {
  if (position_ >= text_.size() || text_[position_] != ' ') {
    throw DeserialisationError(type_, next, position_);
  }
  ++position_;
}

void StrepReader::end() const {
  if (position_ != text_.size()) {
    throw DeserialisationError(type_, "", position_);
  }
}

std::string StrepReader::attributeText(std::string_view name) {
  const std::string_view rest = text_.substr(position_);
  if (!rest.starts_with(name) || rest.size() == name.size() || rest[name.size()] != '=') {
    throw DeserialisationError(type_, name, position_);
  }
  position_ += name.size() + 1;
  if (position_ < text_.size() && text_[position_] == '"') {
    return quotedText(name);
  }
  const std::size_t begin = position_;
  position_ = std::min(text_.find(' ', begin), text_.size());
  return std::string(text_.substr(begin, position_ - begin));
}

std::string StrepReader::quotedText(std::string_view name) {
  std::string value;
  std::size_t at = position_ + 1;
  while (at < text_.size() && text_[at] != '"') {
    if (text_[at] == '\\') {
      ++at;
    }
    if (at < text_.size()) {
      value += text_[at];
    }
    ++at;
  }
  if (at >= text_.size()) {
    throw DeserialisationError(type_, name, position_);
  }
  position_ = at + 1;
  return value;
}

}  // namespace Routing
