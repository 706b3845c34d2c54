#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "tools/nexthop-replay/Arguments.h"
#include "tools/nexthop-replay/InputError.h"
#include "tools/nexthop-replay/Reader.h"

namespace Routing::Replay {
namespace {

// The arguments of a line, which they refer to.
class LineArguments {
 public:
  explicit LineArguments(const std::string& line) : line_("command " + line) {
    splitWords(line_, words_);
    arguments_.emplace(words_, line_);
  }
  Arguments* operator->() { return &*arguments_; }

 private:
  std::string line_;
  std::vector<std::string_view> words_;
  std::optional<Arguments> arguments_;
};

TEST(Arguments, NumbersAreDecimalOrHexadecimal) {
  EXPECT_EQ(LineArguments("0")->number("N"), 0U);
  EXPECT_EQ(LineArguments("007")->number("N"), 7U);
  EXPECT_EQ(LineArguments("0xFf")->number("N"), 255U);
  EXPECT_EQ(LineArguments("0xffffffffffffffff")->number("N"), ~std::uint64_t{0});
  EXPECT_EQ(LineArguments("18446744073709551615")->number("N"), ~std::uint64_t{0});
}

TEST(Arguments, SecondsAreExactToTheMillisecond) {
  using std::chrono::milliseconds;
  EXPECT_EQ(LineArguments("0")->seconds(), milliseconds(0));
  EXPECT_EQ(LineArguments("300")->seconds(), milliseconds(300'000));
  EXPECT_EQ(LineArguments("299.999")->seconds(), milliseconds(299'999));
  EXPECT_EQ(LineArguments("0.1")->seconds(), milliseconds(100));
  EXPECT_EQ(LineArguments("0.001")->seconds(), milliseconds(1));
  EXPECT_EQ(LineArguments("9223372035.999")->seconds(), milliseconds(9'223'372'035'999));
}

TEST(Arguments, ARouteHasTheTablesDefaults) {
  EXPECT_EQ(LineArguments("fec 7")->route(), Fib::Route(7, 0, 1, 0));
  EXPECT_EQ(LineArguments("fec 7 metric 2 preference 3 type 4")->route(), Fib::Route(7, 2, 3, 4));
}

TEST(Arguments, OptionsComeInAnyOrder) {
  EXPECT_EQ(LineArguments("fec 7 type 4 metric 2")->route(), Fib::Route(7, 2, 1, 4));
}

TEST(Arguments, AViaHasWeightOneAndNoLabelUnlessToldOtherwise) {
  const auto vias =
      LineArguments("via 10.0.0.1 intf 3 via fe80::1 intf 4 weight 5 label 6 action 7")->vias();
  ASSERT_EQ(vias.size(), 2U);
  EXPECT_EQ(vias[0].weight, 1U);
  EXPECT_EQ(vias[0].labelAndAction, MplsLabelAndAction());
  EXPECT_EQ(vias[0].intfId.value, 3U);
  EXPECT_EQ(vias[1].hop, IpGenAddr::parse("fe80::1"));
  EXPECT_EQ(vias[1].weight, 5U);
  EXPECT_EQ(vias[1].labelAndAction.label(), 6U);
  EXPECT_EQ(vias[1].labelAndAction.action(), 7U);
}

TEST(Arguments, NoneIsTheUnsetAddressWhereItIsAccepted) {
  EXPECT_EQ(LineArguments("none")->addressOrNone(), IpGenAddr());
  EXPECT_THROW(LineArguments("none")->address(), InputError);
}

TEST(Arguments, TheHostBitsOfAPrefixAreCleared) {
  EXPECT_EQ(LineArguments("10.1.2.3/8")->prefix().stringValue(), "10.0.0.0/8");
}

TEST(Arguments, TheRestOfTheLineStandsAsItIs) {
  EXPECT_EQ(LineArguments("one  # two ")->rest(), "one  # two ");
  EXPECT_EQ(LineArguments(" one")->rest(), " one");
  EXPECT_EQ(LineArguments("")->rest(), "");
}

}  // namespace
}  // namespace Routing::Replay
