#include <gtest/gtest.h>

#include "platform/entity/Exceptions.h"

namespace Routing {
namespace {

TEST(Exceptions, RangeErrorCarriesItsMessage) {
  const RangeError error("metric 70000 is beyond 65535");
  EXPECT_STREQ(error.what(), "metric 70000 is beyond 65535");
}

TEST(Exceptions, NullArgumentErrorNamesTypeAndAttribute) {
  const NullArgumentError error("Routing::Dir", "entry");
  EXPECT_EQ(error.type(), "Routing::Dir");
  EXPECT_EQ(error.attribute(), "entry");
  EXPECT_STREQ(error.what(), "Routing::Dir: null argument for attribute entry");
}

TEST(Exceptions, ReinstantiationErrorNamesTypeAndAttribute) {
  const ReinstantiationError error("Routing::Status", "vrfName");
  EXPECT_EQ(error.type(), "Routing::Status");
  EXPECT_EQ(error.attribute(), "vrfName");
  EXPECT_STREQ(error.what(), "Routing::Status: re-instantiated with a different vrfName");
}

TEST(Exceptions, DeserialisationErrorNamesTypeAttributeAndPosition) {
  const DeserialisationError error("Routing::Key", "nexthop", 22);
  EXPECT_EQ(error.type(), "Routing::Key");
  EXPECT_EQ(error.attribute(), "nexthop");
  EXPECT_EQ(error.position(), 22U);
  EXPECT_STREQ(error.what(), "Routing::Key: cannot read attribute nexthop at position 22");
}

TEST(Exceptions, AllAreStandardExceptions) {
  EXPECT_THROW(throw RangeError("r"), std::exception);
  EXPECT_THROW(throw NullArgumentError("t", "a"), std::exception);
  EXPECT_THROW(throw ReinstantiationError("t", "a"), std::exception);
  EXPECT_THROW(throw DeserialisationError("t", "a", 0), std::exception);
}

}  // namespace
}  // namespace Routing
