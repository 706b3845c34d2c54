#pragma once

// ClientService: the daemon's side of nexthop.proto. Puts registrations, table, queries and streams
// together and gives them to the transport (gRPC).
//
//   a request   comes on a thread of the transport, goes through the inbox, is done on the loop's
//               thread in the next turn, and answered by flush() at that turn's end
//   a stream    is opened the same way; flush() sends what it has to tell
//
// The daemon calls flush() at the end of each turn, after the turn's records are stored: nobody is
// told of what a restart would not find. When storing failed it does not call it.
//
// Users. A connection belongs to a user, which is found out when it is made and cannot change. Each
// user of the Unix socket has a transport server of its own, which gets the connections that this
// user made; what comes out of that server is this user's, with no table to look it up in that
// could be out of date. Servers stay until the service ends; there are as many as users have ever
// connected (at most mostUsers). Over TCP the user is the name in the client's certificate.
//
// Users are called "uid:1000" and "tls:NAME", after the certificate's first alternative name or
// else its common name.
//
// No VRF is added or removed after the service has gone.

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/loop/EventLoop.h"
#include "host/service/Inbox.h"
#include "host/service/NexthopTable.h"
#include "host/service/Queries.h"
#include "host/service/Registrations.h"
#include "host/service/ServerStream.h"
#include "host/service/SocketListener.h"
#include "host/vrf/Vrfs.h"

namespace Routing::Host {

struct ServiceOptions {
  // Empty: no Unix socket.
  std::string socketPath;
  // Who may connect beside the socket's owner; empty: the process's group.
  std::string socketGroup;

  // HOST:PORT to listen on over TCP; empty: no TCP. Both sides show certificates; the files are
  // PEM.
  std::string tlsAddress;
  std::string tlsCertificate;
  std::string tlsKey;
  // Signs the clients' certificates.
  std::string tlsAuthority;

  // How long registrations outlive their client's stream.
  Registrations::Seconds grace{300};
  RegistrationLimits limits;
  // Kept of all nexthops together.
  std::size_t events = EventLog::defaultCapacity;
  ServiceIdentity identity;
};

// What monitoring asks for.
struct ServiceFigures {
  NexthopTable::Census nexthops{};
  std::uint64_t registrations = 0;
  std::uint64_t clients = 0;
  std::uint64_t liveClients = 0;
  std::uint64_t streams = 0;
  // Nexthops that streams of clients have still to be told of.
  std::uint64_t backlog = 0;
  // Nexthops told of, in all streams since the start.
  std::uint64_t told = 0;
};

class ClientService final : private StreamKeeper {
 public:
  static constexpr std::size_t mostUsers = 64;

  // The store may be null: then registrations end with the daemon.
  ClientService(EventLoop& loop,
                Vrfs& vrfs,
                RegistrationStore* store,
                ServiceOptions options,
                ServiceHooks hooks);
  ClientService(const ClientService&) = delete;
  ClientService& operator=(const ClientService&) = delete;
  // As stop().
  ~ClientService();

  // Takes over registrations from the records and the store. Requires: loaded, and no manager yet.
  void restore() { registrations_.restore(); }
  // Listens. Throws: SystemError; std::runtime_error when TCP cannot be served.
  void start();
  // Ends every stream and call, then the transport. No effect when it does not run.
  void stop();

  // At the turn's end, after the records are stored. With when the work began that ended in this
  // turn, if the delay of what it has streams tell is to be measured.
  void flush(Nanoseconds cause = Nanoseconds(0));
  // Of each stream that told something in the last flush() of which the cause is known: that cause.
  const std::vector<Nanoseconds>& toldCauses() const noexcept { return toldCauses_; }
  // What the hook `synced` says has changed.
  void syncedChanged() { table_.syncedChanged(); }

  ServiceFigures figures() const;
  // The TCP port listened on; 0 when there is none.
  int tlsPort() const noexcept { return tlsPort_; }

 private:
  class Calls;
  struct Server;
  struct Answer {
    grpc::ServerUnaryReactor* reactor = nullptr;
    grpc::Status status;
  };

  bool streamAdd(OpenStream& stream) override;
  void streamDel(OpenStream& stream) override;
  // On the loop's thread: does the request, and has it answered at the turn's end.
  template <class Operation>
  void serve(grpc::ServerUnaryReactor* reactor, const Operation& operation);
  void connectionIs(FileDescriptor connection, uid_t uid);
  Server* serverOf(uid_t uid);
  void tlsStart();
  void advance(OpenStream& stream, Nanoseconds cause);

  EventLoop& loop_;
  Vrfs& vrfs_;
  ServiceOptions options_;
  ServiceHooks hooks_;
  NexthopTable table_;
  Registrations registrations_;
  Queries queries_;
  Inbox inbox_;
  std::vector<OpenStream*> streams_;
  std::vector<Answer> answers_;
  std::uint64_t told_ = 0;
  std::vector<Nanoseconds> toldCauses_;
  bool running_ = false;

  std::map<uid_t, std::unique_ptr<Server>> servers_;
  std::unique_ptr<Server> tlsServer_;
  int tlsPort_ = 0;
  std::unique_ptr<SocketListener> listener_;
};

}  // namespace Routing::Host
