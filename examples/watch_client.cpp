// A client of nexthopd: registers addresses and prints how each is reached, now and whenever that
// changes. Needs nothing but what protoc and grpc_cpp_plugin make of nexthop/v1/nexthop.proto.
//
//   watch_client SOCKET CLIENT ADDRESS...         follow changes until interrupted
//   watch_client --once SOCKET CLIENT ADDRESS...  end when each address has been told of

#include <arpa/inet.h>
#include <grpcpp/create_channel.h>
#include <nexthop/v1/nexthop.grpc.pb.h>

#include <cstring>
#include <iostream>
#include <set>
#include <string>
#include <vector>

namespace {

namespace api = nexthop::v1;

// The bytes of a message's address; empty when the text is no address.
std::string toBytes(const std::string& text) {
  char bytes[16];
  if (inet_pton(AF_INET, text.c_str(), bytes) == 1) {
    return {bytes, 4};
  }
  if (inet_pton(AF_INET6, text.c_str(), bytes) == 1) {
    return {bytes, 16};
  }
  return {};
}

std::string toText(const std::string& bytes) {
  char text[INET6_ADDRSTRLEN] = "-";
  inet_ntop(bytes.size() == 4 ? AF_INET : AF_INET6, bytes.data(), text, sizeof text);
  return text;
}

void print(const api::NexthopStatus& status) {
  std::cout << toText(status.address()) << ' ';
  if (status.state() == api::NEXTHOP_STATE_RESOLVED) {
    std::cout << "resolved over " << toText(status.prefix()) << '/' << status.prefix_length()
              << " identifier " << status.identifier() << std::endl;
  } else {
    std::cout << api::NexthopState_Name(status.state()) << ' ' << api::Reason_Name(status.reason())
              << std::endl;
  }
}

int fail(const char* what, const grpc::Status& status) {
  api::BadField field;
  std::cerr << what << ": " << status.error_message() << '\n';
  if (!status.error_details().empty() && field.ParseFromString(status.error_details())) {
    std::cerr << "the daemon objects to " << field.field() << '\n';
  }
  return 1;
}

int run(bool once, const std::string& socket, const api::RegisterRequest& wanted) {
  const auto stub = api::Nexthops::NewStub(
      grpc::CreateChannel("unix:" + socket, grpc::InsecureChannelCredentials()));

  // The stream first: it makes the name ours, and nothing that happens later is missed.
  grpc::ClientContext watching;
  api::WatchRequest watch;
  watch.set_client(wanted.client());
  const auto stream = stub->Watch(&watching, watch);

  grpc::ClientContext registering;
  api::RegisterResponse registered;
  const grpc::Status status = stub->Register(&registering, wanted, &registered);
  if (!status.ok()) {
    watching.TryCancel();
    return fail("register", status);
  }

  std::set<std::string> waiting(wanted.addresses().begin(), wanted.addresses().end());
  api::WatchResponse message;
  while (stream->Read(&message)) {
    for (const api::NexthopStatus& nexthop : message.nexthops()) {
      print(nexthop);
      if (nexthop.state() != api::NEXTHOP_STATE_UNKNOWN) {
        waiting.erase(nexthop.address());
      }
    }
    if (once && waiting.empty()) {
      watching.TryCancel();
      return 0;
    }
  }
  return fail("watch", stream->Finish());
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  const bool once = !arguments.empty() && arguments.front() == "--once";
  if (once) {
    arguments.erase(arguments.begin());
  }
  if (arguments.size() < 3) {
    std::cerr << "watch_client [--once] SOCKET CLIENT ADDRESS...\n";
    return 2;
  }
  api::RegisterRequest wanted;
  wanted.set_client(arguments[1]);
  for (std::size_t index = 2; index < arguments.size(); ++index) {
    wanted.add_addresses(toBytes(arguments[index]));
  }
  return run(once, arguments[0], wanted);
}
