#pragma once

// Between the daemon's values and the service's messages (nexthop.proto).
//
// What comes in is checked here, value by value. Throws: RequestError.

#include <google/protobuf/repeated_ptr_field.h>
#include <grpcpp/support/status.h>
#include <nexthop/v1/nexthop.pb.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/service/NexthopSlots.h"
#include "host/service/NexthopView.h"
#include "host/service/RequestError.h"
#include "platform/fib/Fec.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatusFecIdType.h"

namespace Routing::Host {

namespace Proto = ::nexthop::v1;
using AddressField = ::google::protobuf::RepeatedPtrField<std::string>;

// ---- in ----------------------------------------------------------------------------------------

// "default" for the empty name.
VrfName vrfOf(const std::string& name);
IpGenAddr addressOf(const std::string& bytes, const std::string& field);
std::vector<IpGenAddr> addressesOf(const AddressField& addresses);
Policy policyOf(const Proto::Policy& policy);
NexthopStatusFecIdType kindOf(Proto::IdentifierKind kind);

// ---- out ---------------------------------------------------------------------------------------

Proto::IdentifierKind kindOf(NexthopStatusFecIdType kind) noexcept;
void policyTo(Proto::Policy& message, const Policy& policy);
void addressTo(std::string& bytes, const IpGenAddr& addr);
// Fills a fresh or cleared message.
void statusTo(Proto::NexthopStatus& message, const IpGenAddr& addr, const Told& told);
void eventTo(Proto::HistoryEvent& message, const NexthopEvent& event);
void viaTo(Proto::Via& message, const FibGen::Via& via);
void viaTo(Proto::Via& message, const NexthopResolverVia& via);

// The status of a refused request, with its BadField.
grpc::Status statusOf(const RequestError& error);

}  // namespace Routing::Host
