#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tools/support/PrefixFile.h"

namespace Routing {
namespace {

class PrefixFileTest : public testing::Test {
 public:
  PrefixFileTest(const PrefixFileTest&) = delete;
  PrefixFileTest& operator=(const PrefixFileTest&) = delete;

 protected:
  PrefixFileTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "prefixes-XXXXXX").string();
    directory_ = mkdtemp(pattern.data());
  }
  ~PrefixFileTest() override { std::filesystem::remove_all(directory_); }

  std::string path() const { return directory_ + "/table"; }

  std::string plain(const std::string& text) const {
    std::ofstream(path(), std::ios::binary) << text;
    return path();
  }

  std::string gzip(const std::string& text) const {
    gzFile_s* const file = gzopen(path().c_str(), "wb");
    EXPECT_EQ(gzwrite(file, text.data(), static_cast<unsigned>(text.size())),
              static_cast<int>(text.size()));
    EXPECT_EQ(gzclose(file), Z_OK);
    return path();
  }

  // The error that reading the file ends with, after so many prefixes; empty when it ends well.
  static String errorAfter(const std::string& path, std::size_t prefixes) {
    PrefixFile file(path);
    try {
      for (std::size_t count = 0; file.next(); ++count) {
        EXPECT_LT(count, prefixes);
      }
      return {};
    } catch (const PrefixFileError& error) {
      return error.what();
    }
  }

 private:
  std::string directory_;
};

std::vector<IpGenPrefix> prefixes(std::initializer_list<const char*> texts) {
  std::vector<IpGenPrefix> result;
  for (const char* text : texts) {
    result.push_back(IpGenPrefix::parse(text).value());
  }
  return result;
}

// Enough for several blocks of the reader.
std::string longTable() {
  std::string text;
  for (int number = 0; number < 50'000; ++number) {
    text += "20." + std::to_string(number / 256) + '.' + std::to_string(number % 256) + ".0/24\n";
  }
  return text;
}

TEST_F(PrefixFileTest, ReadsOnePrefixALineInTheOrderOfTheFile) {
  EXPECT_EQ(readTable(plain("30.0.0.0/8\n20.0.0.0/8\n2400::/12\n30.0.0.0/8\n")),
            prefixes({"30.0.0.0/8", "20.0.0.0/8", "2400::/12", "30.0.0.0/8"}));
}

TEST_F(PrefixFileTest, CommentsBlanksAndEmptyLinesDoNotCount) {
  EXPECT_EQ(readTable(plain("# a table\n\n \t\n20.0.0.0/8 # the first\r\n\t 30.0.0.0/8\r\n#\n")),
            prefixes({"20.0.0.0/8", "30.0.0.0/8"}));
}

TEST_F(PrefixFileTest, TheLastLineNeedsNoEnd) {
  EXPECT_EQ(readTable(plain("20.0.0.0/8\n30.0.0.0/8")), prefixes({"20.0.0.0/8", "30.0.0.0/8"}));
}

TEST_F(PrefixFileTest, HostBitsAreCleared) {
  EXPECT_EQ(readTable(plain("20.1.2.3/8\n")), prefixes({"20.0.0.0/8"}));
}

TEST_F(PrefixFileTest, AnEmptyFileIsAnEmptyTable) { EXPECT_TRUE(readTable(plain("")).empty()); }

TEST_F(PrefixFileTest, GzipReadsAsThePlainFileDoes) {
  const std::vector<IpGenPrefix> fromPlain = readTable(plain(longTable()));
  EXPECT_EQ(fromPlain.size(), 50'000U);
  EXPECT_EQ(readTable(gzip(longTable())), fromPlain);
}

TEST_F(PrefixFileTest, LineNumbersCountEveryLine) {
  PrefixFile file(plain("\n# comment\n20.0.0.0/8\n\n30.0.0.0/8\n"));
  EXPECT_EQ(file.line(), 0U);
  file.next();
  EXPECT_EQ(file.line(), 3U);
  file.next();
  EXPECT_EQ(file.line(), 5U);
}

TEST_F(PrefixFileTest, EachBadLineIsNamed) {
  struct Row {
    const char* name;
    const char* text;
    const char* message;
  };
  const Row rows[] = {
      {"no length", "20.0.0.0", "not a prefix: \"20.0.0.0\""},
      {"length too large", "20.0.0.0/33", "not a prefix: \"20.0.0.0/33\""},
      {"two words", "20.0.0.0/8 10", "not a prefix: \"20.0.0.0/8 10\""},
      {"empty prefix", "-", "not a prefix: \"-\""},
      {"control bytes", "\x01\x80\x7f", "not a prefix: \"???\""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string text = std::string("# head\n30.0.0.0/8\n") + row.text + "\n40.0.0.0/8\n";
    EXPECT_EQ(errorAfter(plain(text), 1), path() + ":3: error: " + row.message);
  }
}

TEST_F(PrefixFileTest, ALongBadLineIsQuotedInPart) {
  EXPECT_EQ(errorAfter(plain(std::string(100, 'x')), 0),
            path() + ":1: error: not a prefix: \"" + std::string(60, 'x') + "...\"");
}

TEST_F(PrefixFileTest, ReadingGoesOnAfterABadLine) {
  PrefixFile file(plain("20.0.0.0/8\nrubbish\n30.0.0.0/8\n"));
  EXPECT_EQ(file.next(), prefixes({"20.0.0.0/8"})[0]);
  EXPECT_THROW(file.next(), PrefixFileError);
  EXPECT_EQ(file.next(), prefixes({"30.0.0.0/8"})[0]);
  EXPECT_EQ(file.next(), std::nullopt);
}

TEST_F(PrefixFileTest, AnErrorTellsFileLineAndReason) {
  try {
    readTable(plain("20.0.0.0/8\nrubbish\n"));
    FAIL() << "no error";
  } catch (const PrefixFileError& error) {
    EXPECT_EQ(error.path(), path());
    EXPECT_EQ(error.line(), 2U);
    EXPECT_EQ(error.reason(), "not a prefix: \"rubbish\"");
  }
}

TEST_F(PrefixFileTest, ALineLongerThanTheBlockIsAnError) {
  EXPECT_EQ(errorAfter(plain("20.0.0.0/8\n" + std::string(200'000, ' ')), 1),
            path() + ":2: error: line too long");
}

TEST_F(PrefixFileTest, AMissingFileIsAnError) {
  try {
    readTable(path());
    FAIL() << "no error";
  } catch (const PrefixFileError& error) {
    EXPECT_EQ(error.what(), path() + ": error: cannot open: No such file or directory");
    EXPECT_EQ(error.line(), 0U);
  }
}

TEST_F(PrefixFileTest, ADirectoryIsAnError) {
  const std::string directory = std::filesystem::path(path()).parent_path().string();
  EXPECT_EQ(errorAfter(directory, 0), directory + ": error: cannot read: Is a directory");
}

TEST_F(PrefixFileTest, AGzipFileCutShortIsAnErrorAfterWhatCameBefore) {
  gzip(longTable());
  std::filesystem::resize_file(path(), std::filesystem::file_size(path()) / 2);
  PrefixFile file(path());
  std::size_t prefixes = 0;
  try {
    while (file.next()) {
      ++prefixes;
    }
    FAIL() << "no error";
  } catch (const PrefixFileError& error) {
    EXPECT_EQ(error.reason(), "cannot read: unexpected end of file");
    EXPECT_EQ(error.line(), prefixes);
    EXPECT_GT(prefixes, 10'000U);
  }
}

TEST_F(PrefixFileTest, AGzipFileWithAWrongChecksumIsAnError) {
  gzip("20.0.0.0/8\n30.0.0.0/8\n");
  std::fstream stream(path(), std::ios::binary | std::ios::in | std::ios::out);
  stream.seekp(-8, std::ios::end);
  stream << "none";
  stream.close();
  EXPECT_EQ(errorAfter(path(), 2), path() + ": error: cannot read: incorrect data check");
}

}  // namespace
}  // namespace Routing
