#include "host/kernel/KernelRoutes.h"

#include <linux/netlink.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/loop/Log.h"

namespace Routing::Host {

namespace {

// Bytes of messages that one turn of the loop applies: some milliseconds of work, after which
// reviews and clients have their turn.
constexpr std::size_t batchBytes = std::size_t{1} << 20U;

// Between two readings of everything, and of some routes.
constexpr std::chrono::milliseconds readingSpacing(1000);
constexpr std::chrono::milliseconds checkSpacing(400);
// From a reason for a check to the check.
constexpr std::chrono::milliseconds checkDelay(100);
// With more interfaces than this, everything is read once rather than routes once for each.
constexpr std::size_t checkedApart = 4;

// The kernel has no such table or interface (any more), or knows no nexthop objects: the answer is
// that there are none.
bool meansNothingThere(int error) noexcept {
  return error == ENOENT || error == ENODEV || error == EOPNOTSUPP || error == EAFNOSUPPORT;
}

}  // namespace

KernelRoutes::KernelRoutes(EventLoop& loop, Vrfs& vrfs, FecIdSource& source, const Options& options)
    : loop_(loop),
      vrfs_(vrfs),
      socket_(options.receiveBuffer),
      state_(vrfs, source, loop.scheduler()),
      timer_(makeEntity<TimerTask>(loop.scheduler(),
                                   TaskPriority::mostUrgent,
                                   "kernelRoutesRecheck")) {
  timerRun_.subscribe(*timer_);
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
    torn_ = true;
    lost();
  }
}

// A notification carries the sequence number and port of whoever made the change; this socket makes
// none. What else carries its port is the rest of a dump that the kernel reported as failed,
// because the receive buffer was full, and sent all the same.
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
  if ((message.flags & NLM_F_DUMP_INTR) != 0) {
    torn_ = true;
  }
  switch (message.type) {
    case NLMSG_DONE:
    case NLMSG_ERROR:
      return dumpAnswered(message.body);
    default:
      state_.dumpMessage(message);
  }
}

// ---- dumps
// ---------------------------------------------------------------------------------------

// Both kinds of answer begin with a negative error, or 0.
void KernelRoutes::dumpAnswered(Bytes body) {
  const int error = -headOf<std::int32_t>(body).value_or(0);
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
  if (!complete) {
    lost();
  }
  dumpNext();
}

void KernelRoutes::dumpNext() {
  if (queue_.empty()) {
    return queueIsEmpty();
  }
  dump_ = queue_.front();
  queue_.pop_front();
  torn_ = false;
  state_.dumpBegin(*dump_);
  sequence_ = socket_.request(*dump_);
}

void KernelRoutes::queueIsEmpty() {
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
  wanted_.everything = true;
}

void KernelRoutes::recheckLater() {
  Recheck more = state_.takeRecheck();
  if (more.any()) {
    doubtSince_ = loop_.scheduler()->clock()->now();
  }
  wanted_.everything = wanted_.everything || more.everything;
  wanted_.interfaces.merge(more.interfaces);
  if (wanted_.any() && !dump_) {
    timer_->scheduleTaskLowestDelay(recheckDelay());
  }
}

Nanoseconds KernelRoutes::recheckDelay() const {
  const Nanoseconds spacing = wanted_.everything ? readingSpacing : checkSpacing;
  const Nanoseconds due = std::max(lastReading_ + spacing, doubtSince_ + checkDelay);
  return std::max(due - loop_.scheduler()->clock()->now(), Nanoseconds(0));
}

// The timer may have been armed for a check before everything was wanted.
void KernelRoutes::recheck(FieldId /*field*/, const void* /*key*/) {
  if (recheckDelay() > Nanoseconds(0)) {
    return timer_->scheduleTaskLowestDelay(recheckDelay());
  }
  const Recheck wanted = std::exchange(wanted_, {});
  std::vector<DumpRequest> requests;
  if (wanted.everything || wanted.interfaces.size() > checkedApart) {
    ++counters_.resyncs;
    lost_ = false;
    requests = state_.everything();
  } else {
    ++counters_.checks;
    requests = checksOf(wanted.interfaces);
  }
  lastReading_ = loop_.scheduler()->clock()->now();
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
  for (const auto& vrf : vrfs_.all()) {
    if (const VrfRoutes* routes = state_.routes(*vrf)) {
      counters.viasBeyondLimit += routes->feed().fecs().viasBeyondLimit();
    }
  }
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
