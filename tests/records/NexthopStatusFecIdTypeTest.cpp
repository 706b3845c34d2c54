#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>
#include <string>

#include "platform/entity/Text.h"
#include "platform/trace/Trace.h"
#include "platform/trace/TraceSink.h"
#include "records/NexthopStatusFecIdType.h"
#include "tests/support/EventLog.h"

namespace Routing {
namespace {

using enum NexthopStatusFecIdType;

TEST(NexthopStatusFecIdTypeTest, TheMembersAreOneByteAndNumberedZeroAndOne) {
  EXPECT_EQ(static_cast<int>(fibFecId), 0);
  EXPECT_EQ(static_cast<int>(resolverId), 1);
  EXPECT_EQ(sizeof(NexthopStatusFecIdType), 1U);
}

TEST(NexthopStatusFecIdTypeTest, PrintsByItsMembersName) {
  std::ostringstream stream;
  stream << fibFecId << " " << resolverId;
  EXPECT_EQ(stream.str(), "fibFecId resolverId");
}

TEST(NexthopStatusFecIdTypeTest, PrintingReturnsTheStream) {
  std::ostringstream stream;
  EXPECT_EQ(&(stream << resolverId), &stream);
}

TEST(NexthopStatusFecIdTypeTest, ReadsAsItsMembersName) {
  EXPECT_EQ(readableText(fibFecId), "fibFecId");
  EXPECT_EQ(readableText(resolverId), "resolverId");
}

TEST(NexthopStatusFecIdTypeTest, IsRegisteredForTracesWithExactlyItsTwoMembers) {
  const TraceArgumentSpec spec = traceArgumentSpec<NexthopStatusFecIdType>();
  EXPECT_EQ(spec.kind, TraceArgumentKind::enumeration);
  ASSERT_NE(spec.enumeration, nullptr);
  EXPECT_EQ(spec.enumeration->name(), "NexthopStatusFecIdType");
  ASSERT_EQ(spec.enumeration->members().size(), 2U);
  EXPECT_EQ(spec.enumeration->members()[0].name, "fibFecId");
  EXPECT_EQ(spec.enumeration->members()[0].value, 0);
  EXPECT_EQ(spec.enumeration->members()[1].name, "resolverId");
  EXPECT_EQ(spec.enumeration->members()[1].value, 1);
}

TEST(NexthopStatusFecIdTypeTest, ATraceShowsTheMembersName) {
  TraceFacility facility("NexthopStatusFecIdTypeTest");
  facility.textLevelsAre(allTraceLevels);
  Support::EventLog log;
  CallbackTraceSink sink([&](const TraceMessage& message) { log.add(std::string(message.text)); });
  sink.attachedIs(true);
  ROUTING_TRACE(facility, 1, "{} and {}", fibFecId, resolverId);
  EXPECT_EQ(log.take(), Support::Events{"fibFecId and resolverId"});
}

TEST(NexthopStatusFecIdTypeDeathTest, AValueThatIsNoMemberHasNoName) {
  EXPECT_EXIT(static_cast<void>(memberName(NexthopStatusFecIdType{2})),
              testing::KilledBySignal(SIGABRT),
              testing::HasSubstr("invalid identifier kind"));
}

}  // namespace
}  // namespace Routing
