#include "host/ctl/Words.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "host/feed/RouteType.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Host {

namespace {

constexpr std::size_t ipv4Bytes = 4;

std::string_view viewOf(const IpGenAddr::Bytes& bytes, std::size_t size) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): bytes as a message carries them
  return {reinterpret_cast<const char*>(bytes.data()), size};
}

// Unset when the bytes are no address.
IpGenAddr addressOf(const std::string& bytes) {
  IpGenAddr::Bytes copy{};
  if (bytes.size() != ipv4Bytes && bytes.size() != copy.size()) {
    return {};
  }
  std::memcpy(copy.data(), bytes.data(), bytes.size());
  const IpGenAddr addr = IpGenAddr::ipv6(copy);
  return bytes.size() == ipv4Bytes ? IpGenAddr::ipv4(addr.words()[0]) : addr;
}

// The enumerator's name without what all of them begin with, as a word: "REASON_NO_ROUTE" is
// "no-route".
std::string enumeratorWord(std::string_view name, std::string_view begin) {
  std::string word(name.substr(std::min(begin.size(), name.size())));
  std::transform(word.begin(), word.end(), word.begin(), [](char letter) {
    const bool isUpper = letter >= 'A' && letter <= 'Z';
    return letter == '_' ? '-' : isUpper ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return word;
}

void append(std::string& text, const std::string& word) {
  text.append(text.empty() ? "" : " ").append(word);
}

}  // namespace

std::string addressBytes(const std::string& text) {
  const IpGenAddr addr = IpGenAddr::parse(text).value();
  const bool ipv4 = addr.family() == AddressFamily::ipv4;
  const IpGenAddr::Bytes bytes = addr.bytes();
  return std::string(viewOf(bytes, ipv4 ? ipv4Bytes : bytes.size()));
}

Proto::Policy policyOf(const CtlOptions& options) {
  Proto::Policy policy;
  policy.set_refuse_default_route(options.refuseDefaultRoute);
  policy.set_minimum_prefix_length(options.minimumPrefixLength);
  policy.set_connected_only(options.connectedOnly);
  policy.set_refuse_blackhole(options.refuseBlackhole);
  return policy;
}

std::string addressWord(const std::string& bytes) {
  const IpGenAddr addr = addressOf(bytes);
  return addr ? addr.stringValue() : "";
}

std::string prefixWord(const std::string& bytes, std::uint32_t length) {
  const std::string addr = addressWord(bytes);
  return addr.empty() ? "" : fmt::format("{}/{}", addr, length);
}

std::string stateWord(Proto::NexthopState state) {
  return enumeratorWord(Proto::NexthopState_Name(state), "NEXTHOP_STATE_");
}

std::string reasonWord(Proto::Reason reason) {
  return reason == Proto::REASON_NONE ? "" : enumeratorWord(Proto::Reason_Name(reason), "REASON_");
}

std::string kindWord(Proto::IdentifierKind kind) {
  return enumeratorWord(Proto::IdentifierKind_Name(kind), "IDENTIFIER_KIND_");
}

std::string verdictWord(Proto::Verdict verdict) {
  return enumeratorWord(Proto::Verdict_Name(verdict), "VERDICT_");
}

std::string typeWord(std::uint32_t routeType) {
  const std::string name = routeTypeName(static_cast<RouteType>(routeType));
  return name == "protocol" ? fmt::format("{}", routeType) : name;
}

std::string timeWord(std::int64_t nanoseconds) {
  constexpr std::int64_t second = 1'000'000'000;
  constexpr std::int64_t millisecond = 1'000'000;
  if (nanoseconds == 0) {
    return "";
  }
  const auto time = static_cast<std::time_t>(nanoseconds / second);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z",
                     fmt::gmtime(time),
                     nanoseconds % second / millisecond);
}

std::string numberWord(std::uint64_t number) {
  return number == 0 ? "" : fmt::format("{}", number);
}

std::string viaWord(const Proto::Via& via) {
  std::string text = addressWord(via.address());
  append(text,
         via.interface().empty() ? fmt::format("dev #{}", via.interface_index())
                                 : "dev " + via.interface());
  if (via.weight() > 1) {
    append(text, fmt::format("weight {}", via.weight()));
  }
  if (via.has_label()) {
    append(text, fmt::format("label {}", via.label()));
  }
  if (via.beyond_boundary()) {
    append(text, "standby");
  }
  return text;
}

std::string policyWord(const Proto::Policy& policy) {
  std::string text;
  if (policy.refuse_default_route()) {
    append(text, "no-default-route");
  }
  if (policy.minimum_prefix_length() != 0) {
    append(text, fmt::format("min-length={}", policy.minimum_prefix_length()));
  }
  if (policy.connected_only()) {
    append(text, "connected");
  }
  if (policy.refuse_blackhole()) {
    append(text, "no-blackhole");
  }
  return text;
}

JsonObject& statusTo(JsonObject& object, const Proto::NexthopStatus& status) {
  const bool hasRoute = !status.prefix().empty();
  object.text("addr", addressWord(status.address()))
      .text("state", stateWord(status.state()))
      .textOrNull("reason", reasonWord(status.reason()))
      .numberOrNull("identifier", status.identifier())
      .numberOrNull("previousIdentifier", status.previous_identifier())
      .textOrNull("prefix", prefixWord(status.prefix(), status.prefix_length()));
  if (hasRoute) {
    object.number("metric", status.metric())
        .number("preference", status.preference())
        .text("routeType", typeWord(status.route_type()));
  } else {
    object.null("metric").null("preference").null("routeType");
  }
  return object.number("epoch", status.epoch())
      .textOrNull("changedAt", timeWord(status.changed_at()))
      .boolean("stale", status.stale());
}

std::vector<JsonObject> viasOf(const Vias& vias) {
  std::vector<JsonObject> objects;
  for (const Proto::Via& via : vias) {
    JsonObject& object = objects.emplace_back();
    object.textOrNull("addr", addressWord(via.address()))
        .number("intf", via.interface_index())
        .textOrNull("dev", via.interface())
        .number("weight", via.weight());
    if (via.has_label()) {
      object.number("label", via.label());
    } else {
      object.null("label");
    }
    object.boolean("beyond", via.beyond_boundary());
  }
  return objects;
}

JsonObject policyJson(const Proto::Policy& policy) {
  return JsonObject()
      .boolean("noDefaultRoute", policy.refuse_default_route())
      .number("minLength", policy.minimum_prefix_length())
      .boolean("connected", policy.connected_only())
      .boolean("noBlackhole", policy.refuse_blackhole());
}

}  // namespace Routing::Host
