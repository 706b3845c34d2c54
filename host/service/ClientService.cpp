#include "host/service/ClientService.h"

#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>
#include <grpcpp/server_posix.h>
#include <nexthop/v1/nexthop.grpc.pb.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "host/loop/Log.h"
#include "host/service/ForwardingStream.h"
#include "host/service/TraceStream.h"
#include "host/service/WatchStream.h"

namespace Routing::Host {

namespace {

// Calls of one connection at a time; a client has one stream and pipelines a few requests.
constexpr int mostCallsAConnection = 256;
// A TCP peer that went without a word is noticed after a minute or so.
constexpr int keepaliveMilliseconds = 30'000;

std::int64_t wallClock() {
  return std::chrono::duration_cast<Nanoseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream contents;
  contents << file.rdbuf();
  if (!file) {
    throw std::runtime_error("cannot read " + path);
  }
  return contents.str();
}

RegistrationBatch batchOf(const Proto::RegisterRequest& request) {
  return {request.client(),
          vrfOf(request.vrf()),
          kindOf(request.kind()),
          policyOf(request.policy()),
          addressesOf(request.addresses())};
}

RegistrationBatch batchOf(const Proto::UnregisterRequest& request) {
  RegistrationBatch batch;
  batch.client = request.client();
  batch.vrf = vrfOf(request.vrf());
  batch.addrs = addressesOf(request.addresses());
  if (request.all() && !batch.addrs.empty()) {
    throw RequestError(RequestFault::invalid, "addresses", "with `all` there are no addresses");
  }
  return batch;
}

}  // namespace

// ---- the transport's end -----------------------------------------------------------------------

// One transport server's end of the service. Its methods run on the transport's threads and only
// post.
class ClientService::Calls final : public Proto::Nexthops::CallbackService {
 public:
  // Without a user each call is its certificate's.
  Calls(ClientService& service, std::string user) : service_(service), user_(std::move(user)) {}

  using Context = grpc::CallbackServerContext;
  template <class Response>
  using Writer = grpc::ServerWriteReactor<Response>;

  grpc::ServerUnaryReactor* Register(Context* context,
                                     const Proto::RegisterRequest* request,
                                     Proto::RegisterResponse* response) override {
    return post(context, [this, request, response, user = userOf(*context)] {
      response->set_added(service_.registrations_.add(user, batchOf(*request)));
    });
  }
  grpc::ServerUnaryReactor* Unregister(Context* context,
                                       const Proto::UnregisterRequest* request,
                                       Proto::UnregisterResponse* response) override {
    return post(context, [this, request, response, user = userOf(*context)] {
      const RegistrationBatch batch = batchOf(*request);
      response->set_removed(request->all()
                                ? service_.registrations_.removeAll(user, batch.client, batch.vrf)
                                : service_.registrations_.remove(user, batch));
    });
  }
  Writer<Proto::WatchResponse>* Watch(Context* context,
                                      const Proto::WatchRequest* request) override {
    return started(new WatchStream(
        service_.inbox_,
        service_,
        {service_.table_, service_.registrations_, service_.queries_, service_.told_},
        userOf(*context),
        *request));
  }
  Writer<Proto::WatchForwardingResponse>* WatchForwarding(
      Context* /*context*/,
      const Proto::WatchForwardingRequest* request) override {
    return started(new ForwardingStream(service_.inbox_, service_, service_.queries_, *request));
  }
  Writer<Proto::TraceResponse>* Trace(Context* /*context*/,
                                      const Proto::TraceRequest* request) override {
    return started(new TraceStream(service_.inbox_, service_, *request));
  }
  grpc::ServerUnaryReactor* Resolve(Context* context,
                                    const Proto::ResolveRequest* request,
                                    Proto::ResolveResponse* response) override {
    return query<&Queries::resolve>(context, request, response);
  }
  grpc::ServerUnaryReactor* Explain(Context* context,
                                    const Proto::ExplainRequest* request,
                                    Proto::ExplainResponse* response) override {
    return query<&Queries::explain>(context, request, response);
  }
  grpc::ServerUnaryReactor* History(Context* context,
                                    const Proto::HistoryRequest* request,
                                    Proto::HistoryResponse* response) override {
    return query<&Queries::history>(context, request, response);
  }
  grpc::ServerUnaryReactor* Graph(Context* context,
                                  const Proto::GraphRequest* request,
                                  Proto::GraphResponse* response) override {
    return query<&Queries::graph>(context, request, response);
  }
  grpc::ServerUnaryReactor* ListVrfs(Context* context,
                                     const Proto::ListVrfsRequest* request,
                                     Proto::ListVrfsResponse* response) override {
    return query<&Queries::listVrfs>(context, request, response);
  }
  grpc::ServerUnaryReactor* ListClients(Context* context,
                                        const Proto::ListClientsRequest* request,
                                        Proto::ListClientsResponse* response) override {
    return query<&Queries::listClients>(context, request, response);
  }
  grpc::ServerUnaryReactor* GetInfo(Context* context,
                                    const Proto::GetInfoRequest* request,
                                    Proto::GetInfoResponse* response) override {
    return query<&Queries::getInfo>(context, request, response);
  }

 private:
  template <class Operation>
  grpc::ServerUnaryReactor* post(Context* context, Operation operation) {
    grpc::ServerUnaryReactor* reactor = context->DefaultReactor();
    service_.inbox_.post(
        [this, reactor, operation = std::move(operation)] { service_.serve(reactor, operation); });
    return reactor;
  }
  template <auto operation, class Request, class Response>
  grpc::ServerUnaryReactor* query(Context* context, const Request* request, Response* response) {
    return post(context,
                [this, request, response] { (service_.queries_.*operation)(*request, *response); });
  }
  // The stream belongs to itself from here on.
  template <class Stream>
  static Stream* started(Stream* stream) {
    stream->start();
    return stream;
  }
  // The transport has checked the certificate: it takes no connection without.
  std::string userOf(const Context& context) const {
    if (!user_.empty()) {
      return user_;
    }
    const std::vector<grpc::string_ref> names = context.auth_context()->GetPeerIdentity();
    return names.empty() ? std::string("tls:")
                         : "tls:" + std::string(names.front().data(), names.front().size());
  }

  ClientService& service_;
  std::string user_;
};

struct ClientService::Server {
  Server(ClientService& service, std::string user) : calls(service, std::move(user)) {
    builder.RegisterService(&calls);
    builder.AddChannelArgument(GRPC_ARG_MAX_CONCURRENT_STREAMS, mostCallsAConnection);
  }

  Calls calls;
  grpc::ServerBuilder builder;
  std::unique_ptr<grpc::Server> server;
};

// ---- coming and going --------------------------------------------------------------------------

ClientService::ClientService(EventLoop& loop,
                             Vrfs& vrfs,
                             RegistrationStore* store,
                             ServiceOptions options,
                             ServiceHooks hooks)
    : loop_(loop),
      vrfs_(vrfs),
      options_(std::move(options)),
      hooks_(std::move(hooks)),
      table_([this](const VrfName& vrf) { return queries_.condition(vrf); },
             wallClock,
             options_.events),
      registrations_(vrfs, table_, store, loop.scheduler(), options_.limits, options_.grace),
      queries_(vrfs, table_, registrations_, hooks_, options_.identity),
      inbox_(loop) {
  vrfs_.listenerIs([this](const Vrf& vrf, bool /*added*/) { table_.vrfChanged(vrf.name()); });
}

ClientService::~ClientService() { stop(); }

void ClientService::start() {
  running_ = true;
  if (!options_.tlsAddress.empty()) {
    tlsStart();
  }
  if (!options_.socketPath.empty()) {
    listener_ = std::make_unique<SocketListener>(
        loop_,
        options_.socketPath,
        options_.socketGroup,
        [this](FileDescriptor connection, uid_t uid) { connectionIs(std::move(connection), uid); });
  }
}

void ClientService::stop() {
  if (!running_) {
    return;
  }
  running_ = false;
  listener_ = nullptr;
  // What was asked and is not answered yet may not have been stored.
  for (const Answer& answer : answers_) {
    answer.reactor->Finish(endingStatus());
  }
  answers_.clear();
  for (OpenStream* stream : streams_) {
    stream->finish(endingStatus());
  }
  inbox_.serveWhile([this] {
    const auto deadline = std::chrono::system_clock::now();
    for (const auto& [uid, server] : servers_) {
      server->server->Shutdown(deadline);
    }
    if (tlsServer_) {
      tlsServer_->server->Shutdown(deadline);
    }
  });
  servers_.clear();
  tlsServer_ = nullptr;
  tlsPort_ = 0;
}

void ClientService::connectionIs(FileDescriptor connection, uid_t uid) {
  if (Server* server = serverOf(uid)) {
    grpc::AddInsecureChannelFromFd(server->server.get(), connection.release());
  }
}

ClientService::Server* ClientService::serverOf(uid_t uid) {
  const auto found = servers_.find(uid);
  if (found != servers_.end()) {
    return found->second.get();
  }
  if (servers_.size() == mostUsers) {
    log(LogLevel::warning,
        "user " + std::to_string(uid) + " is one too many, the connection is refused");
    return nullptr;
  }
  auto server = std::make_unique<Server>(*this, "uid:" + std::to_string(uid));
  server->server = server->builder.BuildAndStart();
  if (!server->server) {
    throw std::runtime_error("cannot start serving clients");
  }
  return servers_.emplace(uid, std::move(server)).first->second.get();
}

void ClientService::tlsStart() {
  grpc::SslServerCredentialsOptions tls(GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY);
  tls.pem_root_certs = contentsOf(options_.tlsAuthority);
  tls.pem_key_cert_pairs.push_back(
      {contentsOf(options_.tlsKey), contentsOf(options_.tlsCertificate)});
  tlsServer_ = std::make_unique<Server>(*this, "");
  tlsServer_->builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIME_MS, keepaliveMilliseconds);
  tlsServer_->builder.AddListeningPort(options_.tlsAddress,
                                       grpc::SslServerCredentials(tls),
                                       &tlsPort_);
  tlsServer_->server = tlsServer_->builder.BuildAndStart();
  if (!tlsServer_->server || tlsPort_ == 0) {
    tlsServer_ = nullptr;
    throw std::runtime_error("cannot serve clients on " + options_.tlsAddress);
  }
}

// ---- a turn ------------------------------------------------------------------------------------

template <class Operation>
void ClientService::serve(grpc::ServerUnaryReactor* reactor, const Operation& operation) {
  if (!running_) {
    reactor->Finish(endingStatus());
    return;
  }
  grpc::Status status;
  try {
    operation();
  } catch (const RequestError& error) {
    status = statusOf(error);
  }
  answers_.push_back({reactor, std::move(status)});
}

bool ClientService::streamAdd(OpenStream& stream) {
  if (running_) {
    streams_.push_back(&stream);
  }
  return running_;
}

void ClientService::streamDel(OpenStream& stream) {
  streams_.erase(std::remove(streams_.begin(), streams_.end(), &stream), streams_.end());
}

void ClientService::flush(Nanoseconds cause) {
  if (!loop_.scheduler()->hasRunnable()) {
    registrations_.reviewed();
  }
  for (Answer& answer : answers_) {
    answer.reactor->Finish(std::move(answer.status));
  }
  answers_.clear();
  table_.commit();
  toldCauses_.clear();
  for (OpenStream* stream : streams_) {
    advance(*stream, cause);
  }
}

// A stream that is behind keeps the cause that it fell behind with.
void ClientService::advance(OpenStream& stream, Nanoseconds cause) {
  if (stream.cause == Nanoseconds(0) && stream.backlog() != 0) {
    stream.cause = cause;
  }
  const std::uint64_t told = told_;
  stream.advance();
  if (told != told_ && stream.cause != Nanoseconds(0)) {
    toldCauses_.push_back(stream.cause);
  }
  if (stream.backlog() == 0) {
    stream.cause = Nanoseconds(0);
  }
}

ServiceFigures ClientService::figures() const {
  ServiceFigures figures;
  figures.nexthops = table_.census();
  figures.registrations = table_.slots().live();
  figures.clients = registrations_.clients().size();
  for (const auto& [name, client] : registrations_.clients()) {
    if (client.live()) {
      ++figures.liveClients;
    }
  }
  for (const OpenStream* stream : streams_) {
    figures.backlog += stream->backlog();
  }
  figures.streams = streams_.size();
  figures.told = told_;
  return figures;
}

}  // namespace Routing::Host
