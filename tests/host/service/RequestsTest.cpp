// What a bad request is told, and that it changes nothing.

#include "tests/host/service/ServiceFixture.h"

namespace Routing::Host {
namespace {

using ::testing::IsEmpty;

struct BadRequest {
  const char* name;
  std::function<void(Proto::RegisterRequest& request)> spoil;
  grpc::StatusCode code;
  const char* told;
};

const std::vector<BadRequest> badRequests{
    {"AddressOfFiveBytes",
     [](auto& request) { *request.add_addresses() = "12345"; },
     grpc::StatusCode::INVALID_ARGUMENT,
     "addresses[2]: an address has 4 or 16 bytes, not 5"},
    {"AddressOfNoBytes",
     [](auto& request) { request.add_addresses(); },
     grpc::StatusCode::INVALID_ARGUMENT,
     "addresses[2]: an address has 4 or 16 bytes, not 0"},
    {"UnknownVrf",
     [](auto& request) { request.set_vrf("red"); },
     grpc::StatusCode::NOT_FOUND,
     "vrf: there is no VRF red"},
    {"NoName",
     [](auto& request) { request.clear_client(); },
     grpc::StatusCode::INVALID_ARGUMENT,
     "client: a client's name is 1 to 64 letters, digits, '-', '_' and '.'"},
    {"UnknownKind",
     [](auto& request) { request.set_kind(static_cast<Proto::IdentifierKind>(9)); },
     grpc::StatusCode::INVALID_ARGUMENT,
     "kind: there is no kind of identifier 9"},
    {"PrefixLengthOfNoFamily",
     [](auto& request) { request.mutable_policy()->set_minimum_prefix_length(129); },
     grpc::StatusCode::INVALID_ARGUMENT,
     "policy.minimum_prefix_length: no prefix has the length 129"},
    {"PrefixLengthOfTheOtherFamily",
     [](auto& request) { request.mutable_policy()->set_minimum_prefix_length(64); },
     grpc::StatusCode::INVALID_ARGUMENT,
     "policy.minimum_prefix_length: no prefix of 10.0.0.1 is that long"},
    {"OverTheLimitOfRegistrations",
     [](auto& request) {
       for (std::uint32_t index = 0; index < 10; ++index) {
         addressTo(*request.add_addresses(), IpGenAddr::ipv4(index));
       }
     },
     grpc::StatusCode::RESOURCE_EXHAUSTED,
     "addresses: at most 10 nexthops are registered at a time, 0 are"},
    {"OverTheLimitOfARequest",
     [](auto& request) {
       for (std::uint32_t index = 0; index < 10'000; ++index) {
         addressTo(*request.add_addresses(), IpGenAddr::ipv4(index));
       }
     },
     grpc::StatusCode::RESOURCE_EXHAUSTED,
     "addresses: a request has at most 10000 addresses, not 10002"},
};

class Refused : public ServiceFixture, public ::testing::WithParamInterface<BadRequest> {};

TEST_P(Refused, IsToldTheFieldAndNothingChanges) {
  options.limits.registrations = 10;
  start();
  const auto stub = connect();
  Proto::RegisterRequest request = registration("bgp", {"10.0.0.1", "10.0.0.2"});
  GetParam().spoil(request);
  const grpc::Status status = registerAll(*stub, request);
  EXPECT_EQ(status.error_code(), GetParam().code);
  EXPECT_EQ(badField(status), GetParam().told);
  onLoop([this] {
    EXPECT_TRUE(vrfs->records().configs->entry().empty());
    EXPECT_TRUE(vrfs->records().statuses->entry().empty());
    EXPECT_EQ(service->figures().registrations, 0U);
  });
  EXPECT_THAT(store.values, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Rows, Refused, ::testing::ValuesIn(badRequests), [](const auto& row) {
  return std::string(row.param.name);
});

// What of the other requests is refused: of each a good one, spoilt in one place.
using Stub = Proto::Nexthops::Stub;

template <class Request, class Response>
std::function<grpc::Status(Stub& stub)> call(grpc::Status (Stub::*method)(grpc::ClientContext*,
                                                                          const Request&,
                                                                          Response*),
                                             const std::function<void(Request& request)>& spoil) {
  return [method, spoil](Stub& stub) {
    grpc::ClientContext context;
    Request request;
    if constexpr (requires { request.set_address(""); }) {
      request.set_address(bytesOf("10.0.0.1"));
    } else if constexpr (requires { request.add_addresses(""); }) {
      request.add_addresses(bytesOf("10.0.0.1"));
    }
    spoil(request);
    Response response;
    return (stub.*method)(&context, request, &response);
  };
}

struct BadCall {
  const char* name;
  std::function<grpc::Status(Stub& stub)> call;
  grpc::StatusCode code;
  const char* told;
};

const std::vector<BadCall> badCalls{
    {"ResolveInAnUnknownVrf",
     call<Proto::ResolveRequest>(&Stub::Resolve, [](auto& request) { request.set_vrf("red"); }),
     grpc::StatusCode::NOT_FOUND,
     "vrf: there is no VRF red"},
    {"ResolveOfAnAddressOfFiveBytes",
     call<Proto::ResolveRequest>(&Stub::Resolve,
                                 [](auto& request) { request.add_addresses("12345"); }),
     grpc::StatusCode::INVALID_ARGUMENT,
     "addresses[1]: an address has 4 or 16 bytes, not 5"},
    {"ResolveWithThePrefixLengthOfTheOtherFamily",
     call<Proto::ResolveRequest>(
         &Stub::Resolve,
         [](auto& request) { request.mutable_policy()->set_minimum_prefix_length(33); }),
     grpc::StatusCode::INVALID_ARGUMENT,
     "policy.minimum_prefix_length: no prefix of 10.0.0.1 is that long"},
    {"ExplainWithThePrefixLengthOfTheOtherFamily",
     call<Proto::ExplainRequest>(
         &Stub::Explain,
         [](auto& request) { request.mutable_policy()->set_minimum_prefix_length(33); }),
     grpc::StatusCode::INVALID_ARGUMENT,
     "policy.minimum_prefix_length: no prefix of 10.0.0.1 is that long"},
    {"ExplainOfNoAddress",
     call<Proto::ExplainRequest>(&Stub::Explain, [](auto& request) { request.clear_address(); }),
     grpc::StatusCode::INVALID_ARGUMENT,
     "address: an address has 4 or 16 bytes, not 0"},
    {"ExplainForAnUnknownClient",
     call<Proto::ExplainRequest>(&Stub::Explain, [](auto& request) { request.set_client("bgp"); }),
     grpc::StatusCode::NOT_FOUND,
     "client: there is no client bgp"},
    {"HistoryInAnUnknownVrf",
     call<Proto::HistoryRequest>(&Stub::History, [](auto& request) { request.set_vrf("red"); }),
     grpc::StatusCode::NOT_FOUND,
     "vrf: there is no VRF red"},
    {"GraphOfAnUnknownVrf",
     call<Proto::GraphRequest>(&Stub::Graph, [](auto& request) { request.set_vrf("red"); }),
     grpc::StatusCode::NOT_FOUND,
     "vrf: there is no VRF red"},
    {"UnregisterOfNoName",
     call<Proto::UnregisterRequest>(&Stub::Unregister, [](auto& /*request*/) {}),
     grpc::StatusCode::INVALID_ARGUMENT,
     "client: a client's name is 1 to 64 letters, digits, '-', '_' and '.'"},
};

class RefusedCall : public ServiceFixture, public ::testing::WithParamInterface<BadCall> {};

TEST_P(RefusedCall, IsToldTheField) {
  start();
  const auto stub = connect();
  const grpc::Status status = GetParam().call(*stub);
  EXPECT_EQ(status.error_code(), GetParam().code);
  EXPECT_EQ(badField(status), GetParam().told);
}

INSTANTIATE_TEST_SUITE_P(Rows, RefusedCall, ::testing::ValuesIn(badCalls), [](const auto& row) {
  return std::string(row.param.name);
});

class Requests : public ServiceFixture {};

TEST_F(Requests, TheHistoryInAVrfThatHasGoneIsTold) {
  start();
  const auto stub = connect();
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  onLoop([this] { vrfs->vrfDel("default"); });
  Proto::HistoryRequest request;
  request.set_address(bytesOf("10.0.0.1"));
  Proto::HistoryResponse response;
  grpc::ClientContext context;
  ASSERT_TRUE(stub->History(&context, request, &response).ok());
  ASSERT_EQ(response.histories_size(), 1);
  EXPECT_EQ(lineOf(response.histories(0).status()), "10.0.0.1 unknown vrf-gone");
}

TEST_F(Requests, AllTogetherWithAddressesIsRefused) {
  start();
  const auto stub = connect();
  Proto::UnregisterRequest request;
  request.set_client("bgp");
  request.set_all(true);
  request.add_addresses(bytesOf("10.0.0.1"));
  Proto::UnregisterResponse response;
  grpc::ClientContext context;
  EXPECT_EQ(badField(stub->Unregister(&context, request, &response)),
            "addresses: with `all` there are no addresses");
}

TEST_F(Requests, OwnersArePutIntoTheStoreBeforeTheAnswer) {
  start();
  const auto stub = connect();
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  onLoop([this] {
    EXPECT_THAT(
        store.values,
        ::testing::ElementsAre(::testing::Pair("client/bgp", "uid:" + std::to_string(::getuid()))));
  });
}

TEST_F(Requests, NothingIsAnsweredInATurnThatIsNotFlushed) {
  start();
  const auto stub = connect();
  grpc::ClientContext context;
  const Proto::RegisterRequest request = registration("bgp", {"10.0.0.1"});
  Proto::RegisterResponse response;
  std::promise<grpc::Status> answer;
  bool registered = false;
  flushing = false;
  stub->async()->Register(&context, &request, &response, [&answer](const grpc::Status& status) {
    answer.set_value(status);
  });
  while (!registered) {
    onLoop([&] { registered = service->figures().registrations == 1; });
  }
  auto result = answer.get_future();
  EXPECT_EQ(result.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  onLoop([this] { flushing = true; });
  EXPECT_TRUE(result.get().ok());
}

}  // namespace
}  // namespace Routing::Host
