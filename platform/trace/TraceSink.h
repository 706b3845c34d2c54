#pragma once

// Where trace text goes: a file descriptor, a function, or a reader's own class.
//
// A sink gets messages while it is attached. Any number may be; none is at the start of a process,
// and then no text is made at all. The owner keeps a sink alive while it is attached; its
// destructor detaches it.
//
// A message goes to the sinks in the order in which they were attached. In its handler a sink may
// do anything:
//   1. It may trace. Such a message goes at once to the other sinks, never to a sink whose handler
//      is running, so that two sinks that trace about each other come to an end.
//   2. It may attach and detach sinks, itself too. A sink attached during a message gets the next
//      message; a sink detached before its turn does not get this one.
//   3. It may destroy itself or another sink.
// An exception that leaves a handler leaves the trace statement; later sinks miss the message.

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/trace/TraceText.h"

namespace Routing {

class TraceSink {
 public:
  TraceSink() = default;
  virtual ~TraceSink();
  TraceSink(const TraceSink&) = delete;
  TraceSink(TraceSink&&) = delete;
  TraceSink& operator=(const TraceSink&) = delete;
  TraceSink& operator=(TraceSink&&) = delete;

  bool attached() const noexcept { return attached_; }
  // Attaching an attached sink keeps its place; detaching a detached one does nothing.
  void attachedIs(bool attached);

  // True when any sink is attached.
  static bool anyAttached() noexcept;
  // Hands the message to every attached sink whose handler is not running.
  // Reenters: the sinks' handlers.
  static void deliver(const TraceMessage& message);

 protected:
  // The views in the message are valid during the call.
  virtual void handleMessage(const TraceMessage& message) = 0;

 private:
  class Delivery;

  void attach();
  void detach();

  TraceSink* next_ = nullptr;
  // Counts attachments; tells a delivery which sinks came after it began.
  std::uint64_t attachment_ = 0;
  // The delivery whose call of the handler is running.
  Delivery* delivery_ = nullptr;
  bool attached_ = false;
};

// Calls a function. The function may replace or destroy the sink that calls it.
class CallbackTraceSink final : public TraceSink {
 public:
  using Callback = std::function<void(const TraceMessage&)>;

  // Requires: a callback that can be called.
  explicit CallbackTraceSink(Callback callback);

 protected:
  void handleMessage(const TraceMessage& message) override;

 private:
  std::shared_ptr<const Callback> callback_;
};

// Writes each message as one line, with one write where the descriptor takes it whole. The
// descriptor stays the caller's. What it does not take (a full pipe that does not block, a full
// disk) is dropped and counted; tracing never fails its caller.
class FdTraceSink final : public TraceSink {
 public:
  // Requires: a descriptor that is open for writing while the sink is attached.
  explicit FdTraceSink(int descriptor, TraceTime time = TraceTime::hidden);

  // Lines that were not written, or not to their end.
  std::uint64_t droppedLines() const noexcept { return droppedLines_; }

 protected:
  void handleMessage(const TraceMessage& message) override;

 private:
  int descriptor_;
  TraceTime time_;
  // The last line written is without its end; the next begins with a newline.
  bool lineOpen_ = false;
  std::uint64_t droppedLines_ = 0;
  String line_;
};

}  // namespace Routing
