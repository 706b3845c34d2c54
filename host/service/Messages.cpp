#include "host/service/Messages.h"

#include <array>

namespace Routing::Host {

namespace {

constexpr int mostAddresses = 10'000;
constexpr std::size_t bytes4 = 4;
constexpr std::size_t bytes6 = 16;

grpc::StatusCode codeOf(RequestFault fault) noexcept {
  switch (fault) {
    case RequestFault::invalid:
      return grpc::StatusCode::INVALID_ARGUMENT;
    case RequestFault::notFound:
      return grpc::StatusCode::NOT_FOUND;
    case RequestFault::conflict:
      return grpc::StatusCode::FAILED_PRECONDITION;
    case RequestFault::alreadyExists:
      return grpc::StatusCode::ALREADY_EXISTS;
    case RequestFault::denied:
      return grpc::StatusCode::PERMISSION_DENIED;
    case RequestFault::exhausted:
      return grpc::StatusCode::RESOURCE_EXHAUSTED;
  }
  return grpc::StatusCode::INTERNAL;
}

// The address's own bytes, 4 or 16.
std::size_t sizeOf(AddressFamily family) noexcept {
  return family == AddressFamily::ipv4 ? bytes4 : bytes6;
}

void labelTo(Proto::Via& message, MplsLabelAndAction label) {
  if (label.label() != MplsLabelAndAction::noLabel) {
    message.set_label(label.label());
  }
}

}  // namespace

VrfName vrfOf(const std::string& name) { return name.empty() ? "default" : name; }

IpGenAddr addressOf(const std::string& bytes, const std::string& field) {
  const auto byteAt = [&bytes](std::size_t index) {
    return static_cast<std::uint8_t>(bytes[index]);
  };
  if (bytes.size() == bytes4) {
    std::uint32_t word = 0;
    for (std::size_t index = 0; index < bytes4; ++index) {
      word = word << 8U | byteAt(index);
    }
    return IpGenAddr::ipv4(word);
  }
  if (bytes.size() == bytes6) {
    IpGenAddr::Bytes all{};
    for (std::size_t index = 0; index < bytes6; ++index) {
      all[index] = byteAt(index);
    }
    return IpGenAddr::ipv6(all);
  }
  throw RequestError(RequestFault::invalid,
                     field,
                     "an address has 4 or 16 bytes, not " + std::to_string(bytes.size()));
}

std::vector<IpGenAddr> addressesOf(const AddressField& addresses) {
  if (addresses.size() > mostAddresses) {
    throw RequestError(RequestFault::exhausted,
                       "addresses",
                       "a request has at most " + std::to_string(mostAddresses) +
                           " addresses, not " + std::to_string(addresses.size()));
  }
  std::vector<IpGenAddr> result;
  result.reserve(static_cast<std::size_t>(addresses.size()));
  for (int index = 0; index < addresses.size(); ++index) {
    const std::string& bytes = addresses.Get(index);
    // The name of the field is made only when it is needed.
    result.push_back(bytes.size() == bytes4 || bytes.size() == bytes6
                         ? addressOf(bytes, {})
                         : addressOf(bytes, "addresses[" + std::to_string(index) + "]"));
  }
  return result;
}

Policy policyOf(const Proto::Policy& policy) {
  constexpr std::uint32_t longest = 128;
  if (policy.minimum_prefix_length() > longest) {
    throw RequestError(
        RequestFault::invalid,
        "policy.minimum_prefix_length",
        "no prefix has the length " + std::to_string(policy.minimum_prefix_length()));
  }
  Policy result;
  result.minimumPrefixLength = static_cast<std::uint8_t>(policy.minimum_prefix_length());
  result.refuseDefaultRoute = policy.refuse_default_route();
  result.connectedOnly = policy.connected_only();
  result.refuseBlackhole = policy.refuse_blackhole();
  return result;
}

NexthopStatusFecIdType kindOf(Proto::IdentifierKind kind) {
  switch (kind) {
    case Proto::IDENTIFIER_KIND_UNSPECIFIED:
    case Proto::IDENTIFIER_KIND_FIB:
      return NexthopStatusFecIdType::fibFecId;
    case Proto::IDENTIFIER_KIND_RESOLVER:
      return NexthopStatusFecIdType::resolverId;
    default:
      throw RequestError(RequestFault::invalid,
                         "kind",
                         "there is no kind of identifier " + std::to_string(kind));
  }
}

Proto::IdentifierKind kindOf(NexthopStatusFecIdType kind) noexcept {
  return kind == NexthopStatusFecIdType::fibFecId ? Proto::IDENTIFIER_KIND_FIB
                                                  : Proto::IDENTIFIER_KIND_RESOLVER;
}

void policyTo(Proto::Policy& message, const Policy& policy) {
  message.set_minimum_prefix_length(policy.minimumPrefixLength);
  message.set_refuse_default_route(policy.refuseDefaultRoute);
  message.set_connected_only(policy.connectedOnly);
  message.set_refuse_blackhole(policy.refuseBlackhole);
}

void addressTo(std::string& bytes, const IpGenAddr& addr) {
  if (!addr) {
    bytes.clear();
    return;
  }
  const IpGenAddr::Bytes all = addr.bytes();
  bytes.assign(reinterpret_cast<const char*>(all.data()), sizeOf(addr.family()));
}

void statusTo(Proto::NexthopStatus& message, const IpGenAddr& addr, const Told& told) {
  const NexthopView& view = told.view;
  addressTo(*message.mutable_address(), addr);
  message.set_state(static_cast<Proto::NexthopState>(view.state));
  message.set_reason(static_cast<Proto::Reason>(view.reason));
  message.set_identifier(view.identifier);
  message.set_previous_identifier(told.previousIdentifier);
  if (view.prefix) {
    addressTo(*message.mutable_prefix(), view.prefix.address());
    message.set_prefix_length(view.prefix.length());
    message.set_metric(view.metric);
    message.set_preference(view.preference);
    message.set_route_type(view.routeType);
  }
  message.set_epoch(told.epoch);
  message.set_changed_at(told.changedAt);
  message.set_stale(told.stale());
}

void eventTo(Proto::HistoryEvent& message, const NexthopEvent& event) {
  message.set_at(event.at);
  message.set_state(static_cast<Proto::NexthopState>(event.state));
  message.set_reason(static_cast<Proto::Reason>(event.reason));
  message.set_identifier(event.identifier);
  addressTo(*message.mutable_prefix(), event.prefix.address());
  message.set_prefix_length(event.prefix.length());
  message.set_epoch(event.epoch);
}

void viaTo(Proto::Via& message, const FibGen::Via& via) {
  message.set_interface_index(via.intfId.value);
  addressTo(*message.mutable_address(), via.hop);
  message.set_weight(via.weight);
  labelTo(message, via.labelAndAction);
}

void viaTo(Proto::Via& message, const NexthopResolverVia& via) {
  message.set_interface_index(via.intfId().value);
  addressTo(*message.mutable_address(), via.hop());
  message.set_weight(via.weight());
  labelTo(message, via.mplsLabelAndAction());
  message.set_beyond_boundary(via.beyondBoundary());
}

grpc::Status statusOf(const RequestError& error) {
  Proto::BadField details;
  details.set_field(error.field());
  details.set_reason(error.what());
  return {codeOf(error.fault()), error.field() + ": " + error.what(), details.SerializeAsString()};
}

}  // namespace Routing::Host
