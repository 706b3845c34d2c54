#pragma once

// DumpContext: where entities print themselves for people.
//
// A DumpableEntity prints its state with dumpState(context, indent): a header at the indent,
// members at indent + 2. Entities that it holds are dumped through dumpChild, the object protocol:
//
//   null member                       "(null)"
//   an entity dumped here before      "(TYPE NAME dumped above)", NAME being its first attribute
//   a context that asks for generic   the type's name, then every attribute, a line each
//   otherwise                         the child's own dumpState, a newline if the buffer does not
//                                     end in one, then the attributes that dumpState leaves out

#include <cstdint>
#include <string_view>

#include "platform/entity/DenseTable.h"
#include "platform/entity/Entity.h"
#include "platform/entity/TypeData.h"
#include "platform/net/IpGenAddr.h"

namespace Routing {

class DumpContext;

class DumpableEntity : public Entity {
 public:
  virtual void dumpState(DumpContext& dumpContext, std::uint32_t indent) const = 0;
};

class DumpContext {
 public:
  enum class Form : std::uint8_t { own, generic };

  explicit DumpContext(Form form = Form::own) noexcept : form_(form) {}

  // Appends that many blanks and the text. Indents are 32-bit numbers and wrap like them.
  void print(std::uint32_t indent, std::string_view text);
  // The same, and a newline.
  void printLine(std::uint32_t indent, std::string_view text);
  void dumpChild(const DumpableEntity* child, std::uint32_t indent);

  const String& text() const noexcept { return text_; }

 private:
  void printAttributes(const Entity& entity, std::uint32_t indent, bool all);

  Form form_;
  String text_;
  // Their places in memory; only membership is asked for.
  DenseSet<std::uintptr_t> dumped_;
};

}  // namespace Routing
