#pragma once

// What the daemon's messages say, in words for people and as JSON. Nothing to say is an empty word.

#include <nexthop/v1/nexthop.pb.h>

#include <string>
#include <vector>

#include "host/ctl/Json.h"
#include "host/ctl/Options.h"

namespace Routing::Host {

namespace Proto = ::nexthop::v1;
using Vias = ::google::protobuf::RepeatedPtrField<Proto::Via>;

// ---- in ----------------------------------------------------------------------------------------

// Requires: an address.
std::string addressBytes(const std::string& text);
Proto::Policy policyOf(const CtlOptions& options);

// ---- words -------------------------------------------------------------------------------------

std::string addressWord(const std::string& bytes);
std::string prefixWord(const std::string& bytes, std::uint32_t length);
// "resolved", "failed", "unknown", "removed".
std::string stateWord(Proto::NexthopState state);
// "no-route"; empty for none.
std::string reasonWord(Proto::Reason reason);
// "fib", "resolver".
std::string kindWord(Proto::IdentifierKind kind);
// "won", "refused", "shorter", "routing-off".
std::string verdictWord(Proto::Verdict verdict);
// The protocol or the kind of route: "static", "connected"; its number if it has no name.
std::string typeWord(std::uint32_t routeType);
// UTC, with milliseconds; empty for 0.
std::string timeWord(std::int64_t nanoseconds);
// Empty for 0.
std::string numberWord(std::uint64_t number);
// "192.0.2.1 dev eth0 weight 2 label 16 standby".
std::string viaWord(const Proto::Via& via);
// "no-default-route min-length=24 connected no-blackhole".
std::string policyWord(const Proto::Policy& policy);

// ---- JSON --------------------------------------------------------------------------------------

// Adds what is said of a nexthop.
JsonObject& statusTo(JsonObject& object, const Proto::NexthopStatus& status);
std::vector<JsonObject> viasOf(const Vias& vias);
JsonObject policyJson(const Proto::Policy& policy);

}  // namespace Routing::Host
