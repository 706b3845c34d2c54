#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "platform/entity/Assert.h"
#include "platform/entity/Ptr.h"
#include "tests/platform/entity/TestEntities.h"

namespace Routing {
namespace {

using testing::KilledBySignal;

void failingFunction() { ROUTING_ASSERT(1 + 1 == 3 && "sums \"up\""); }
const int failingLine = __LINE__ - 1;

std::string lineOf(const char* function, int line, const char* text) {
  return "tests/platform/entity/AssertTest.cpp:" + std::to_string(line) + ": " + function +
         ": Assertion \"" + text + "\" failed.\n";
}

TEST(AssertDeathTest, PrintsTheExactLineAndAborts) {
  EXPECT_EXIT(
      failingFunction(),
      KilledBySignal(SIGABRT),
      testing::Eq(lineOf("failingFunction", failingLine, R"(1 + 1 == 3 && "sums \"up\"")")));
}

TEST(AssertDeathTest, ANullPtrWithAReasonPrintsBoth) {
  const Ptr<Support::Shape> record;
  EXPECT_EXIT(ROUTING_ASSERT(record && "record not being tracked"),
              KilledBySignal(SIGABRT),
              testing::HasSubstr(R"(: Assertion "record && "record not being tracked"" failed.)"));
}

TEST(AssertDeathTest, TheTextIsTheExpressionBeforeMacrosAreExpanded) {
#define NOT_TRUE false
  EXPECT_EXIT(ROUTING_ASSERT(NOT_TRUE),
              KilledBySignal(SIGABRT),
              testing::HasSubstr(": Assertion \"NOT_TRUE\" failed."));
#undef NOT_TRUE
}

TEST(AssertDeathTest, AVeryLongTextIsPrintedWhole) {
  const std::string text(5000, 'x');
  EXPECT_EXIT(assertionFailed("file.cpp", 4294967295U, "function", text.c_str()),
              KilledBySignal(SIGABRT),
              testing::Eq("file.cpp:4294967295: function: Assertion \"" + text + "\" failed.\n"));
}

TEST(Assert, WhatHoldsIsEvaluatedOnceAndGoesOn) {
  int evaluations = 0;
  ROUTING_ASSERT(++evaluations == 1);
  EXPECT_EQ(evaluations, 1);
}

}  // namespace
}  // namespace Routing
