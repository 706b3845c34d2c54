#pragma once

// TraceStream: the Trace call. Trace lines go to the client as they are written.
//
// While it is open, the levels that it asks for are on in the facilities that it names. Levels that
// were on before stay on; when the stream ends, what it alone switched on goes off (TraceLoan).
// Other text sinks of the process see the lines too.

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "host/service/ServerStream.h"
#include "platform/trace/TraceFacility.h"
#include "platform/trace/TraceLevels.h"
#include "platform/trace/TraceSink.h"

namespace Routing::Host {

// Levels of a facility that somebody has switched on for a while. What one loan switches on stays
// on until the last of those that want it ends.
class TraceLoan {
 public:
  TraceLoan(TraceFacility& facility, TraceLevelMask levels);
  TraceLoan(const TraceLoan&) = delete;
  TraceLoan& operator=(const TraceLoan&) = delete;
  ~TraceLoan();

  const TraceFacility& facility() const noexcept { return facility_; }
  TraceLevelMask levels() const noexcept { return levels_; }

 private:
  TraceFacility& facility_;
  TraceLevelMask levels_;
};

class TraceStream final : public ServerStream<Proto::TraceResponse> {
 public:
  // Lines that wait for the client; more are lost.
  static constexpr std::size_t mostWaiting = 4096;
  static constexpr int mostLines = 256;

  // The request lives as long as the call.
  TraceStream(Inbox& inbox, StreamKeeper& keeper, const Proto::TraceRequest& request);

 protected:
  void open() override;
  bool fill(Proto::TraceResponse& message) override;
  std::size_t waiting() const override { return lines_.size(); }
  bool complete() const override { return false; }
  void closed() override;

 private:
  void handleMessage(const TraceMessage& message);

  const Proto::TraceRequest& request_;
  std::vector<std::unique_ptr<TraceLoan>> loans_;
  std::unique_ptr<CallbackTraceSink> sink_;
  std::deque<Proto::TraceLine> lines_;
  std::uint64_t lost_ = 0;
};

}  // namespace Routing::Host
