#include "host/ctl/Connection.h"

#include <grpcpp/create_channel.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "host/loop/FileDescriptor.h"

namespace Routing::Host {

namespace {

// Connecting once by hand tells more than the transport does.
void checkSocket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    throw CtlError(CtlExit::usage, "'" + path + "' cannot be the path of a socket");
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const FileDescriptor socket(
      systemCall(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "cannot make a socket"));
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): how the call takes its address
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    return;
  }
  if (errno == EACCES || errno == EPERM) {
    throw CtlError(CtlExit::noDaemon, "you may not connect to " + path);
  }
  if (errno == ENOENT || errno == ECONNREFUSED || errno == ENOTSOCK || errno == ENOTDIR) {
    throw CtlError(CtlExit::noDaemon, "no nexthopd listens on " + path);
  }
  throw SystemError(errno, "cannot connect to " + path);
}

std::string contentOf(const std::string& path) {
  const std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  if (!file || !content) {
    throw CtlError(CtlExit::usage, "cannot read " + path);
  }
  return content.str();
}

std::shared_ptr<grpc::Channel> channelTo(const CtlOptions& options) {
  if (options.tlsAddress.empty()) {
    checkSocket(options.socketPath);
    return grpc::CreateChannel("unix:" + options.socketPath, grpc::InsecureChannelCredentials());
  }
  grpc::SslCredentialsOptions credentials;
  credentials.pem_root_certs = contentOf(options.tlsAuthority);
  credentials.pem_cert_chain = contentOf(options.tlsCertificate);
  credentials.pem_private_key = contentOf(options.tlsKey);
  return grpc::CreateChannel(options.tlsAddress, grpc::SslCredentials(credentials));
}

// The daemon says which field of the request is wrong, and why.
std::string refusalOf(const grpc::Status& status) {
  Proto::BadField details;
  if (!details.ParseFromString(status.error_details()) || details.reason().empty()) {
    return status.error_message();
  }
  return details.reason();
}

}  // namespace

Connection::Connection(const CtlOptions& options)
    : place_(options.tlsAddress.empty() ? options.socketPath : options.tlsAddress),
      timeoutSeconds_(options.timeoutSeconds),
      stub_(Proto::Nexthops::NewStub(channelTo(options))) {}

std::chrono::system_clock::time_point Connection::deadline() const {
  return std::chrono::system_clock::now() +
         std::chrono::duration_cast<std::chrono::system_clock::duration>(
             std::chrono::duration<double>(timeoutSeconds_));
}

void Connection::check(const grpc::Status& status) const {
  switch (status.error_code()) {
    case grpc::StatusCode::OK:
      return;
    case grpc::StatusCode::UNAVAILABLE:
    case grpc::StatusCode::CANCELLED:
      throw CtlError(CtlExit::noDaemon,
                     "nexthopd at " + place_ + " went away: " + status.error_message());
    case grpc::StatusCode::DEADLINE_EXCEEDED:
      throw CtlError(CtlExit::noDaemon, "nexthopd at " + place_ + " does not answer");
    default:
      throw CtlError(CtlExit::refused, refusalOf(status));
  }
}

}  // namespace Routing::Host
