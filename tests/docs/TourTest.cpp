// docs/tour.md stays true: what it quotes stands in the story that it follows or in its output.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

const std::string root = NEXTHOP_SOURCE_DIR;

std::string contentOf(const std::string& path) {
  std::ifstream file(root + "/" + path);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The page's indented blocks, without their indentation.
std::vector<std::string> quotesOfThePage() {
  std::istringstream page(contentOf("docs/tour.md"));
  std::vector<std::string> quotes;
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    const bool quoted = line.starts_with("    ");
    if (quoted && !inside) {
      quotes.emplace_back("\n");
    }
    if (quoted) {
      quotes.back() += line.substr(4) + "\n";
    }
    inside = quoted;
  }
  return quotes;
}

TEST(Tour, QuotesTheStoryAndItsOutputLineByLineAndInOrder) {
  const std::string story = "\n" + contentOf("tests/replay/tour.replay");
  const std::string output = "\n" + contentOf("tests/replay/tour.expected");
  std::size_t storyAt = 0;
  std::size_t outputAt = 0;
  int commands = 0;
  int lines = 0;
  for (const std::string& quote : quotesOfThePage()) {
    // A quote's last newline is the first of what may follow it.
    if (const std::size_t at = story.find(quote, storyAt); at != std::string::npos) {
      storyAt = at + quote.size() - 1;
      ++commands;
    } else if (const std::size_t found = output.find(quote, outputAt); found != std::string::npos) {
      outputAt = found + quote.size() - 1;
      ++lines;
    } else {
      ADD_FAILURE() << "in neither, after what was quoted before:" << quote;
    }
  }
  EXPECT_GE(commands, 5);
  EXPECT_GE(lines, 10);
}

TEST(Tour, NamesOnlyOperationsThatTheSourcesDefine) {
  std::string sources;
  for (const char* source : {"resolver/NexthopResolverManagerSm.cpp",
                             "resolver/NexthopResolverSm.cpp",
                             "resolver/NexthopResolverFibViaSm.cpp",
                             "resolver/NexthopResolverLocal.cpp"}) {
    sources += contentOf(source);
  }
  const std::string page = contentOf("docs/tour.md");
  const std::regex name(R"(`([a-z]+[A-Z0-9]\w*)`)");
  int named = 0;
  for (std::sregex_iterator at(page.begin(), page.end(), name), end; at != end; ++at) {
    const std::string operation = (*at)[1];
    EXPECT_TRUE(sources.find("::" + operation + "(") != std::string::npos ||
                sources.find("\nvoid " + operation + "(") != std::string::npos)
        << operation;
    ++named;
  }
  EXPECT_GE(named, 12);
}

}  // namespace
