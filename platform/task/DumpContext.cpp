#include "platform/task/DumpContext.h"

namespace Routing {

void DumpContext::print(std::uint32_t indent, std::string_view text) {
  text_.append(indent, ' ').append(text);
}

void DumpContext::printLine(std::uint32_t indent, std::string_view text) {
  print(indent, text);
  text_ += '\n';
}

void DumpContext::dumpChild(const DumpableEntity* child, std::uint32_t indent) {
  if (child == nullptr) {
    printLine(indent, "(null)");
    return;
  }
  const TypeData& type = child->typeData();
  if (!dumped_.insert(reinterpret_cast<std::uintptr_t>(child))) {
    print(indent, "(");
    text_.append(type.name());
    if (!type.attributes().empty()) {
      text_.append(" ").append(type.attributes().front().value(*child));
    }
    text_.append(" dumped above)\n");
    return;
  }
  if (form_ == Form::generic) {
    printLine(indent, type.name());
    printAttributes(*child, indent + 2, true);
    return;
  }
  child->dumpState(*this, indent);
  if (!text_.empty() && text_.back() != '\n') {
    text_ += '\n';
  }
  printAttributes(*child, indent + 2, false);
}

void DumpContext::printAttributes(const Entity& entity, std::uint32_t indent, bool all) {
  for (const AttributeData& attribute : entity.typeData().attributes()) {
    if (all || !attribute.inDumpState) {
      printLine(indent, String(attribute.name) + ": " + attribute.value(entity));
    }
  }
}

}  // namespace Routing
