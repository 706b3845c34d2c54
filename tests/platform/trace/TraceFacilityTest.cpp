#include <gtest/gtest.h>

#include "platform/trace/TraceFacility.h"
#include "tests/platform/trace/TraceSupport.h"

namespace Routing {
namespace {

TEST(TraceFacility, EveryLevelIsOffAtFirst) {
  const TraceFacility facility{"Alpha"};
  for (int level = 0; level <= maxTraceLevel; ++level) {
    EXPECT_FALSE(facility.levelOn(level)) << level;
  }
}

TEST(TraceFacility, ALevelIsOnExactlyWhenItsBitIsInAMask) {
  for (unsigned mask = 0; mask <= allTraceLevels; ++mask) {
    TraceFacility text{"Text"};
    TraceFacility ring{"Ring"};
    text.textLevelsAre(static_cast<TraceLevelMask>(mask));
    ring.ringLevelsAre(static_cast<TraceLevelMask>(mask));
    for (unsigned level = 0; level <= maxTraceLevel; ++level) {
      const bool on = ((mask >> level) & 1U) != 0;
      EXPECT_EQ(text.levelOn(static_cast<int>(level)), on) << mask << " " << level;
      EXPECT_EQ(ring.levelOn(static_cast<int>(level)), on) << mask << " " << level;
    }
  }
}

TEST(TraceFacility, TheTwoMasksDoNotTouchEachOther) {
  TraceFacility facility{"Alpha"};
  facility.textLevelsAre(0x155);
  facility.ringLevelsAre(0x2aa);
  EXPECT_EQ(facility.textLevels(), 0x155);
  EXPECT_EQ(facility.ringLevels(), 0x2aa);
  facility.textLevelsAre(noTraceLevels);
  EXPECT_EQ(facility.ringLevels(), 0x2aa);
  EXPECT_TRUE(facility.ringOn(1));
  EXPECT_FALSE(facility.textOn(1));
}

TEST(TraceFacility, BitsThatAreNoLevelAreDropped) {
  TraceFacility facility{"Alpha"};
  facility.textLevelsAre(0xffff);
  facility.ringLevelsAre(0xffff);
  EXPECT_EQ(facility.textLevels(), allTraceLevels);
  EXPECT_EQ(facility.ringLevels(), allTraceLevels);
}

TEST(TraceFacility, ATextOnlyFacilityNeverHasRingLevels) {
  TraceFacility facility{"Alpha", TraceFacility::Output::textOnly};
  facility.ringLevelsAre(allTraceLevels);
  TraceFacility::allRingLevelsAre(allTraceLevels);
  facility.textLevelsAre(traceLevelBit(1));
  EXPECT_EQ(facility.ringLevels(), noTraceLevels);
  EXPECT_FALSE(facility.levelOn(8));
  EXPECT_TRUE(facility.levelOn(1));
}

TEST(TraceFacility, IsFoundByItsNameWhileItLives) {
  {
    const TraceFacility facility{"Alpha"};
    EXPECT_EQ(TraceFacility::find("Alpha"), &facility);
    EXPECT_EQ(TraceFacility::find("Alph"), nullptr);
  }
  EXPECT_EQ(TraceFacility::find("Alpha"), nullptr);
}

TEST(TraceFacility, AllAreListedInTheOrderOfTheirNames) {
  const TraceFacility beta{"Beta"};
  const TraceFacility gamma{"Gamma"};
  const TraceFacility alpha{"Alpha"};
  std::vector<std::string_view> names;
  for (const TraceFacility* facility : TraceFacility::all()) {
    names.push_back(facility->name());
  }
  EXPECT_EQ(names, (std::vector<std::string_view>{"Alpha", "Beta", "Gamma"}));
}

TEST(TraceFacility, OneCallSetsTheMasksOfAll) {
  const TraceFacility alpha{"Alpha"};
  const TraceFacility beta{"Beta"};
  TraceFacility::allTextLevelsAre(traceLevelBit(2));
  TraceFacility::allRingLevelsAre(traceLevelBit(3));
  for (const TraceFacility* facility : {&alpha, &beta}) {
    EXPECT_EQ(facility->textLevels(), traceLevelBit(2));
    EXPECT_EQ(facility->ringLevels(), traceLevelBit(3));
  }
}

TEST(TraceFacilityDeathTest, TwoOfANameStopTheProcess) {
  const TraceFacility alpha{"Alpha"};
  EXPECT_DEATH(TraceFacility{"Alpha"}, "Assertion");
}

TEST(TraceFacilityDeathTest, ANameIsNeitherEmptyNorLongerThanARingHolds) {
  const String longest(TraceFacility::maxNameLength, 'x');
  const String tooLong = longest + "x";
  EXPECT_EQ(TraceFacility{longest}.name(), longest);
  EXPECT_DEATH(TraceFacility{""}, "Assertion");
  EXPECT_DEATH(TraceFacility{tooLong}, "Assertion");
}

}  // namespace
}  // namespace Routing
