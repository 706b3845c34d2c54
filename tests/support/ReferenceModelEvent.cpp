#include "tests/support/ReferenceModelEvent.h"

#include <array>
#include <string>

namespace Routing::Support {

namespace {

constexpr std::array<const char*, 15> words{"status",
                                            "status-del",
                                            "status-vrf",
                                            "status-vrf-del",
                                            "forwarding",
                                            "forwarding-del",
                                            "map",
                                            "map-del",
                                            "reference",
                                            "reference-del",
                                            "client-reference",
                                            "client-reference-del",
                                            "key",
                                            "key-del",
                                            "context"};

String entryText(const NexthopStatusEntry& entry) {
  const bool resolved = entry.resolutionState == NexthopResolutionState::resolved;
  String text = resolved                                                  ? " resolved"
                : entry.resolutionState == NexthopResolutionState::failed ? " failed"
                                                                          : " unknown";
  text += " fecId=" + std::to_string(entry.fecId);
  text += " prefix=" + entry.prefix.stringValue();
  text += " metric=" + std::to_string(entry.metric);
  text += " preference=" + std::to_string(entry.preference);
  text += " routeType=" + std::to_string(entry.routeType);
  return text + " route6Type=" + std::to_string(entry.route6Type);
}

}  // namespace

String OutputEvent::text() const {
  const String word = String(words[static_cast<std::size_t>(kind)]) + ' ';
  const String ofClient = word + client + ' ' + vrf;
  const String ofVrf = word + vrf + ' ';
  switch (kind) {
    case Kind::status:
      return ofClient + ' ' + addr.stringValue() + entryText(entry);
    case Kind::statusDel:
      return ofClient + ' ' + addr.stringValue();
    case Kind::statusVrf:
      return ofClient + (value == 0 ? " fib" : " resolver");
    case Kind::statusVrfDel:
      return ofClient;
    case Kind::forwarding:
      return ofVrf + std::to_string(id) + " vias=" + std::to_string(value);
    case Kind::map:
      return ofVrf + std::to_string(id) + ' ' + std::to_string(value);
    case Kind::clientReference:
    case Kind::clientReferenceDel:
      return ofVrf + std::to_string(id) + ' ' + client;
    case Kind::key:
      return ofVrf + client + ' ' + addr.stringValue() + ' ' + std::to_string(id);
    case Kind::keyDel:
      return ofVrf + client + ' ' + addr.stringValue();
    case Kind::forwardingDel:
    case Kind::mapDel:
    case Kind::reference:
    case Kind::referenceDel:
    case Kind::context:
      return ofVrf + std::to_string(id);
  }
  return ofVrf;
}

String textOf(const OutputEvents& events) {
  String text;
  for (const OutputEvent& event : events) {
    text += event.text() + '\n';
  }
  return text;
}

}  // namespace Routing::Support
