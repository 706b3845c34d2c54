#include "host/kernel/NexthopObjects.h"

#include <algorithm>

namespace Routing::Host {

NexthopObjects::Ids NexthopObjects::nexthopIs(const NexthopMessage& nexthop) {
  leaveMembers(nexthop.object);
  for (const NexthopMessage::Member& member : nexthop.group) {
    groups_[member.object].insert(nexthop.object);
  }
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
  if (found == objects_.end()) {
    return false;
  }
  const NexthopMessage& content = found->second.content;
  return content.blackhole ||
         std::any_of(content.group.begin(), content.group.end(), [this](const auto& member) {
           const auto leaf = objects_.find(member.object);
           return leaf != objects_.end() && leaf->second.content.blackhole;
         });
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
  const auto found = groups_.find(object);
  if (found != groups_.end()) {
    ids.insert(ids.end(), found->second.begin(), found->second.end());
  }
}

// What is changed or removed is a group of none of its members, if it was one.
void NexthopObjects::leaveMembers(std::uint32_t group) {
  const auto known = objects_.find(group);
  if (known == objects_.end()) {
    return;
  }
  for (const NexthopMessage::Member& member : known->second.content.group) {
    const auto found = groups_.find(member.object);
    if (found != groups_.end() && found->second.erase(group) != 0 && found->second.empty()) {
      groups_.erase(found);
    }
  }
}

// A group goes with its last member.
NexthopObjects::Ids NexthopObjects::removeAll(Ids gone) {
  Ids changed;
  for (std::size_t index = 0; index < gone.size(); ++index) {
    const std::uint32_t object = gone[index];
    withGroups(object, changed);
    leaveMembers(object);
    objects_.erase(object);
    const auto groups = groups_.extract(object);
    for (const std::uint32_t id : groups ? groups.mapped() : std::set<std::uint32_t>{}) {
      std::vector<NexthopMessage::Member>& members = objects_.at(id).content.group;
      std::erase_if(members, [object](const auto& member) { return member.object == object; });
      if (members.empty()) {
        gone.push_back(id);
      }
    }
  }
  std::sort(changed.begin(), changed.end());
  changed.erase(std::unique(changed.begin(), changed.end()), changed.end());
  return changed;
}

}  // namespace Routing::Host
