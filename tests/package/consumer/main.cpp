#include "platform/net/IpGenAddr.h"

// Takes a header from the package and calls into its library; the exit code is the verdict.
int main() {
  const Routing::IpGenAddr address = Routing::IpGenAddr::ipv4(0x0a000001);
  return address.stringValue() == "10.0.0.1" ? 0 : 1;
}
