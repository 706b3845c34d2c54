#include "platform/trace/TraceSink.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string_view>
#include <utility>

#include "platform/entity/Assert.h"

namespace Routing {
namespace {

// Sinks may be static objects: the list is usable before and after any of them.
constinit TraceSink* firstSink = nullptr;
constinit std::uint64_t attachments = 0;

}  // namespace

// One message on its way through the list. Deliveries nest when a handler traces; each keeps its
// place, and a sink that leaves the list moves every delivery that would have gone to it next.
class TraceSink::Delivery {
 public:
  Delivery() : next_(firstSink), lastAttachment_(attachments), outer_(innermost_) {
    innermost_ = this;
  }
  ~Delivery() {
    finishCall();
    innermost_ = outer_;
  }
  Delivery(const Delivery&) = delete;
  Delivery(Delivery&&) = delete;
  Delivery& operator=(const Delivery&) = delete;
  Delivery& operator=(Delivery&&) = delete;

  void run(const TraceMessage& message) {
    while (next_ != nullptr && next_->attachment_ <= lastAttachment_) {
      TraceSink& sink = *next_;
      next_ = sink.next_;
      if (sink.delivery_ != nullptr) {
        continue;
      }
      current_ = &sink;
      sink.delivery_ = this;
      sink.handleMessage(message);
      finishCall();
    }
  }

  static void sinkLeaves(const TraceSink& sink) {
    for (Delivery* delivery = innermost_; delivery != nullptr; delivery = delivery->outer_) {
      if (delivery->next_ == &sink) {
        delivery->next_ = sink.next_;
      }
    }
  }
  // The sink whose handler this delivery has called is no more.
  void currentDestroyed() { current_ = nullptr; }

 private:
  void finishCall() {
    if (current_ != nullptr) {
      current_->delivery_ = nullptr;
      current_ = nullptr;
    }
  }

  static constinit Delivery* innermost_;

  TraceSink* next_;
  TraceSink* current_ = nullptr;
  std::uint64_t lastAttachment_;
  Delivery* outer_;
};

constinit TraceSink::Delivery* TraceSink::Delivery::innermost_ = nullptr;

TraceSink::~TraceSink() {
  attachedIs(false);
  if (delivery_ != nullptr) {
    delivery_->currentDestroyed();
  }
}

void TraceSink::attachedIs(bool attached) {
  if (attached == attached_) {
    return;
  }
  attached_ = attached;
  if (attached) {
    attach();
  } else {
    detach();
  }
}

bool TraceSink::anyAttached() noexcept { return firstSink != nullptr; }

void TraceSink::deliver(const TraceMessage& message) { Delivery().run(message); }

// At the end of the list, so that the list is in the order of attachment.
void TraceSink::attach() {
  attachment_ = ++attachments;
  TraceSink** link = &firstSink;
  while (*link != nullptr) {
    link = &(*link)->next_;
  }
  *link = this;
}

void TraceSink::detach() {
  Delivery::sinkLeaves(*this);
  TraceSink** link = &firstSink;
  while (*link != this) {
    link = &(*link)->next_;
  }
  *link = next_;
  next_ = nullptr;
}

CallbackTraceSink::CallbackTraceSink(Callback callback)
    : callback_(std::make_shared<const Callback>(std::move(callback))) {
  ROUTING_ASSERT(*callback_ && "trace callback must be callable");
}

// The copy keeps the function alive when it destroys this sink.
void CallbackTraceSink::handleMessage(const TraceMessage& message) {
  const std::shared_ptr<const Callback> callback = callback_;
  (*callback)(message);
}

FdTraceSink::FdTraceSink(int descriptor, TraceTime time) : descriptor_(descriptor), time_(time) {}

void FdTraceSink::handleMessage(const TraceMessage& message) {
  line_.clear();
  if (lineOpen_) {
    line_ += '\n';
  }
  appendTraceLine(line_, message, time_);
  std::string_view rest = line_;
  while (!rest.empty()) {
    const ssize_t written = ::write(descriptor_, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      ++droppedLines_;
      lineOpen_ = lineOpen_ || rest.size() < line_.size();
      return;
    }
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
  lineOpen_ = false;
}

}  // namespace Routing
