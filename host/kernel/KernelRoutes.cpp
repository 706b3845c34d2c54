#include "host/kernel/KernelRoutes.h"

#include <linux/netlink.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/loop/Log.h"

namespace Routing::Host {

namespace {

// Bytes of messages that one turn of the loop applies, as long as more keep coming: a thousand
// notifications, some milliseconds of work, after which reviews and clients have their turn.
constexpr std::size_t batchBytes = std::size_t{1} << 16U;

// Between two readings of everything, and of some routes.
constexpr std::chrono::milliseconds readingSpacing(1000);
constexpr std::chrono::milliseconds checkSpacing(400);
// From the last of a burst of reasons for a check to the check, and from the first at most.
constexpr std::chrono::milliseconds checkDelay(100);
constexpr std::chrono::milliseconds mostCheckDelay(300);
// Between readings of everything for messages that do not read and dumps that were disturbed: twice
// as long each time, up to the second.
constexpr std::chrono::seconds retrySpacing(1);
constexpr std::chrono::seconds mostRetrySpacing(60);
// A dump of which nothing came for so long has been forgotten.
constexpr std::chrono::seconds answerLimit(10);
// With more interfaces than this, everything is read once rather than routes once for each.
constexpr std::size_t checkedApart = 4;

// The kernel has no such table or interface (any more), or knows no nexthop objects: the answer is
// that there are none.
bool meansNothingThere(int error) noexcept {
  return error == ENOENT || error == ENODEV || error == EOPNOTSUPP || error == EAFNOSUPPORT;
}

Ptr<TimerTask> timerOf(const EventLoop& loop, const char* name) {
  return makeEntity<TimerTask>(loop.scheduler(), TaskPriority::mostUrgent, name);
}

}  // namespace

KernelRoutes::KernelRoutes(EventLoop& loop, Vrfs& vrfs, FecIdSource& source, const Options& options)
    : KernelRoutes(loop, vrfs, source, NetlinkSocket(options.receiveBuffer)) {}

KernelRoutes::KernelRoutes(EventLoop& loop, Vrfs& vrfs, FecIdSource& source, NetlinkSocket socket)
    : loop_(loop),
      vrfs_(vrfs),
      socket_(std::move(socket)),
      state_(vrfs, source, loop.scheduler()),
      retryWait_(retrySpacing),
      timer_(timerOf(loop, "kernelRoutesRecheck")),
      retryTimer_(timerOf(loop, "kernelRoutesRetry")),
      answerTimer_(timerOf(loop, "kernelRoutesAnswer")) {
  timerRun_.subscribe(*timer_);
  retryTimerRun_.subscribe(*retryTimer_);
  answerTimerRun_.subscribe(*answerTimer_);
  state_.vrfAddedIs([this](Vrf& vrf) { vrfAdded(vrf); });
}

KernelRoutes::~KernelRoutes() { loop_.fdDel(socket_.fd()); }

void KernelRoutes::start() {
  started_ = true;
  for (const auto& vrf : vrfs_.all()) {
    notReady_.insert(vrf->name());
  }
  loop_.fdIs(socket_.fd(), EPOLLIN, [this](std::uint32_t /*events*/) { readable(); });
  const std::vector<DumpRequest> all = state_.everything();
  queue_.assign(all.begin(), all.end());
  lastReading_ = loop_.scheduler()->clock()->now();
  dumpNext();
}

// ---- receiving
// -----------------------------------------------------------------------------------

void KernelRoutes::readable() {
  NetlinkSocket::Received received;
  for (std::size_t bytes = 0; bytes < batchBytes && !received.drained;) {
    received = socket_.receive([this](Bytes messages) { datagram(messages); });
    bytes += received.bytes;
    counters_.bytes += received.bytes;
    if (received.overrun) {
      ++counters_.overruns;
      lost();
    } else if (received.truncated) {
      ++counters_.truncated;
      torn_ = true;
      lost();
    }
  }
  state_.batchEnd();
  recheckLater();
}

void KernelRoutes::datagram(Bytes messages) {
  while (const auto next = takeMessage(messages)) {
    message(*next);
  }
  if (!messages.empty()) {
    ++counters_.truncated;
    torn_ = true;
    lost();
  }
}

// A notification carries the sequence number and port of whoever made the change; this socket makes
// none. What else carries its port is of a dump that was given up.
void KernelRoutes::message(const Message& message) {
  if (message.port != socket_.port()) {
    if (message.type >= NLMSG_MIN_TYPE) {
      state_.notification(message);
    }
    return;
  }
  if (!dump_ || message.sequence != sequence_) {
    return;
  }
  answered_ = true;
  if ((message.flags & NLM_F_DUMP_INTR) != 0) {
    torn_ = true;
  }
  switch (message.type) {
    case NLMSG_DONE:
    case NLMSG_ERROR:
      return dumpAnswered(message);
    default:
      state_.dumpMessage(message);
  }
}

// ---- dumps
// ---------------------------------------------------------------------------------------

// Both kinds of answer begin with a negative error, or 0. An error because the receive buffer is
// full ends no dump: the kernel goes on with it when there is room, and refuses others until then.
void KernelRoutes::dumpAnswered(const Message& message) {
  const int error = -headOf<std::int32_t>(message.body).value_or(0);
  if (message.type == NLMSG_ERROR && error == ENOBUFS) {
    torn_ = true;
    return;
  }
  if (error != 0 && !meansNothingThere(error)) {
    ++counters_.failedDumps;
    log(LogLevel::warning,
        "the kernel did not dump its routes: " + std::generic_category().message(error));
    return dumpFinished(false);
  }
  counters_.tornDumps += torn_ ? 1U : 0U;
  dumpFinished(!torn_);
}

void KernelRoutes::dumpFinished(bool complete) {
  state_.dumpEnd(complete);
  dump_.reset();
  answerTimer_->stopTimerTask();
  if (!complete) {
    lost();
  }
  dumpNext();
}

// The request or its answer was lost, because neither had room.
void KernelRoutes::answerOverdue(FieldId /*field*/, const void* /*key*/) {
  if (!dump_) {
    return;
  }
  if (std::exchange(answered_, false)) {
    return answerTimer_->scheduleTaskLowestDelay(answerLimit);
  }
  ++counters_.failedDumps;
  log(LogLevel::warning, "the kernel did not dump its routes: no answer");
  dumpFinished(false);
  recheckLater();
}

void KernelRoutes::dumpNext() {
  if (queue_.empty()) {
    return queueIsEmpty();
  }
  dump_ = queue_.front();
  queue_.pop_front();
  torn_ = false;
  answered_ = false;
  state_.dumpBegin(*dump_);
  sequence_ = socket_.request(*dump_);
  answerTimer_->scheduleTaskLowestDelay(answerLimit);
}

// Routes that do not read keep nobody waiting, as they may never do.
void KernelRoutes::queueIsEmpty() {
  state_.readingEnd();
  doubtsTake();
  if (lost_) {
    return;
  }
  std::set<VrfName> ready;
  ready.swap(notReady_);
  for (const VrfName& name : ready) {
    Vrf* vrf = vrfs_.vrf(name);
    if (vrf != nullptr && vrfReadyHook_) {
      vrfReadyHook_(*vrf);
    }
  }
  if (damaged_) {
    return;
  }
  if (!disturbed_) {
    retryWait_ = retrySpacing;
  }
  if (!synced_) {
    synced_ = true;
    if (syncedHook_) {
      syncedHook_();
    }
  }
}

void KernelRoutes::vrfAdded(Vrf& vrf) {
  if (!started_) {
    return;
  }
  notReady_.insert(vrf.name());
  for (const DumpRequest& request : state_.routesOf(vrf, 0)) {
    queue_.push_back(request);
  }
  if (!dump_) {
    dumpNext();
  }
}

// ---- reading again
// -------------------------------------------------------------------------------

void KernelRoutes::lost() {
  lost_ = true;
  synced_ = false;
}

void KernelRoutes::doubtsTake() {
  Recheck more = state_.takeRecheck();
  if (more.any()) {
    lastDoubt_ = loop_.scheduler()->clock()->now();
    firstDoubt_ = doubts_.any() ? firstDoubt_ : lastDoubt_;
    doubts_.everything = doubts_.everything || more.everything;
    doubts_.interfaces.merge(more.interfaces);
  }
  if (more.damaged) {
    damaged_ = true;
    synced_ = false;
  }
  disturbed_ = disturbed_ || more.disturbed;
  if (more.damaged || more.disturbed) {
    retryTimer_->scheduleTaskLowestDelay(retryWait_);
  }
}

void KernelRoutes::recheckLater() {
  doubtsTake();
  if ((lost_ || doubts_.any()) && !dump_) {
    timer_->scheduleTaskLowestDelay(recheckDelay());
  }
}

bool KernelRoutes::everythingWanted() const noexcept {
  return lost_ || doubts_.everything || doubts_.interfaces.size() > checkedApart;
}

Nanoseconds KernelRoutes::recheckDelay() const {
  Nanoseconds due = lastReading_ + (everythingWanted() ? readingSpacing : checkSpacing);
  if (doubts_.any()) {
    due = std::max(due, std::min(lastDoubt_ + checkDelay, firstDoubt_ + mostCheckDelay));
  }
  return std::max(due - loop_.scheduler()->clock()->now(), Nanoseconds(0));
}

void KernelRoutes::retry(FieldId /*field*/, const void* /*key*/) {
  retryWait_ = std::min<Nanoseconds>(2 * retryWait_, mostRetrySpacing);
  if (damaged_) {
    lost();
  } else {
    doubts_.everything = true;
  }
  recheckLater();
}

// The timer may have been armed for a check before everything was wanted.
void KernelRoutes::recheck(FieldId /*field*/, const void* /*key*/) {
  if (recheckDelay() > Nanoseconds(0)) {
    return timer_->scheduleTaskLowestDelay(recheckDelay());
  }
  std::vector<DumpRequest> requests;
  if (everythingWanted()) {
    ++counters_.resyncs;
    lost_ = false;
    damaged_ = false;
    disturbed_ = false;
    retryTimer_->stopTimerTask();
    requests = state_.everything();
  } else {
    ++counters_.checks;
    requests = checksOf(doubts_.interfaces);
  }
  lastReading_ = loop_.scheduler()->clock()->now();
  // Of the latest reason the kernel may have to drop the routes yet: once more, then.
  if (lastReading_ < lastDoubt_ + checkDelay) {
    firstDoubt_ = lastReading_;
  } else {
    doubts_ = {};
  }
  queue_.insert(queue_.end(), requests.begin(), requests.end());
  if (!dump_) {
    dumpNext();
  }
}

std::vector<DumpRequest> KernelRoutes::checksOf(const std::set<std::uint32_t>& interfaces) const {
  std::vector<DumpRequest> requests{{DumpRequest::Kind::nexthops}};
  for (const std::uint32_t interface : interfaces) {
    for (const auto& vrf : vrfs_.all()) {
      const std::vector<DumpRequest> more = state_.routesOf(*vrf, interface);
      requests.insert(requests.end(), more.begin(), more.end());
    }
  }
  return requests;
}

// ---- what is known
// -------------------------------------------------------------------------------

KernelRoutes::Counters KernelRoutes::counters() const {
  Counters counters = counters_;
  counters.messages = state_.counters();
  counters.viasBeyondLimit = state_.viasBeyondLimit();
  return counters;
}

std::vector<KernelRoutes::Description> KernelRoutes::describe(const Vrf& vrf,
                                                              const IpGenPrefix& prefix) const {
  std::vector<Description> descriptions;
  const VrfRoutes* routes = state_.routes(vrf);
  if (routes == nullptr) {
    return descriptions;
  }
  const Fecs& fecs = routes->feed().fecs();
  for (const VrfRoutes::Alternative& route : routes->alternatives(prefix)) {
    Description description{route.type,
                            route.metric,
                            route.preference,
                            route.local,
                            fecs.object(route.fec),
                            route.fec,
                            {}};
    for (const Hop& hop : fecs.hops(route.fec)) {
      description.hops.push_back({hop.via.hop ? hop.via.hop.stringValue() : std::string(),
                                  state_.links().name(hop.via.intfId.value),
                                  hop.via.weight,
                                  hop.via.mplsLabelAndAction().label(),
                                  hop.dead});
    }
    descriptions.push_back(std::move(description));
  }
  return descriptions;
}

}  // namespace Routing::Host
