#pragma once

// Entities for the tests of this folder: a plain one, one derived from it, and one that tells a log
// when it ends.

#include <string>
#include <utility>

#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/TypeData.h"
#include "tests/support/EventLog.h"

namespace Routing::Support {

class Shape : public Entity {
 public:
  static const TypeData& type() {
    static const TypeData type("Routing::Support::Shape");
    return type;
  }
  const TypeData& typeData() const override { return type(); }
};

class Circle : public Shape {
 public:
  static const TypeData& type() {
    static const TypeData type("Routing::Support::Circle");
    return type;
  }
  const TypeData& typeData() const override { return type(); }
};

// Adds "NAME ends" to the log when it is destroyed.
class Mortal : public Entity {
 public:
  Mortal(std::string name, EventLog& log) : name_(std::move(name)), log_(log) {}
  ~Mortal() override { log_.add(name_ + " ends"); }

  const std::string& name() const noexcept { return name_; }
  const TypeData& typeData() const override {
    static const TypeData type("Routing::Support::Mortal");
    return type;
  }

 private:
  std::string name_;
  EventLog& log_;
};

}  // namespace Routing::Support
