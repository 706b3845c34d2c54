#pragma once

// BareServer: a process that speaks the service's language and knows nothing. It takes every
// registration and tells its one stream a made-up status of each address: what the transport alone
// costs, in both directions.

#include <sys/types.h>

#include <string>

namespace Routing::Bench {

class BareServer {
 public:
  // Forks. Requires: no threads yet.
  explicit BareServer(const std::string& socketPath);
  BareServer(const BareServer&) = delete;
  BareServer& operator=(const BareServer&) = delete;
  ~BareServer();

 private:
  pid_t process_ = -1;
};

}  // namespace Routing::Bench
