#include <gtest/gtest.h>

#include "platform/trace/TraceLevels.h"

namespace Routing {
namespace {

struct LevelsCase {
  const char* name;
  const char* text;
  std::optional<TraceLevelMask> levels;
};

class TraceLevelsText : public testing::TestWithParam<LevelsCase> {};

TEST_P(TraceLevelsText, ReadsAs) {
  EXPECT_EQ(parseTraceLevels(GetParam().text), GetParam().levels);
}

INSTANTIATE_TEST_SUITE_P(
    TraceLevels,
    TraceLevelsText,
    testing::Values(LevelsCase{"Off", "off", TraceLevelMask{0}},
                    LevelsCase{"One", "8", TraceLevelMask{0x100}},
                    LevelsCase{"Zero", "0", TraceLevelMask{1}},
                    LevelsCase{"All", "0-9", allTraceLevels},
                    LevelsCase{"RangeOfOne", "3-3", TraceLevelMask{8}},
                    LevelsCase{"List", "1,2,4", TraceLevelMask{0x16}},
                    LevelsCase{"ListWithRange", "1,7-9", TraceLevelMask{0x382}},
                    LevelsCase{"SameTwice", "5,5", TraceLevelMask{0x20}},
                    LevelsCase{"Empty", "", std::nullopt},
                    LevelsCase{"TwoDigits", "10", std::nullopt},
                    LevelsCase{"Backwards", "4-1", std::nullopt},
                    LevelsCase{"OpenRange", "4-", std::nullopt},
                    LevelsCase{"Negative", "-4", std::nullopt},
                    LevelsCase{"TrailingComma", "4,", std::nullopt},
                    LevelsCase{"LeadingComma", ",4", std::nullopt},
                    LevelsCase{"Blank", "1, 2", std::nullopt},
                    LevelsCase{"TwoRanges", "1-2-3", std::nullopt},
                    LevelsCase{"Word", "offline", std::nullopt}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(TraceLevels, ALevelThatDoesNotExistIsInNoMask) {
  EXPECT_EQ(traceLevelBit(-1), noTraceLevels);
  EXPECT_EQ(traceLevelBit(10), noTraceLevels);
  EXPECT_EQ(traceLevelBit(9), TraceLevelMask{0x200});
}

}  // namespace
}  // namespace Routing
