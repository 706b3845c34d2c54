#pragma once

// The machine's interfaces as far as routes depend on them: names, whether they are up and have a
// carrier, VRF devices, and their IPv4 addresses.
//
// The kernel drops IPv4 routes without a word when an interface goes down, and when it loses its
// last IPv4 address. Removed IPv6 addresses take their routes along with notifications, so IPv6
// addresses are not kept.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/kernel/Messages.h"

namespace Routing::Host {

class Links {
 public:
  struct Link {
    LinkMessage content;
    std::vector<AddressMessage> addresses;
    bool marked = false;
    std::vector<AddressMessage> markedAddresses;
  };

  // Null when the interface is not known.
  const Link* link(std::uint32_t interface) const noexcept;
  // The interface's name, or its number.
  std::string name(std::uint32_t interface) const;
  // True for an interface that is known to be down: no hop on it is alive.
  bool down(std::uint32_t interface) const noexcept;

  // A VRF device of the table; null when there is none.
  const Link* vrfDevice(std::uint32_t table) const noexcept;

  void linkIs(const LinkMessage& link);
  void linkDel(std::uint32_t interface) { links_.erase(interface); }
  // IPv4 only; others are passed over.
  void addressIs(const AddressMessage& address);
  // True when the interface had the address and has none any more.
  bool addressDel(const AddressMessage& address);

  // From here on, links (or addresses) that are not named are in what sweep... returns.
  void markLinks() noexcept;
  std::vector<std::uint32_t> unnamedLinks() const;
  void markAddresses();
  std::vector<AddressMessage> unnamedAddresses() const;

 private:
  std::map<std::uint32_t, Link> links_;
};

}  // namespace Routing::Host
