#pragma once

// ServerStream: one open stream to a client, between the transport's threads and the loop.
//
// The transport calls the On... reactions on its own threads; each posts to the inbox. Everything
// else happens on the loop's thread, in this order:
//
//   open()        once; may refuse
//   fill()        whenever the last message is on its way and something is to be told
//   closed()      once, if open() did not refuse: the client is gone, the stream is complete or the
//                 service ends. Nothing is asked of the stream afterwards.
//
// One message is under way at a time, in the one message object that the stream has, so a client
// that does not read costs one message and what fill() would have to tell. The message's memory is
// used again while there is more to tell.
//
// A stream owns itself: it is deleted when the transport has done with it, which is the last thing
// posted for it.

#include <grpcpp/support/server_callback.h>

#include "host/service/Inbox.h"
#include "host/service/Messages.h"
#include "host/service/RequestError.h"
#include "platform/task/Clock.h"

namespace Routing::Host {

class OpenStream;

// Who keeps the streams: told on the loop's thread.
class StreamKeeper {
 public:
  // False when the service is ending.
  virtual bool streamAdd(OpenStream& stream) = 0;
  virtual void streamDel(OpenStream& stream) = 0;

 protected:
  ~StreamKeeper() = default;
};

// What is answered when the daemon ends.
inline grpc::Status endingStatus() {
  return {grpc::StatusCode::UNAVAILABLE, "the daemon is ending"};
}

// What the keeper sees of a stream. On the loop's thread.
class OpenStream {
 public:
  OpenStream() = default;
  OpenStream(const OpenStream&) = delete;
  OpenStream& operator=(const OpenStream&) = delete;
  virtual ~OpenStream() = default;

  // Sends what is to be told, if nothing is under way.
  virtual void advance() = 0;
  // How many things it has still to tell, the message under way left out.
  virtual std::size_t backlog() const = 0;
  // Ends the stream. No effect when it has ended.
  virtual void finish(const grpc::Status& status) = 0;

  // Kept by the service: when the work began whose outcome it has still to tell; 0 when there is
  // none.
  Nanoseconds cause{0};
};

template <class Response>
class ServerStream : public grpc::ServerWriteReactor<Response>, public OpenStream {
 public:
  ServerStream(Inbox& inbox, StreamKeeper& keeper) : inbox_(inbox), keeper_(keeper) {}

  // To be called once, when the object is whole. From the transport's thread.
  void start() {
    inbox_.post([this] { begin(); });
  }

  void advance() final {
    if (!open_ || writing_) {
      return;
    }
    if (complete()) {
      finish(grpc::Status::OK);
      return;
    }
    message_.Clear();
    if (fill(message_)) {
      writing_ = true;
      this->StartWrite(&message_);
    }
  }
  std::size_t backlog() const final { return open_ ? waiting() : 0; }
  void finish(const grpc::Status& status) final {
    if (open_) {
      open_ = false;
      closed();
    }
    if (!finished_) {
      finished_ = true;
      this->Finish(status);
    }
  }

  // NOLINTBEGIN(readability-identifier-naming): the transport's names
  void OnWriteDone(bool ok) final {
    inbox_.post([this, ok] {
      writing_ = false;
      if (backlog() == 0 && message_.GetCachedSize() > keptBytes) {
        message_ = Response();
      }
      if (!ok) {
        finish(grpc::Status::CANCELLED);
      }
    });
  }
  void OnCancel() final {
    inbox_.post([this] { finish(grpc::Status::CANCELLED); });
  }
  void OnDone() final {
    inbox_.post([this] {
      keeper_.streamDel(*this);
      delete this;  // It owns itself.
    });
  }
  // NOLINTEND(readability-identifier-naming)

 protected:
  // Throws: RequestError; the stream ends with it.
  virtual void open() = 0;
  // Fills the message, which is empty; false when there is nothing to tell now.
  virtual bool fill(Response& message) = 0;
  // How many things fill() has still to tell.
  virtual std::size_t waiting() const = 0;
  // Everything has been told, and there will be no more.
  virtual bool complete() const = 0;
  virtual void closed() = 0;

  ~ServerStream() override = default;

 private:
  void begin() {
    if (!keeper_.streamAdd(*this)) {
      finish(endingStatus());
      return;
    }
    try {
      open();
      open_ = !finished_;
    } catch (const RequestError& error) {
      finish(statusOf(error));
    }
  }

  // A message that was larger gives its memory back when there is nothing more to tell.
  static constexpr int keptBytes = 65'536;

  Inbox& inbox_;
  StreamKeeper& keeper_;
  Response message_;
  bool open_ = false;
  bool writing_ = false;
  bool finished_ = false;
};

}  // namespace Routing::Host
