// The completion script, as bash runs it.

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// What bash offers behind these words, one blank between two.
std::string offered(const std::string& words, const std::string& present) {
  const std::string script = "source <(" NEXTHOPCTL
                             " completion bash)\n"
                             "COMP_WORDS=(nexthopctl " +
                             words + " '" + present +
                             "')\n"
                             "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                             "_nexthopctl && echo \"${COMPREPLY[*]}\"";
  ::setenv("SCRIPT", script.c_str(), 1);
  std::FILE* const pipe = ::popen("bash -uc \"$SCRIPT\" 2>&1", "r");
  std::array<char, 4096> buffer{};
  std::string text;
  while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), pipe) != nullptr) {
    text += buffer.data();
  }
  EXPECT_EQ(::pclose(pipe), 0) << text;
  return text.substr(0, text.find('\n'));
}

TEST(BashCompletion, OffersTheCommands) { EXPECT_EQ(offered("", "re"), "resolve register"); }

TEST(BashCompletion, OffersTheCommandsBelowACommand) {
  EXPECT_EQ(offered("show", "v"), "vrfs");
  EXPECT_EQ(offered("--json show", "s"), "sync");
}

TEST(BashCompletion, OffersTheOptionsOfTheCommandAndOfAll) {
  EXPECT_EQ(offered("resolve 10.0.0.1", "--min"), "--min-length");
  EXPECT_EQ(offered("show nexthops", "--js"), "--json");
  EXPECT_EQ(offered("show vrfs", "--client"), "");
}

TEST(BashCompletion, OffersFilesWhereAFileIsAskedFor) {
  EXPECT_EQ(offered("--socket", "/proc/self/statu"), "/proc/self/status");
}

}  // namespace
