#pragma once

// The kernel's nexthop objects: what each leads to, groups resolved to the hops of their members.
//
// A route over an object names only the object, so a change here is a change of all its routes at
// once. The kernel takes objects away without a word when their link goes down or loses its
// carrier, and takes what is gone out of groups; interfaceDel does the same here.
//
// Changes return the objects whose hops are others now, groups included.

#include <cstdint>
#include <map>
#include <set>
#include <unordered_map>
#include <vector>

#include "host/kernel/Messages.h"

namespace Routing::Host {

class NexthopObjects {
 public:
  using Ids = std::vector<std::uint32_t>;

  Ids nexthopIs(const NexthopMessage& nexthop);
  Ids nexthopDel(std::uint32_t object);
  // Objects with a hop on the interface are gone.
  Ids interfaceDel(std::uint32_t interface);

  // From here on, what is not named until sweep() is gone then.
  void mark() noexcept;
  Ids sweep();

  bool has(std::uint32_t object) const noexcept { return objects_.count(object) != 0; }
  // By itself, or as the group of a blackhole.
  bool blackhole(std::uint32_t object) const noexcept;
  // None for a blackhole, and for one that is not known.
  Hops hops(std::uint32_t object) const;
  std::size_t count() const noexcept { return objects_.size(); }

 private:
  struct Object {
    NexthopMessage content;
    bool marked = false;
  };

  void withGroups(std::uint32_t object, Ids& ids) const;
  void leaveMembers(std::uint32_t group);
  Ids removeAll(Ids gone);

  std::map<std::uint32_t, Object> objects_;
  // The groups of each object that is in one, whether or not it is known itself.
  std::unordered_map<std::uint32_t, std::set<std::uint32_t>> groups_;
};

}  // namespace Routing::Host
