#include "host/kernel/Links.h"

#include <algorithm>

namespace Routing::Host {

const Links::Link* Links::link(std::uint32_t interface) const noexcept {
  const auto found = links_.find(interface);
  return found == links_.end() ? nullptr : &found->second;
}

std::string Links::name(std::uint32_t interface) const {
  const Link* found = link(interface);
  return found == nullptr || found->content.name.empty() ? std::to_string(interface)
                                                         : found->content.name;
}

bool Links::down(std::uint32_t interface) const noexcept {
  const Link* found = link(interface);
  return found != nullptr && !found->content.up;
}

const Links::Link* Links::vrfDevice(std::uint32_t table) const noexcept {
  for (const auto& [interface, link] : links_) {
    if (link.content.vrfTable == table) {
      return &link;
    }
  }
  return nullptr;
}

void Links::linkIs(const LinkMessage& link) {
  Link& known = links_[link.interface];
  known.content = link;
  known.marked = false;
}

void Links::addressIs(const AddressMessage& address) {
  const auto found = links_.find(address.interface);
  if (found == links_.end() || address.address.family() != AddressFamily::ipv4) {
    return;
  }
  Link& link = found->second;
  std::erase(link.markedAddresses, address);
  if (std::find(link.addresses.begin(), link.addresses.end(), address) == link.addresses.end()) {
    link.addresses.push_back(address);
  }
}

bool Links::addressDel(const AddressMessage& address) {
  const auto found = links_.find(address.interface);
  if (found == links_.end()) {
    return false;
  }
  Link& link = found->second;
  std::erase(link.markedAddresses, address);
  return std::erase(link.addresses, address) != 0 && link.addresses.empty();
}

void Links::markLinks() noexcept {
  for (auto& [interface, link] : links_) {
    link.marked = true;
  }
}

std::vector<std::uint32_t> Links::unnamedLinks() const {
  std::vector<std::uint32_t> unnamed;
  for (const auto& [interface, link] : links_) {
    if (link.marked) {
      unnamed.push_back(interface);
    }
  }
  return unnamed;
}

void Links::markAddresses() {
  for (auto& [interface, link] : links_) {
    link.markedAddresses = link.addresses;
  }
}

std::vector<AddressMessage> Links::unnamedAddresses() const {
  std::vector<AddressMessage> unnamed;
  for (const auto& [interface, link] : links_) {
    unnamed.insert(unnamed.end(), link.markedAddresses.begin(), link.markedAddresses.end());
  }
  return unnamed;
}

}  // namespace Routing::Host
