#include "tools/nexthop-demo/Story.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/nexthop-demo/TextTable.h"

namespace Routing {

namespace {

std::vector<std::string> wordsOf(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return words;
}

// What stands after KEY= in one of the words; empty when none has it.
std::string valueOf(const std::vector<std::string>& words, std::string_view key) {
  for (const std::string& word : words) {
    if (word.size() > key.size() && word.starts_with(key) && word[key.size()] == '=') {
      return word.substr(key.size() + 1);
    }
  }
  return "";
}

class Teller {
 public:
  void line(const std::string& line) {
    const auto words = wordsOf(line);
    const std::string first = words.empty() ? "" : words.front();
    if (first == "trace") {
      rememberReason(line);
    } else if (first == "status" && words.size() > 4) {
      status(words);
    } else if (first == "forwarding" && words.size() > 3) {
      flushNexthops();
      identifiers_.add({words[2], valueOf(words, "vias"), ""});
    } else if (first == "via" && words.size() > 1) {
      addVia(via(words));
    } else if (first == "forwarding-del" && words.size() > 2) {
      flushNexthops();
      identifiers_.add({words[2], "withdrawn", ""});
    } else if (first == "timer" && words.size() > 2) {
      flush();
      std::printf("  timer %s: %s\n\n",
                  words[1].c_str(),
                  words[2] == "stopped" ? "stopped" : (words[2] + " s left").c_str());
    } else if (!isBookkeeping(first)) {
      flush();
      std::printf("%s\n\n", line.c_str());
    }
  }
  void flush() {
    flushNexthops();
    if (!identifiers_.empty()) {
      identifiers_.print();
    }
  }

 private:
  static bool isBookkeeping(const std::string& first) {
    static constexpr std::array<std::string_view, 13> kinds{"status-del",
                                                            "status-vrf",
                                                            "status-vrf-del",
                                                            "map",
                                                            "map-del",
                                                            "reference",
                                                            "reference-del",
                                                            "client-reference",
                                                            "client-reference-del",
                                                            "key",
                                                            "key-del",
                                                            "context",
                                                            "task"};
    for (const std::string_view kind : kinds) {
      if (first == kind) {
        return true;
      }
    }
    return false;
  }

  void flushNexthops() {
    if (!nexthops_.empty()) {
      nexthops_.print();
    }
  }

  void status(const std::vector<std::string>& words) {
    if (!identifiers_.empty()) {
      identifiers_.print();
    }
    const std::string& client = words[1];
    const std::string& address = words[3];
    if (words[4] == "resolved") {
      nexthops_.add({client,
                     address,
                     "resolved",
                     valueOf(words, "prefix"),
                     valueOf(words, "fecId"),
                     valueOf(words, "metric"),
                     valueOf(words, "preference"),
                     ""});
    } else {
      nexthops_.add({client, address, "FAILED", "-", "-", "-", "-", reasons_[{client, address}]});
    }
  }

  // The first via stands beside its identifier, the others below.
  void addVia(std::string text) {
    TextTable::Row* const last = identifiers_.lastRow();
    if (last != nullptr && last->back().empty()) {
      last->back() = std::move(text);
    } else {
      identifiers_.add({"", "", std::move(text)});
    }
  }

  static std::string via(const std::vector<std::string>& words) {
    std::string text = words[1];
    for (std::size_t i = 2; i + 1 < words.size(); i += 2) {
      const bool usual = (words[i] == "weight" && words[i + 1] == "1") ||
                         (words[i] == "label" && words[i + 1] == "1048576") ||
                         (words[i] == "action" && words[i + 1] == "0") ||
                         (words[i] == "beyond" && words[i + 1] == "0");
      text += usual ? "" : " " + words[i] + " " + words[i + 1];
    }
    return text;
  }

  // "trace 7 NexthopResolverSm: [VRF:CLIENT] updateNexthopStatus update resolution state for addr
  // ADDR to failed (REASON)"; a switch that fails a family at once names no reason.
  void rememberReason(const std::string& line) {
    const std::size_t colon = line.find(':', line.find('['));
    const std::size_t end = line.find(']', colon);
    const std::size_t failed = line.find(" to failed ");
    if (failed == std::string::npos || end == std::string::npos) {
      return;
    }
    const std::string client = line.substr(colon + 1, end - colon - 1);
    const std::size_t before = line.rfind(' ', failed - 1);
    const std::string address = line.substr(before + 1, failed - before - 1);
    std::string reason = line.substr(failed + std::strlen(" to failed "));
    if (reason.starts_with('(')) {
      reason = reason.substr(1, reason.find_last_of(')') - 1);
    }
    if (reason == "no route for prefix -") {
      reason = "no route";
    }
    reasons_[{client, address}] = reason.empty() ? "routing is disabled" : reason;
  }

  TextTable nexthops_{
      {"CLIENT", "NEXTHOP", "STATE", "THROUGH", "IDENTIFIER", "METRIC", "PREF", "WHY"}};
  TextTable identifiers_{{"IDENTIFIER", "VIAS", "VIA"}};
  std::map<std::pair<std::string, std::string>, std::string> reasons_;
};

// nexthop-replay with its output in a pipe.
class ReplayProcess {
 public:
  ReplayProcess(const std::string& program, const std::string& file) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
      std::perror("pipe");
      return;
    }
    child_ = ::fork();
    if (child_ == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      ::close(ends[0]);
      ::close(ends[1]);
      ::execl(program.c_str(), program.c_str(), file.c_str(), nullptr);
      std::perror(program.c_str());
      ::_exit(127);
    }
    ::close(ends[1]);
    output_ = ::fdopen(ends[0], "r");
  }
  ReplayProcess(const ReplayProcess&) = delete;
  ReplayProcess& operator=(const ReplayProcess&) = delete;
  ~ReplayProcess() {
    if (output_ != nullptr) {
      std::fclose(output_);
    }
  }

  template <class Handler>
  void eachLine(Handler handler) {
    std::string line;
    for (int c = output_ == nullptr ? EOF : std::fgetc(output_); c != EOF;
         c = std::fgetc(output_)) {
      if (c == '\n') {
        handler(std::exchange(line, {}));
      } else {
        line += static_cast<char>(c);
      }
    }
  }
  bool succeeded() const {
    int status = 0;
    return child_ > 0 && ::waitpid(child_, &status, 0) == child_ && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
  }

 private:
  pid_t child_ = -1;
  std::FILE* output_ = nullptr;
};

}  // namespace

bool tellStory(const std::string& replayProgram, const std::string& file) {
  std::fflush(stdout);
  ReplayProcess replay(replayProgram, file);
  Teller teller;
  replay.eachLine([&](const std::string& line) { teller.line(line); });
  teller.flush();
  std::fflush(stdout);
  return replay.succeeded();
}

}  // namespace Routing
