#include <gtest/gtest.h>

#include <array>
#include <span>
#include <string>
#include <vector>

#include "platform/entity/DenseTable.h"
#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"
#include "platform/entity/Ptr.h"
#include "tests/platform/entity/TestEntities.h"

namespace Routing {
namespace {

enum class Duplex : std::uint8_t { half = 0, full = 1 };

struct Colour {
  std::string stringValue() const { return "red"; }
};

class Port : public Support::Shape {
 public:
  const std::string& name() const noexcept { return name_; }
  std::uint64_t speed() const { return speed_; }
  bool up() const { return up_; }
  Duplex duplex() const { return Duplex::full; }
  std::int16_t offset() const { return -5; }
  Colour colour() const { return {}; }
  const char* vendor() const { return "acme"; }
  const Ptr<Port>& peer() const { return peer_; }
  const DenseSet<std::uint64_t>& vlan() const { return vlan_; }

  void nameIs(const std::string& name) { name_ = name; }
  void speedIs(std::uint64_t speed) { speed_ = speed; }
  void reset() noexcept { *this->calls_ += "reset "; }
  std::uint64_t vlanIs(std::uint64_t first, std::uint64_t count, bool keep) {
    if (!keep) {
      vlan_.clear();
    }
    for (std::uint64_t i = 0; i < count; ++i) {
      vlan_.insert(first + i);
    }
    return vlan_.size();
  }
  bool vlanHas(std::uint64_t vlan) const noexcept { return vlan_.has(vlan); }
  Ptr<Port> peerIs(const std::string& name) {
    peer_ = makeEntity<Port>();
    peer_->nameIs(name);
    return peer_;
  }
  void fail() { throw RangeError("failed"); }

  const TypeData& typeData() const override;

  std::string calls;

 private:
  std::string name_ = "et1";
  std::uint64_t speed_ = 100;
  bool up_ = true;
  Ptr<Port> peer_;
  DenseSet<std::uint64_t> vlan_;
  std::string* calls_ = &calls;
};

const TypeData& Port::typeData() const {
  static constexpr std::array attributes{
      attribute<&Port::name>("name"),
      attribute<&Port::speed>("speed", false),
      attribute<&Port::up>("up"),
      attribute<&Port::duplex>("duplex"),
      attribute<&Port::offset>("offset"),
      attribute<&Port::colour>("colour"),
      attribute<&Port::vendor>("vendor"),
      attribute<&Port::peer>("peer"),
      attribute<&Port::vlan>("vlan"),
  };
  static constexpr std::array operations{
      operation<&Port::nameIs>("nameIs"),
      operation<&Port::speedIs>("speedIs"),
      operation<&Port::reset>("reset"),
      operation<&Port::vlanIs>("vlanIs"),
      operation<&Port::vlanHas>("vlanHas"),
      operation<&Port::peerIs>("peerIs"),
      operation<&Port::fail>("fail"),
  };
  static const TypeData type("Routing::Port", attributes, operations);
  return type;
}

using Texts = std::vector<std::string>;

class InspectionTest : public testing::Test {
 protected:
  Ptr<Port> port = makeEntity<Port>();

  Texts shown() const {
    Texts texts;
    for (const AttributeData& attribute : port->typeData().attributes()) {
      texts.push_back(std::string(attribute.name) + "=" + attribute.value(*port));
    }
    return texts;
  }
  std::optional<std::string> call(std::string_view name, const Texts& arguments) const {
    return callOperation(*port, name, arguments);
  }
  // "TYPE ATTRIBUTE POSITION" of the error that the call ends with.
  std::string callError(std::string_view name, const Texts& arguments) const {
    try {
      call(name, arguments);
    } catch (const DeserialisationError& error) {
      return error.type() + " " + error.attribute() + " " + std::to_string(error.position());
    }
    return "none";
  }
};

TEST_F(InspectionTest, AttributesStandInOrderOfDeclarationWithReadableValues) {
  port->vlanIs(7, 3, true);
  EXPECT_EQ(shown(),
            (Texts{"name=et1",
                   "speed=100",
                   "up=true",
                   "duplex=1",
                   "offset=-5",
                   "colour=red",
                   "vendor=acme",
                   "peer=null",
                   "vlan={7, 8, 9}"}));
}

TEST_F(InspectionTest, APtrReadsAsTheTypeOfItsEntity) {
  port->peerIs("et2");
  EXPECT_EQ(shown()[7], "peer=Routing::Port");
}

TEST_F(InspectionTest, ALargeCollectionReadsAsItsFirstKeysAndItsSize) {
  port->vlanIs(0, 16, true);
  EXPECT_EQ(shown()[8], "vlan={0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}");
  port->vlanIs(16, 1, true);
  EXPECT_EQ(shown()[8],
            "vlan={0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, ... 17 in all}");
}

TEST_F(InspectionTest, AnAttributeTellsWhetherADumpHasItAlready) {
  EXPECT_TRUE(port->typeData().attributes()[0].inDumpState);
  EXPECT_FALSE(port->typeData().attributes()[1].inDumpState);
}

TEST_F(InspectionTest, AnOperationIsCalledByNameWithTypedArguments) {
  EXPECT_EQ(call("nameIs", {"et9 upper"}), std::nullopt);
  EXPECT_EQ(port->name(), "et9 upper");
  EXPECT_EQ(call("speedIs", {"0x10"}), std::nullopt);
  EXPECT_EQ(port->speed(), 16U);
  EXPECT_EQ(call("vlanIs", {"5", "2", "true"}), "2");
  EXPECT_EQ(call("vlanHas", {"6"}), "true");
  EXPECT_EQ(call("peerIs", {"et2"}), "Routing::Port");
}

TEST_F(InspectionTest, AnOperationWithoutArgumentsIsCalled) {
  EXPECT_EQ(call("reset", {}), std::nullopt);
  EXPECT_EQ(port->calls, "reset ");
}

TEST_F(InspectionTest, EveryOperationIsListedWithItsNumberOfArguments) {
  Texts texts;
  for (const OperationData& operation : port->typeData().operations()) {
    texts.push_back(std::string(operation.name) + "/" + std::to_string(operation.argumentCount));
  }
  EXPECT_EQ(
      texts,
      (Texts{"nameIs/1", "speedIs/1", "reset/0", "vlanIs/3", "vlanHas/1", "peerIs/1", "fail/0"}));
}

TEST_F(InspectionTest, AnUnknownOperationIsNamedInTheError) {
  EXPECT_EQ(port->typeData().operation("missing"), nullptr);
  EXPECT_EQ(callError("missing", {}), "Routing::Port missing 0");
}

TEST_F(InspectionTest, AWrongNumberOfArgumentsIsAnError) {
  EXPECT_EQ(callError("vlanIs", {"1", "2"}), "Routing::Port arguments 2");
  EXPECT_EQ(callError("reset", {"1"}), "Routing::Port arguments 1");
}

TEST_F(InspectionTest, TheFirstBadArgumentIsTheOneReportedAndNothingIsCalled) {
  EXPECT_EQ(callError("vlanIs", {"1", "two", "maybe"}), "value two 0");
  EXPECT_TRUE(port->vlan().empty());
}

TEST_F(InspectionTest, WhatTheOperationThrowsIsThrown) {
  EXPECT_THROW(call("fail", {}), RangeError);
}

}  // namespace
}  // namespace Routing
