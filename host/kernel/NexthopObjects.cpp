#include "host/kernel/NexthopObjects.h"

#include <algorithm>

namespace Routing::Host {

namespace {

bool isMember(const NexthopMessage& group, std::uint32_t object) noexcept {
  return std::any_of(group.group.begin(), group.group.end(), [object](const auto& member) {
    return member.object == object;
  });
}

}  // namespace

NexthopObjects::Ids NexthopObjects::nexthopIs(const NexthopMessage& nexthop) {
  Object& object = objects_[nexthop.object];
  object.marked = false;
  object.content = nexthop;
  Ids changed;
  withGroups(nexthop.object, changed);
  return changed;
}

NexthopObjects::Ids NexthopObjects::nexthopDel(std::uint32_t object) { return removeAll({object}); }

NexthopObjects::Ids NexthopObjects::interfaceDel(std::uint32_t interface) {
  Ids gone;
  for (const auto& [id, object] : objects_) {
    if (object.content.group.empty() && object.content.hop.via.intfId.value == interface) {
      gone.push_back(id);
    }
  }
  return removeAll(std::move(gone));
}

void NexthopObjects::mark() noexcept {
  for (auto& [id, object] : objects_) {
    object.marked = true;
  }
}

NexthopObjects::Ids NexthopObjects::sweep() {
  Ids gone;
  for (const auto& [id, object] : objects_) {
    if (object.marked) {
      gone.push_back(id);
    }
  }
  return removeAll(std::move(gone));
}

bool NexthopObjects::blackhole(std::uint32_t object) const noexcept {
  const auto found = objects_.find(object);
  return found != objects_.end() && found->second.content.blackhole;
}

Hops NexthopObjects::hops(std::uint32_t object) const {
  const auto found = objects_.find(object);
  if (found == objects_.end() || found->second.content.blackhole) {
    return {};
  }
  const NexthopMessage& content = found->second.content;
  if (content.group.empty()) {
    return {content.hop};
  }
  Hops hops;
  for (const NexthopMessage::Member& member : content.group) {
    const auto leaf = objects_.find(member.object);
    if (leaf != objects_.end() && leaf->second.content.group.empty() &&
        !leaf->second.content.blackhole) {
      hops.push_back(leaf->second.content.hop);
      hops.back().via.weight = member.weight;
    }
  }
  return hops;
}

void NexthopObjects::withGroups(std::uint32_t object, Ids& ids) const {
  ids.push_back(object);
  for (const auto& [id, other] : objects_) {
    if (isMember(other.content, object)) {
      ids.push_back(id);
    }
  }
}

// A group goes with its last member.
NexthopObjects::Ids NexthopObjects::removeAll(Ids gone) {
  Ids changed;
  for (std::size_t index = 0; index < gone.size(); ++index) {
    const std::uint32_t object = gone[index];
    withGroups(object, changed);
    objects_.erase(object);
    for (auto& [id, other] : objects_) {
      std::erase_if(other.content.group,
                    [object](const auto& member) { return member.object == object; });
      if (other.content.group.empty() && other.content.hop.via.intfId.value == 0 &&
          !other.content.blackhole && std::find(gone.begin(), gone.end(), id) == gone.end()) {
        gone.push_back(id);
      }
    }
  }
  std::sort(changed.begin(), changed.end());
  changed.erase(std::unique(changed.begin(), changed.end()), changed.end());
  return changed;
}

}  // namespace Routing::Host
