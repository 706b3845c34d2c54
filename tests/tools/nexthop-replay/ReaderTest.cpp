#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/tools/nexthop-replay/ReplayFixture.h"
#include "tools/nexthop-replay/InputError.h"
#include "tools/nexthop-replay/Reader.h"

namespace Routing::Replay {
namespace {

class ReaderOfFile : public ReplayFixture {
 protected:
  std::vector<std::string> linesOf(const std::string& text) const {
    Reader reader(write("file", text), [] {});
    std::vector<std::string> lines;
    while (const auto line = reader.next()) {
      lines.emplace_back(*line);
      EXPECT_EQ(reader.line(), lines.size());
    }
    return lines;
  }
};

TEST_F(ReaderOfFile, LinesComeWithoutTheirEnds) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(linesOf(""), Lines{});
  EXPECT_EQ(linesOf("\n"), (Lines{""}));
  EXPECT_EQ(linesOf("one"), (Lines{"one"}));
  EXPECT_EQ(linesOf("one\n\ntwo\n"), (Lines{"one", "", "two"}));
  EXPECT_EQ(linesOf("one\r\ntwo\r"), (Lines{"one", "two"}));
}

TEST_F(ReaderOfFile, LinesLongerThanABlockAndAcrossBlocksAreWhole) {
  const std::string longLine(200'000, 'x');
  std::string text;
  std::vector<std::string> expected;
  for (int index = 0; index < 20'000; ++index) {
    expected.push_back("line " + std::to_string(index));
    text += expected.back() + '\n';
  }
  expected.push_back(longLine);
  EXPECT_EQ(linesOf(text + longLine), expected);
}

TEST(Utf8, WellFormedTextIsAccepted) {
  for (const std::string_view text : {"",
                                      "ascii",
                                      "\xc2\x80\xdf\xbf",
                                      "\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf",
                                      "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"}) {
    EXPECT_TRUE(isUtf8(text)) << text;
  }
}

TEST(Utf8, MalformedTextIsNot) {
  for (const std::string_view text : {"\x80",
                                      "\xc2",
                                      "\xc1\xbf",
                                      "\xc2\x41",
                                      "\xe0\x9f\xbf",
                                      "\xed\xa0\x80",
                                      "\xe2\x82",
                                      "\xf0\x8f\xbf\xbf",
                                      "\xf4\x90\x80\x80",
                                      "\xf5\x80\x80\x80",
                                      "\xff",
                                      "\xe2\x82\x41"}) {
    EXPECT_FALSE(isUtf8(text)) << text;
  }
}

TEST(Words, BlanksSeparateAndACommentEnds) {
  struct Row {
    const char* line;
    std::vector<std::string_view> words;
  };
  const Row rows[] = {
      {"", {}},
      {"  \t ", {}},
      {"# all comment", {}},
      {"one", {"one"}},
      {"  one\ttwo   three ", {"one", "two", "three"}},
      {"one two # three", {"one", "two"}},
      {"one two#three", {"one", "two"}},
  };
  std::vector<std::string_view> words;
  for (const Row& row : rows) {
    splitWords(row.line, words);
    EXPECT_EQ(words, row.words) << row.line;
  }
}

TEST(Words, TrimmingTakesBlanksAtBothEnds) {
  EXPECT_EQ(trimmed(""), "");
  EXPECT_EQ(trimmed(" \t "), "");
  EXPECT_EQ(trimmed("  one two\t"), "one two");
}

}  // namespace
}  // namespace Routing::Replay
