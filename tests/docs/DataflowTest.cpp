// docs/dataflow.md stays true: its table of dispatch functions is what the sources say.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

const std::string root = NEXTHOP_SOURCE_DIR;

std::string contentOf(const std::string& path) {
  std::ifstream file(root + "/" + path);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// "MACHINE FUNCTION ATTRIBUTE HANDLER", one for each dispatch function of the sources.
std::set<std::string> dispatchesOfTheSources() {
  const std::regex function(
      R"(void ([\w<>]+)::(\w+Dispatch|onAttribute)\(FieldId[^{]*\{([^]*?)\n\})");
  const std::regex attribute(R"(field == ([\w:]+Field))");
  const std::regex handler(R"((handle\w+|cleanupNhResVrfFs)\()");
  std::set<std::string> found;
  for (const char* source : {"resolver/NexthopResolverManagerSm.cpp",
                             "resolver/NexthopResolverSm.cpp",
                             "resolver/NexthopResolverFibViaSm.cpp"}) {
    const std::string text = contentOf(source);
    for (std::sregex_iterator at(text.begin(), text.end(), function), end; at != end; ++at) {
      const std::string body = (*at)[3];
      std::smatch filter;
      std::smatch call;
      EXPECT_TRUE(std::regex_search(body, filter, attribute)) << (*at)[2];
      EXPECT_TRUE(std::regex_search(body, call, handler)) << (*at)[2];
      found.insert((*at)[1].str() + " " + (*at)[2].str() + " " + filter[1].str() + " " +
                   call[1].str());
    }
  }
  return found;
}

// The same of the rows of the document's last table.
std::set<std::string> dispatchesOfTheDocument() {
  const std::string text = contentOf("docs/dataflow.md");
  std::istringstream table(text.substr(text.find("## Dispatch")));
  const std::regex row(R"(\| `([^`]+)` \| `([^`]+)` \| `([^`]+)` \| `([^`]+)` \|)");
  std::set<std::string> found;
  for (std::string line; std::getline(table, line);) {
    std::smatch cells;
    if (std::regex_match(line, cells, row)) {
      found.insert(cells[1].str() + " " + cells[2].str() + " " + cells[3].str() + " " +
                   cells[4].str());
    }
  }
  return found;
}

TEST(Dataflow, TheTableOfDispatchFunctionsIsWhatTheSourcesSay) {
  const std::set<std::string> sources = dispatchesOfTheSources();
  EXPECT_EQ(sources, dispatchesOfTheDocument());
  EXPECT_EQ(sources.size(), 14U);
}

TEST(Dataflow, EveryHandlerIsNamedInTheTableOfSharedObjects) {
  const std::string text = contentOf("docs/dataflow.md");
  const std::string objects = text.substr(0, text.find("## Dispatch"));
  for (const std::string& dispatch : dispatchesOfTheSources()) {
    const std::string handler = dispatch.substr(dispatch.rfind(' ') + 1);
    EXPECT_NE(objects.find("`" + handler + "`"), std::string::npos) << handler;
  }
}

}  // namespace
