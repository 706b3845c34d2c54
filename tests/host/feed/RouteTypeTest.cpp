#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>

#include "host/feed/RouteType.h"

namespace Routing::Host {
namespace {

TEST(RouteType, AnOrdinaryRouteHasTheNumberOfItsProtocol) {
  EXPECT_EQ(routeTypeOfProtocol(186), RouteType::bgp);
  EXPECT_EQ(routeTypeOfProtocol(4), RouteType::staticRoute);
  EXPECT_EQ(static_cast<int>(routeTypeOfProtocol(77)), 77);
}

TEST(RouteType, ProtocolsThatWouldBeTakenForSomethingElseAreOther) {
  EXPECT_EQ(routeTypeOfProtocol(0), RouteType::other);
  EXPECT_EQ(routeTypeOfProtocol(2), RouteType::other) << "kernel: only a connected route has it";
  EXPECT_EQ(routeTypeOfProtocol(250), RouteType(250));
  EXPECT_EQ(routeTypeOfProtocol(251), RouteType::other);
  EXPECT_EQ(routeTypeOfProtocol(255), RouteType::other);
}

TEST(RouteType, NamesAreThoseOfTheProtocolsWhereThereAre) {
  EXPECT_STREQ(routeTypeName(RouteType::none), "none");
  EXPECT_STREQ(routeTypeName(RouteType::connected), "connected");
  EXPECT_STREQ(routeTypeName(RouteType::staticRoute), "static");
  EXPECT_STREQ(routeTypeName(RouteType::prohibit), "prohibit");
  EXPECT_STREQ(routeTypeName(RouteType(77)), "protocol");
}

TEST(RouteType, PreferenceFollowsFromTheProtocolAlone) {
  EXPECT_EQ(preferenceOf(2), 0) << "kernel";
  EXPECT_EQ(preferenceOf(3), 1) << "boot";
  EXPECT_EQ(preferenceOf(4), 1) << "static";
  EXPECT_EQ(preferenceOf(12), 150) << "a routing daemon";
  EXPECT_EQ(preferenceOf(186), 20) << "bgp";
  EXPECT_EQ(preferenceOf(77), 200) << "unknown";
}

TEST(RouteType, TheDocumentSaysTheSame) {
  std::ifstream document("docs/kernel-routes.md");
  const std::regex row(R"(^\| .* \| (\d+) \| `(\w+)` \| (\d+)?.*\|$)");
  int rows = 0;
  for (std::string line; std::getline(document, line);) {
    std::smatch parts;
    if (!std::regex_match(line, parts, row)) {
      continue;
    }
    ++rows;
    const auto number = static_cast<std::uint8_t>(std::stoi(parts[1]));
    EXPECT_EQ(parts[2].str(), routeTypeName(RouteType(number))) << line;
    if (parts[3].matched) {
      EXPECT_EQ(std::stoi(parts[3]), preferenceOf(number)) << line;
    }
  }
  EXPECT_EQ(rows, 27) << "one for each type that has a name";
}

TEST(RouteType, OnlyRoutesToALinkAndToTheMachineAreConnected) {
  for (int value = 0; value < 256; ++value) {
    const auto type = static_cast<RouteType>(value);
    EXPECT_EQ(isConnected(type), type == RouteType::connected || type == RouteType::local) << value;
    EXPECT_EQ(isBlackhole(type), value >= 252 && value <= 254) << value;
  }
}

}  // namespace
}  // namespace Routing::Host
