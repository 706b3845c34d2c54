// The requests that look and change nothing, over the Unix socket.

#include "host/feed/RouteType.h"
#include "platform/trace/TraceFacility.h"
#include "tests/host/service/ServiceFixture.h"

namespace Routing::Host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Query : public ServiceFixture {
 protected:
  Query() {
    hooks.interfaceName = [](std::uint32_t index) { return "eth" + std::to_string(index); };
    hooks.kernelRoutes = [](const Vrf&, const IpGenPrefix& prefix) {
      return std::vector<std::string>{"kernel's " + prefix.stringValue()};
    };
    hooks.counters = [](std::map<std::string, std::uint64_t>& counters) {
      counters["resyncs"] = 3;
    };
  }

  template <class Request, class Response>
  Response ask(grpc::Status (Stub::*method)(grpc::ClientContext*, const Request&, Response*),
               const Request& request) {
    grpc::ClientContext context;
    Response response;
    const grpc::Status status = (stub().*method)(&context, request, &response);
    EXPECT_TRUE(status.ok()) << status.error_message();
    return response;
  }
  Stub& stub() {
    if (!stub_) {
      stub_ = connect();
    }
    return *stub_;
  }
  Proto::ExplainResponse explain(const std::string& addr) {
    Proto::ExplainRequest request;
    request.set_address(bytesOf(addr));
    return ask(&Stub::Explain, request);
  }
  static std::vector<std::string> linesOf(const Proto::ExplainResponse& response) {
    std::vector<std::string> lines;
    for (const Proto::Candidate& candidate : response.candidates()) {
      lines.push_back(textOf(candidate.prefix()) + "/" + std::to_string(candidate.prefix_length()) +
                      " " + Proto::Verdict_Name(candidate.verdict()));
    }
    return lines;
  }

 private:
  std::unique_ptr<Stub> stub_;
};

TEST_F(Query, ResolveLooksUpAndRegistersNothing) {
  start();
  routeIs("10.0.0.0/8", 12);
  routeIs("2001:db8::/32", 13);
  Proto::ResolveRequest request;
  for (const char* addr : {"10.0.0.1", "192.168.0.1", "2001:db8::1"}) {
    request.add_addresses(bytesOf(addr));
  }
  const Proto::ResolveResponse response = ask(&Stub::Resolve, request);
  ASSERT_EQ(response.resolutions_size(), 3);
  EXPECT_EQ(lineOf(response.resolutions(0).status()), "10.0.0.1 resolved 12 10.0.0.0/8");
  EXPECT_EQ(lineOf(response.resolutions(1).status()), "192.168.0.1 failed no-route");
  EXPECT_EQ(lineOf(response.resolutions(2).status()), "2001:db8::1 resolved 13 2001:db8::/32");
  ASSERT_EQ(response.resolutions(0).vias_size(), 1);
  const Proto::Via& via = response.resolutions(0).vias(0);
  EXPECT_EQ(textOf(via.address()), "192.0.2.1");
  EXPECT_EQ(via.interface(), "eth1");
  EXPECT_EQ(via.weight(), 1U);
  EXPECT_FALSE(via.has_label());
  onLoop([this] { EXPECT_TRUE(vrfs->records().configs->entry().empty()); });
}

TEST_F(Query, ResolveJudgesByThePolicyOfTheRequest) {
  start();
  routeIs("10.0.0.0/8", 12);
  Proto::ResolveRequest request;
  request.add_addresses(bytesOf("10.0.0.1"));
  request.mutable_policy()->set_minimum_prefix_length(9);
  EXPECT_EQ(lineOf(ask(&Stub::Resolve, request).resolutions(0).status()),
            "10.0.0.1 failed prefix-too-short");
}

TEST_F(Query, NothingIsAnsweredFromTablesThatHaveNotBeenReadWhole) {
  managing = false;
  start();
  routeIs("0.0.0.0/0", 12);
  Proto::ResolveRequest request;
  request.add_addresses(bytesOf("10.0.0.1"));
  request.add_addresses(bytesOf("2001:db8::1"));
  const Proto::ResolveResponse response = ask(&Stub::Resolve, request);
  EXPECT_EQ(lineOf(response.resolutions(0).status()), "10.0.0.1 unknown resyncing");
  EXPECT_EQ(response.resolutions(0).vias_size(), 0);
  EXPECT_EQ(lineOf(response.resolutions(1).status()), "2001:db8::1 unknown resyncing");
  const Proto::ExplainResponse explained = explain("10.0.0.1");
  EXPECT_EQ(lineOf(explained.status()), "10.0.0.1 unknown resyncing");
  EXPECT_THAT(linesOf(explained), IsEmpty());
}

TEST_F(Query, ExplainShowsEveryCoveringPrefixTheLongestFirst) {
  start();
  routeIs("0.0.0.0/0", 11);
  routeIs("10.0.0.0/8", 12);
  routeIs("10.0.0.0/24", 13);
  routeIs("10.0.1.0/24", 14);
  const Proto::ExplainResponse response = explain("10.0.0.1");
  EXPECT_THAT(linesOf(response),
              ElementsAre("10.0.0.0/24 VERDICT_WON",
                          "10.0.0.0/8 VERDICT_SHORTER",
                          "0.0.0.0/0 VERDICT_SHORTER"));
  EXPECT_EQ(response.candidates(0).fec_id(), 13U);
  EXPECT_EQ(response.candidates(0).metric(), 20U);
  EXPECT_THAT(response.candidates(0).kernel_routes(), ElementsAre("kernel's 10.0.0.0/24"));
  EXPECT_EQ(lineOf(response.status()), "10.0.0.1 resolved 13 10.0.0.0/24");
  EXPECT_EQ(response.vias_size(), 1);
}

TEST_F(Query, ExplainOfAnAddressThatNothingCoversHasNoCandidate) {
  start();
  const Proto::ExplainResponse response = explain("10.0.0.1");
  EXPECT_THAT(linesOf(response), IsEmpty());
  EXPECT_EQ(lineOf(response.status()), "10.0.0.1 failed no-route");
}

TEST_F(Query, ExplainJudgesByTheClientsRegistration) {
  start();
  routeIs("10.0.0.0/8", 12, static_cast<std::uint8_t>(RouteType::blackhole));
  Proto::RegisterRequest registered = registration("bgp", {"10.0.0.1"});
  registered.mutable_policy()->set_refuse_blackhole(true);
  ASSERT_TRUE(registerAll(stub(), registered).ok());
  Proto::ExplainRequest request;
  request.set_address(bytesOf("10.0.0.1"));
  request.set_client("bgp");
  Proto::ExplainResponse response = ask(&Stub::Explain, request);
  EXPECT_THAT(linesOf(response), ElementsAre("10.0.0.0/8 VERDICT_REFUSED"));
  EXPECT_EQ(response.candidates(0).reason(), Proto::REASON_BLACKHOLE);
  EXPECT_EQ(lineOf(response.status()), "10.0.0.1 failed blackhole");
  ASSERT_EQ(response.histories_size(), 1);
  EXPECT_TRUE(response.histories(0).policy().refuse_blackhole());
  request.clear_client();
  response = ask(&Stub::Explain, request);
  EXPECT_THAT(linesOf(response), ElementsAre("10.0.0.0/8 VERDICT_WON"));
}

TEST_F(Query, WhileRoutingIsOffNoCandidateCounts) {
  start();
  routeIs("10.0.0.0/8", 12);
  onLoop([this] {
    entityOf<RoutingInfo>(*vrfs->records().routing4, "default")->routingEnabledIs(false);
  });
  const Proto::ExplainResponse response = explain("10.0.0.1");
  EXPECT_THAT(linesOf(response), ElementsAre("10.0.0.0/8 VERDICT_ROUTING_OFF"));
  EXPECT_EQ(lineOf(response.status()), "10.0.0.1 failed routing-off");
}

TEST_F(Query, HistoryTellsEachClientsEvents) {
  start();
  ASSERT_TRUE(registerAll(stub(), registration("bgp", {"10.0.0.1"})).ok());
  ASSERT_TRUE(registerAll(stub(), registration("ospf", {"10.0.0.1"})).ok());
  onLoop([] {});
  routeIs("10.0.0.0/8", 12);
  Proto::HistoryRequest request;
  request.set_address(bytesOf("10.0.0.1"));
  EXPECT_EQ(ask(&Stub::History, request).histories_size(), 2);
  request.set_client("ospf");
  const Proto::HistoryResponse response = ask(&Stub::History, request);
  ASSERT_EQ(response.histories_size(), 1);
  const Proto::ClientHistory& history = response.histories(0);
  EXPECT_EQ(history.client(), "ospf");
  ASSERT_EQ(history.events_size(), 2);
  EXPECT_EQ(history.events(0).reason(), Proto::REASON_NO_ROUTE);
  EXPECT_EQ(history.events(1).identifier(), 12U);
  EXPECT_EQ(history.events(1).prefix_length(), 8U);
  EXPECT_LE(history.events(0).at(), history.events(1).at());
}

TEST_F(Query, GraphNamesEachFecOnceAndKeepsToItsLimit) {
  start();
  routeIs("10.0.0.0/8", 12);
  ASSERT_TRUE(
      registerAll(stub(), registration("bgp", {"10.0.0.1", "10.0.0.2", "192.168.0.1"})).ok());
  onLoop([] {});
  const Proto::GraphResponse whole = ask(&Stub::Graph, Proto::GraphRequest());
  ASSERT_EQ(whole.nexthops_size(), 3);
  EXPECT_EQ(whole.nexthops(0).fec_id(), 12U);
  EXPECT_EQ(whole.nexthops(2).fec_id(), 0U);
  ASSERT_EQ(whole.fecs_size(), 1);
  EXPECT_EQ(whole.fecs(0).vias_size(), 1);
  EXPECT_FALSE(whole.truncated());
  Proto::GraphRequest request;
  request.set_limit(2);
  const Proto::GraphResponse part = ask(&Stub::Graph, request);
  EXPECT_EQ(part.nexthops_size(), 2);
  EXPECT_TRUE(part.truncated());
}

TEST_F(Query, ListVrfsCountsWhatEachHas) {
  start();
  routeIs("10.0.0.0/8", 12);
  routeIs("2001:db8::/32", 12);
  Proto::RegisterRequest request = registration("bgp", {"10.0.0.1"});
  request.set_kind(Proto::IDENTIFIER_KIND_RESOLVER);
  ASSERT_TRUE(registerAll(stub(), request).ok());
  onLoop([] {});
  const Proto::ListVrfsResponse response = ask(&Stub::ListVrfs, Proto::ListVrfsRequest());
  ASSERT_EQ(response.vrfs_size(), 1);
  const Proto::Vrf& only = response.vrfs(0);
  EXPECT_EQ(only.name(), "default");
  EXPECT_EQ(only.table(), 254U);
  EXPECT_TRUE(only.serving() && only.routing4() && only.routing6());
  EXPECT_EQ(only.routes4(), 1U);
  EXPECT_EQ(only.routes6(), 1U);
  EXPECT_EQ(only.fecs(), 1U);
  EXPECT_EQ(only.identifiers(), 1U);
  EXPECT_EQ(only.registrations(), 1U);
}

TEST_F(Query, ListClientsTellsUserStreamAndGrace) {
  start();
  ASSERT_TRUE(registerAll(stub(), registration("bgp", {"10.0.0.1"})).ok());
  Watching watching(stub(), watchOf("live"));
  watching.snapshot();
  const Proto::ListClientsResponse response = ask(&Stub::ListClients, Proto::ListClientsRequest());
  ASSERT_EQ(response.clients_size(), 2);
  const Proto::Client& bgp = response.clients(0);
  EXPECT_EQ(bgp.name(), "bgp");
  EXPECT_EQ(bgp.user(), "uid:" + std::to_string(::getuid()));
  EXPECT_FALSE(bgp.live());
  EXPECT_GT(bgp.grace_left(), 0.0);
  EXPECT_LE(bgp.grace_left(), 300.0);
  ASSERT_EQ(bgp.vrfs_size(), 1);
  EXPECT_EQ(bgp.vrfs(0).registrations(), 1U);
  EXPECT_TRUE(response.clients(1).live());
}

TEST_F(Query, GetInfoTellsOfTheDaemon) {
  hooks.synced = [] { return false; };
  start();
  const Proto::GetInfoResponse response = ask(&Stub::GetInfo, Proto::GetInfoRequest());
  EXPECT_EQ(response.version(), "test");
  EXPECT_EQ(response.run(), 7U);
  EXPECT_FALSE(response.synced());
  EXPECT_EQ(response.counters().at("resyncs"), 3U);
  EXPECT_EQ(response.counters().at("registrations"), 0U);
}

// A stream of another kind than Watch, read by the test.
template <class Request, class Response>
class Reading {
 public:
  using Method = std::unique_ptr<grpc::ClientReader<Response>> (
      Proto::Nexthops::Stub::*)(grpc::ClientContext*, const Request&);
  Reading(Proto::Nexthops::Stub& stub, Method method, const Request& request)
      : reader_((stub.*method)(&context_, request)) {}
  ~Reading() {
    context_.TryCancel();
    static_cast<void>(finish());
  }
  Response next() {
    Response response;
    EXPECT_TRUE(reader_->Read(&response));
    return response;
  }
  grpc::Status finish() {
    Response rest;
    while (!finished_ && reader_->Read(&rest)) {
    }
    return std::exchange(finished_, true) ? grpc::Status::OK : reader_->Finish();
  }

 private:
  grpc::ClientContext context_;
  std::unique_ptr<grpc::ClientReader<Response>> reader_;
  bool finished_ = false;
};

class Forwarding : public Query {
 protected:
  using Reader = Reading<Proto::WatchForwardingRequest, Proto::WatchForwardingResponse>;
};

TEST_F(Forwarding, TheViasOfAnIdentifierComeAndGoWithIt) {
  start();
  routeIs("10.0.0.0/8", 12);
  Reader reader(stub(), &Stub::WatchForwarding, {});
  EXPECT_TRUE(reader.next().snapshot_begin());
  EXPECT_TRUE(reader.next().snapshot_end());
  Proto::RegisterRequest request = registration("bgp", {"10.0.0.1"});
  request.set_kind(Proto::IDENTIFIER_KIND_RESOLVER);
  ASSERT_TRUE(registerAll(stub(), request).ok());
  const Proto::WatchForwardingResponse added = reader.next();
  ASSERT_EQ(added.entries_size(), 1);
  EXPECT_EQ(added.entries(0).identifier(), 4U);
  ASSERT_EQ(added.entries(0).vias_size(), 1);
  EXPECT_EQ(textOf(added.entries(0).vias(0).address()), "192.0.2.1");
  EXPECT_EQ(added.entries(0).vias(0).interface(), "eth1");
  Proto::UnregisterRequest all;
  all.set_client("bgp");
  all.set_all(true);
  EXPECT_EQ(ask(&Stub::Unregister, all).removed(), 1U);
  const Proto::WatchForwardingResponse removed = reader.next();
  ASSERT_EQ(removed.entries_size(), 1);
  EXPECT_EQ(removed.entries(0).identifier(), 4U);
  EXPECT_TRUE(removed.entries(0).removed());
}

TEST_F(Forwarding, TheStreamEndsWithItsVrf) {
  start();
  Reader reader(stub(), &Stub::WatchForwarding, {});
  EXPECT_TRUE(reader.next().snapshot_begin());
  onLoop([this] { vrfs->vrfDel("default"); });
  EXPECT_TRUE(reader.finish().ok());
}

TEST_F(Forwarding, ASnapshotOnlyStreamEndsByItself) {
  start();
  Proto::WatchForwardingRequest request;
  request.set_snapshot_only(true);
  Reader reader(stub(), &Stub::WatchForwarding, request);
  EXPECT_TRUE(reader.next().snapshot_begin());
  EXPECT_TRUE(reader.next().snapshot_end());
  EXPECT_TRUE(reader.finish().ok());
}

class Tracing : public Query {
 protected:
  using Reader = Reading<Proto::TraceRequest, Proto::TraceResponse>;
  // A trace stream is open once its facility's level is on.
  void waitUntilOn(bool on) {
    for (bool is = !on; is != on;) {
      onLoop([&is] { is = TraceFacility::find("NexthopResolverSm")->textOn(7); });
    }
  }
};

TEST_F(Tracing, LinesOfTheLevelsAndFacilitiesAskedForComeWhileTheStreamIsOpen) {
  start();
  {
    Proto::TraceRequest request;
    request.set_levels("7");
    request.add_facilities("NexthopResolverSm");
    Reader reader(stub(), &Stub::Trace, request);
    waitUntilOn(true);
    ASSERT_TRUE(registerAll(stub(), registration("bgp", {"10.0.0.1"})).ok());
    const Proto::TraceResponse response = reader.next();
    ASSERT_GT(response.lines_size(), 0);
    for (const Proto::TraceLine& line : response.lines()) {
      EXPECT_EQ(line.level(), 7U);
      EXPECT_EQ(line.facility(), "NexthopResolverSm");
    }
    EXPECT_THAT(response.lines(0).text(), ::testing::HasSubstr("10.0.0.1"));
    EXPECT_EQ(response.lost(), 0U);
  }
  waitUntilOn(false);
}

TEST_F(Tracing, LevelsThatDoNotReadAndUnknownFacilitiesAreRefused) {
  start();
  Proto::TraceRequest request;
  request.set_levels("everything");
  EXPECT_EQ(badField(Reader(stub(), &Stub::Trace, request).finish()),
            "levels: levels are \"off\", \"8\", \"1-4\" or \"1,2,7-9\", not \"everything\"");
  request.clear_levels();
  request.add_facilities("Nothing");
  EXPECT_EQ(badField(Reader(stub(), &Stub::Trace, request).finish()),
            "facilities[0]: there is no facility Nothing");
}

}  // namespace
}  // namespace Routing::Host
