#pragma once

// OutputEvent: one notification of an output of the library, as a value. A live world (tests/
// property) makes them from what is delivered, the reference model from what ought to be, and a
// step of a test compares the two sequences.
//
// An event tells what stands under the key when it is delivered: the Del kinds say that nothing
// does. text() is the line that nexthop-replay prints for it under `watch on`.

#include <cstdint>
#include <vector>

#include "platform/fib/RouteTable.h"
#include "platform/net/IpGenAddr.h"
#include "records/NexthopConfig.h"
#include "records/NexthopStatus.h"

namespace Routing::Support {

struct OutputEvent {
  enum class Kind : std::uint8_t {
    status,
    statusDel,
    statusVrf,
    statusVrfDel,
    forwarding,
    forwardingDel,
    map,
    mapDel,
    reference,
    referenceDel,
    clientReference,
    clientReferenceDel,
    key,
    keyDel,
    context,
  };

  // Initialised one by one, so that an event is written down with what it has and no more.
  Kind kind{};
  VrfName vrf{};
  String client{};
  IpGenAddr addr{};
  // The FEC of map, reference, clientReference and key; the ResolverId of forwarding; the context's
  // counter.
  std::uint64_t id = 0;
  // The ResolverId of map, the number of vias of forwarding, the identifier kind of statusVrf.
  std::uint64_t value = 0;
  // Of status.
  NexthopStatusEntry entry{};

  friend bool operator==(const OutputEvent&, const OutputEvent&) = default;
  String text() const;

  bool isStatus() const noexcept {
    return kind == Kind::status || kind == Kind::statusDel || kind == Kind::statusVrf ||
           kind == Kind::statusVrfDel;
  }
};

using OutputEvents = std::vector<OutputEvent>;

// One line an event, each with its newline.
String textOf(const OutputEvents& events);

}  // namespace Routing::Support
