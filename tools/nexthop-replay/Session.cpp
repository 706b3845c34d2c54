#include "tools/nexthop-replay/Session.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>

#include "platform/trace/TraceFacility.h"
#include "tools/nexthop-replay/Arguments.h"
#include "tools/nexthop-replay/Commands.h"
#include "tools/nexthop-replay/InputError.h"

namespace Routing::Replay {

namespace {

Line traceLine(const TraceMessage& message) {
  Line line("trace");
  line.number("level", static_cast<std::uint64_t>(message.level));
  line.word("facility", message.facility).word("message", message.text);
  String text = "trace ";
  appendTraceLine(text, message, TraceTime::hidden);
  text.pop_back();
  return line.textIs(text);
}

}  // namespace

Session::Session(Output& output)
    : output_(output),
      watch_(output),
      world_(std::make_unique<World>(output, watch_)),
      runner_(std::make_unique<Runner>(world_->scheduler(), world_->clock(), stats_)),
      traceSink_([this](const TraceMessage& message) { print(traceLine(message)); }) {}

Session::~Session() { drop(); }

ExitCode Session::run(const std::vector<String>& files) {
  std::optional<ExitCode> end;
  for (std::size_t index = 0; index < files.size() && !end; ++index) {
    end = runFile(files[index]);
  }
  reader_ = nullptr;
  drop();
  if (end) {
    return *end;
  }
  return anyExpectationFailed_ ? ExitCode::expectationFailed : ExitCode::good;
}

void Session::drop() {
  traceLevelsAre(noTraceLevels);
  watch_.onIs(false);
  output_.mutedIs(true);
  runner_ = nullptr;
  world_ = nullptr;
  output_.mutedIs(false);
}

std::optional<ExitCode> Session::runFile(const String& file) {
  file_ = file;
  reader_ = nullptr;
  try {
    reader_ = std::make_unique<Reader>(file, [this] { output_.flush(); });
    while (const std::optional<std::string_view> line = reader_->next()) {
      if (const std::optional<ExitCode> end = runLine(*line)) {
        return end;
      }
    }
  } catch (const InputError& error) {
    report("error", error.what());
    return ExitCode::badInput;
  }
  return std::nullopt;
}

std::optional<ExitCode> Session::runLine(std::string_view line) {
  splitWords(line, words_);
  if (words_.empty()) {
    return std::nullopt;
  }
  stats_.countCommand();
  try {
    Arguments arguments(words_, line);
    findCommand(words_.front()).run(*this, arguments);
  } catch (const InputError& error) {
    report("error", error.what());
    return ExitCode::badInput;
  } catch (const std::exception& error) {
    report("exception", error.what());
    return ExitCode::exception;
  } catch (...) {
    report("exception", "of an unknown type");
    return ExitCode::exception;
  }
  return std::nullopt;
}

void Session::report(std::string_view kind, std::string_view message) {
  output_.flush();
  String text = file_ + ':' + std::to_string(reader_ ? reader_->line() : 0) + ": ";
  text.append(kind).append(": ").append(message).append("\n");
  std::fwrite(text.data(), 1, text.size(), stderr);
}

String Session::folder() const {
  const std::size_t slash = file_.rfind('/');
  return slash == String::npos ? String() : file_.substr(0, slash + 1);
}

void Session::traceLevelsAre(TraceLevelMask levels) {
  TraceFacility::allTextLevelsAre(levels);
  traceSink_.attachedIs(levels != noTraceLevels);
}

void Session::watchIs(bool on) {
  watch_.onIs(on);
  if (on) {
    world_->attachAll();
  }
}

void Session::show(const std::vector<Line>& lines) {
  std::vector<String>& shown = shown_.emplace();
  for (const Line& line : lines) {
    print(line);
    const String text = line.text();
    for (std::size_t at = 0; at <= text.size();) {
      const std::size_t end = std::min(text.find('\n', at), text.size());
      shown.emplace_back(trimmed(std::string_view(text).substr(at, end - at)));
      at = end + 1;
    }
  }
}

void Session::expect(std::string_view line) {
  const std::string_view wanted = trimmed(line);
  if (!shown_ || std::find(shown_->begin(), shown_->end(), wanted) == shown_->end()) {
    expectationFailed(wanted);
  }
}

void Session::expectNone() {
  if (!shown_) {
    expectationFailed("nothing, but nothing was shown yet");
  } else if (!shown_->empty()) {
    expectationFailed("nothing, but the last show printed " + std::to_string(shown_->size()) +
                      (shown_->size() == 1 ? " line" : " lines"));
  }
}

void Session::expectationFailed(std::string_view message) {
  anyExpectationFailed_ = true;
  report("expected", message);
}

}  // namespace Routing::Replay
