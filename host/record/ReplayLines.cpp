#include "host/record/ReplayLines.h"

namespace Routing::Host::ReplayLines {

namespace {

constexpr std::string_view hexadecimal = "0123456789abcdef";

void option(std::string& line, std::string_view name, std::uint64_t value, std::uint64_t standard) {
  if (value != standard) {
    line.append(" ").append(name).append(" ").append(std::to_string(value));
  }
}

void via(std::string& line,
         const IpGenAddr& hop,
         IntfId intfId,
         std::uint32_t weight,
         MplsLabelAndAction label) {
  line.append(" via ").append(hop ? hop.stringValue() : "0.0.0.0");
  line.append(" intf ").append(intfId.stringValue());
  option(line, "weight", weight, 1);
  option(line, "label", label.label(), MplsLabelAndAction::noLabel);
  option(line, "action", label.action(), MplsLabelAndAction::noAction);
}

}  // namespace

std::string word(std::string_view name) {
  std::string text;
  for (const char letter : name) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte <= ' ' || letter == '#' || letter == '%') {
      text.push_back('%');
      text.push_back(hexadecimal[byte / 16U]);
      text.push_back(hexadecimal[byte % 16U]);
    } else {
      text.push_back(letter);
    }
  }
  return text.empty() ? "%" : text;
}

std::string_view familyWord(AddressFamily family) noexcept {
  return family == AddressFamily::ipv4 ? "ipv4" : "ipv6";
}

std::string_view kindWord(NexthopStatusFecIdType kind) noexcept {
  return kind == NexthopStatusFecIdType::fibFecId ? "fib" : "resolver";
}

std::string route(std::string_view command,
                  std::string_view vrf,
                  const IpGenPrefix& prefix,
                  const Fib::Route& route) {
  constexpr Fib::Route standard;
  std::string line(command);
  line.append(" ").append(vrf).append(" ").append(prefix.stringValue());
  line.append(" fec ").append(std::to_string(route.fecId()));
  const auto metric = static_cast<std::uint32_t>(route.metricPref());
  option(line, "metric", metric, 0);
  option(line, "preference", route.metricPref() >> 32U, standard.metricPref() >> 32U);
  option(line, "type", route.routeType(), standard.routeType());
  return line;
}

std::string fec(const FibGen::Fec& fec) {
  std::string line = "fec " + std::to_string(fec.fecId());
  option(line, "boundary", fec.viaIndexBoundary(), 0);
  for (const FibGen::Via& member : fec.via()) {
    via(line, member.hop, member.intfId, member.weight, member.labelAndAction);
  }
  return line;
}

std::string published(std::string_view vrf, const NexthopResolverIdVia& record) {
  std::string line = "published ";
  line.append(vrf).append(" ").append(std::to_string(record.resolverId().value()));
  for (const NexthopResolverVia& member : record.nexthopResolverVia()) {
    via(line, member.hop(), member.intfId(), member.weight(), member.mplsLabelAndAction());
  }
  return line;
}

std::string statusEntry(std::string_view client,
                        std::string_view vrf,
                        NexthopStatusFecIdType kind,
                        const NexthopStatusEntry& entry) {
  std::string line = "status-entry ";
  line.append(client).append(" ").append(vrf).append(" ").append(kindWord(kind));
  line.append(" ").append(entry.addr.stringValue());
  line.append(" fec ").append(std::to_string(entry.fecId));
  line.append(" prefix ").append(entry.prefix.stringValue());
  return line;
}

std::string advance(Nanoseconds duration) {
  constexpr std::int64_t thousand = 1000;
  const std::int64_t milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
  const std::string decimals = std::to_string(thousand + milliseconds % thousand).substr(1);
  return "advance " + std::to_string(milliseconds / thousand) + "." + decimals;
}

}  // namespace Routing::Host::ReplayLines
