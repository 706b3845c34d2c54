// docs/notifications.md stays true: the tests that it names exist.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;
const fs::path root = NEXTHOP_SOURCE_DIR;

std::string contentOf(const fs::path& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// "SUITE.NAME" of every test of the folder.
std::set<std::string> testsIn(const fs::path& folder) {
  const std::regex declaration(R"(TEST(?:_F|_P)?\((\w+),\s*(\w+)\))");
  std::set<std::string> tests;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() != ".cpp") {
      continue;
    }
    const std::string text = contentOf(entry.path());
    for (std::sregex_iterator at(text.begin(), text.end(), declaration), end; at != end; ++at) {
      tests.insert((*at)[1].str() + "." + (*at)[2].str());
    }
  }
  return tests;
}

TEST(Notifications, EveryTestThatTheDocumentNamesExists) {
  const std::set<std::string> tests = testsIn(root / "tests");
  const std::string text = contentOf(root / "docs/notifications.md");
  const std::regex name(R"(`(\w+\.\w+)`)");
  int named = 0;
  for (std::sregex_iterator at(text.begin(), text.end(), name), end; at != end; ++at) {
    EXPECT_TRUE(tests.contains((*at)[1])) << (*at)[1];
    ++named;
  }
  EXPECT_GT(named, 30);
}

}  // namespace
