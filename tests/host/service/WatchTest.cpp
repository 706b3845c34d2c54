// Register and Watch over the Unix socket.

#include "tests/host/service/ServiceFixture.h"

namespace Routing::Host {

using ::testing::ElementsAre;

class Watch : public ServiceFixture {};

TEST_F(Watch, ARegisteredNexthopIsToldWithItsRoute) {
  start();
  routeIs("10.0.0.0/8", 12);
  const auto stub = connect();
  Watching watching(*stub, watchOf("bgp"));
  EXPECT_THAT(watching.snapshot(), ElementsAre());
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  EXPECT_EQ(watching.line(), "10.0.0.1 resolved 12 10.0.0.0/8");
}

}  // namespace Routing::Host
