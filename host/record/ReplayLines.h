#pragma once

// What the library is given, as commands of a replay file (docs/replay.md). Each function returns a
// whole line, or the end of one that begins with a command.

#include <string>
#include <string_view>

#include "platform/fib/Fec.h"
#include "platform/fib/RouteTable.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/task/Clock.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatus.h"
#include "records/NexthopStatusFecIdType.h"

namespace Routing::Host::ReplayLines {

// A name as one word: what a replay file reads otherwise (blanks, '#') is written "%23", and '%' so
// too. The empty name is "%".
std::string word(std::string_view name);

std::string_view familyWord(AddressFamily family) noexcept;
std::string_view kindWord(NexthopStatusFecIdType kind) noexcept;

// "route VRF PREFIX fec 12 metric 20 type 3": options that have their default value are left out.
std::string route(std::string_view command,
                  std::string_view vrf,
                  const IpGenPrefix& prefix,
                  const Fib::Route& route);
// A hop without an address, whose destination is on the link itself, is written 0.0.0.0: a replay
// file has no other word for it.
std::string fec(const FibGen::Fec& fec);
std::string published(std::string_view vrf, const NexthopResolverIdVia& record);
std::string statusEntry(std::string_view client,
                        std::string_view vrf,
                        NexthopStatusFecIdType kind,
                        const NexthopStatusEntry& entry);
// "advance 1.250". Requires: whole milliseconds.
std::string advance(Nanoseconds duration);

}  // namespace Routing::Host::ReplayLines
