#include <fmt/format.h>

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

#include "host/ctl/Commands.h"
#include "host/ctl/Table.h"
#include "host/ctl/Words.h"

namespace Routing::Host {

namespace {

// What a stream of nexthops prints: the snapshot as one table, then each change as a row of it.
class NexthopPrinter {
 public:
  explicit NexthopPrinter(bool json) : json_(json) {}

  void message(const Proto::WatchResponse& message) {
    if (message.snapshot_begin()) {
      complete_ = false;
      begins_ += 1;
    }
    for (const Proto::NexthopStatus& status : message.nexthops()) {
      nexthop(message, status);
    }
    if (message.snapshot_end()) {
      complete_ = true;
      snapshotEnd();
    } else if (complete_) {
      flush();
    }
    lost(message.writes_lost());
  }
  bool complete() const noexcept { return complete_; }
  void flush() {
    if (!json_) {
      table_.print();
    }
  }

 private:
  void nexthop(const Proto::WatchResponse& message, const Proto::NexthopStatus& status) {
    if (json_) {
      JsonObject object;
      object.text("client", message.client())
          .text("vrf", message.vrf())
          .text("kind", kindWord(message.kind()));
      statusTo(object, status).boolean("snapshot", !complete_).print();
      return;
    }
    const bool hasRoute = !status.prefix().empty();
    table_.add({timeWord(status.changed_at()),
                message.client(),
                message.vrf(),
                addressWord(status.address()),
                stateWord(status.state()) + (status.stale() ? " (stale)" : ""),
                reasonWord(status.reason()),
                prefixWord(status.prefix(), status.prefix_length()),
                hasRoute ? typeWord(status.route_type()) : "",
                hasRoute ? fmt::format("{}", status.metric()) : "",
                status.identifier() == 0
                    ? ""
                    : fmt::format("{} {}", kindWord(message.kind()), status.identifier())});
  }

  // A second snapshot replaces what was told before: a reader that was too slow is told so.
  void snapshotEnd() {
    flush();
    if (begins_ > 1) {
      std::fputs("nexthopctl: changes came too fast; the rows above are everything there is\n",
                 stderr);
    }
  }
  void lost(std::uint64_t lost) {
    if (lost > lost_) {
      fmt::print(stderr, "nexthopctl: {} writes were not told of\n", lost - lost_);
      lost_ = lost;
    }
  }

  bool json_;
  bool complete_ = false;
  unsigned begins_ = 0;
  std::uint64_t lost_ = 0;
  Table table_{{"CHANGED",
                "CLIENT",
                "VRF",
                "ADDRESS",
                "STATE",
                "REASON",
                "PREFIX",
                "TYPE",
                "METRIC",
                "IDENTIFIER"}};
};

// Reads until the daemon ends the stream; a snapshot must be there in time.
void follow(Connection& connection, const Proto::WatchRequest& request, bool json) {
  grpc::ClientContext context;
  if (request.snapshot_only()) {
    context.set_deadline(connection.deadline());
  }
  const auto reader = connection.stub().Watch(&context, request);
  NexthopPrinter printer(json);
  Proto::WatchResponse message;
  while (reader->Read(&message)) {
    printer.message(message);
  }
  connection.check(reader->Finish());
}

// Reads until each of the addresses has been looked at: until then it is unknown, whatever it waits
// for.
void followOnce(Connection& connection,
                const Proto::WatchRequest& request,
                std::set<std::string> waiting,
                bool json) {
  grpc::ClientContext context;
  context.set_deadline(connection.deadline());
  const auto reader = connection.stub().Watch(&context, request);
  NexthopPrinter printer(json);
  Proto::WatchResponse message;
  while (!(waiting.empty() && printer.complete())) {
    if (!reader->Read(&message)) {
      connection.check(reader->Finish());
      throw CtlError(CtlExit::noDaemon, "the daemon ended the stream");
    }
    printer.message(message);
    for (const Proto::NexthopStatus& status : message.nexthops()) {
      if (status.state() != Proto::NEXTHOP_STATE_UNKNOWN) {
        waiting.erase(status.address());
      }
    }
  }
  context.TryCancel();
  while (reader->Read(&message)) {
  }
  // Cancelled by us: nothing is wrong with that.
  static_cast<void>(reader->Finish());
}

// The stream that makes a name ours for as long as it is open. What it tells is read, lest it wait
// in the daemon, and passed over: an observer's snapshot after the registration has all of it, what
// nobody has looked at yet included, which this one would never be told of.
class OwnStream final : public grpc::ClientReadReactor<Proto::WatchResponse> {
 public:
  OwnStream(Connection::Stub& stub, Proto::WatchRequest request) : request_(std::move(request)) {
    stub.async()->Watch(&context_, &request_, this);
    StartRead(&message_);
    StartCall();
  }
  OwnStream(const OwnStream&) = delete;
  OwnStream& operator=(const OwnStream&) = delete;
  ~OwnStream() override {
    context_.TryCancel();
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return end_.has_value(); });
  }

  // Until the name is ours. Throws: CtlError when it cannot be, or is not in time.
  void await(const Connection& connection) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_until(lock, connection.deadline(), [this] { return begun_ || end_; })) {
      connection.check(grpc::Status(grpc::StatusCode::DEADLINE_EXCEEDED, "no answer in time"));
    }
    if (end_) {
      connection.check(*end_);
    }
  }

 private:
  // On a thread of the transport.
  // NOLINTBEGIN(readability-identifier-naming): the transport's names
  void OnReadDone(bool ok) override {
    if (!ok) {
      return;
    }
    {
      const std::lock_guard lock(mutex_);
      begun_ = true;
      changed_.notify_all();
    }
    StartRead(&message_);
  }
  void OnDone(const grpc::Status& status) override {
    const std::lock_guard lock(mutex_);
    end_ = status;
    changed_.notify_all();
  }
  // NOLINTEND(readability-identifier-naming)

  Proto::WatchRequest request_;
  Proto::WatchResponse message_;
  grpc::ClientContext context_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool begun_ = false;
  std::optional<grpc::Status> end_;
};

Proto::WatchRequest observation(const CtlOptions& options) {
  Proto::WatchRequest request;
  request.set_client(options.client);
  request.set_vrf(options.vrf);
  request.set_observe(true);
  return request;
}

}  // namespace

CtlExit watch(Connection& connection, const CtlOptions& options) {
  Proto::WatchRequest request = observation(options);
  request.set_every_write(options.everyWrite);
  follow(connection, request, options.json);
  return CtlExit::good;
}

CtlExit showNexthops(Connection& connection, const CtlOptions& options) {
  Proto::WatchRequest request = observation(options);
  request.set_snapshot_only(true);
  follow(connection, request, options.json);
  return CtlExit::good;
}

CtlExit registerNexthops(Connection& connection, const CtlOptions& options) {
  Proto::RegisterRequest request;
  request.set_client(options.client);
  request.set_vrf(options.vrf);
  request.set_kind(options.resolverIdentifiers ? Proto::IDENTIFIER_KIND_RESOLVER
                                               : Proto::IDENTIFIER_KIND_FIB);
  *request.mutable_policy() = policyOf(options);
  std::set<std::string> waiting;
  for (const std::string& address : options.addresses) {
    request.add_addresses(addressBytes(address));
    waiting.insert(request.addresses().rbegin()[0]);
  }
  Proto::WatchRequest watching;
  watching.set_client(options.client);
  watching.set_vrf(options.vrf.empty() ? "default" : options.vrf);
  OwnStream own(connection.stub(), watching);
  own.await(connection);
  connection.call<Proto::RegisterResponse>(&Connection::Stub::Register, request);
  watching.set_observe(true);
  if (options.once) {
    followOnce(connection, watching, std::move(waiting), options.json);
  } else {
    follow(connection, watching, options.json);
  }
  return CtlExit::good;
}

CtlExit trace(Connection& connection, const CtlOptions& options) {
  Proto::TraceRequest request;
  request.set_levels(options.levels);
  for (const std::string& facility : options.facilities) {
    request.add_facilities(facility);
  }
  grpc::ClientContext context;
  const auto reader = connection.stub().Trace(&context, request);
  Proto::TraceResponse message;
  std::uint64_t lost = 0;
  while (reader->Read(&message)) {
    for (const Proto::TraceLine& line : message.lines()) {
      if (options.json) {
        JsonObject()
            .text("at", timeWord(line.at()))
            .number("level", line.level())
            .text("facility", line.facility())
            .text("message", line.text())
            .print();
      } else {
        fmt::print("{} {} {}: {}\n",
                   timeWord(line.at()),
                   line.level(),
                   line.facility(),
                   line.text());
      }
    }
    if (message.lost() > lost) {
      fmt::print(stderr, "nexthopctl: {} lines were lost\n", message.lost() - lost);
      lost = message.lost();
    }
    std::fflush(stdout);
  }
  connection.check(reader->Finish());
  return CtlExit::good;
}

}  // namespace Routing::Host
