// What a dump adds to the routes of a VRF, and takes away from them.

#include <linux/netlink.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/kernel/VrfRoutes.h"
#include "platform/entity/Assert.h"

namespace Routing::Host {

namespace {

using Alternative = VrfRoutes::Alternative;
using Alternatives = VrfRoutes::Alternatives;

bool has(const Alternatives& list, const Alternative& alternative) noexcept {
  return std::find(list.begin(), list.end(), alternative) != list.end();
}

std::uint8_t scopeBit(const VrfRoutes::Scope& scope) noexcept {
  const unsigned family = scope.family == AddressFamily::ipv4 ? 0 : 1;
  return static_cast<std::uint8_t>(1U << (family * 2 + (scope.local ? 1 : 0)));
}

class Collect final : public TrieGenWalkCallback {
 public:
  explicit Collect(std::function<bool(const IpGenPrefix&)> wanted) : wanted_(std::move(wanted)) {}
  bool handlePrefix(const IpGenPrefix& prefix) override {
    if (wanted_(prefix)) {
      found_.push_back(prefix);
    }
    return true;
  }
  const std::vector<IpGenPrefix>& found() const noexcept { return found_; }
  const TypeData& typeData() const override {
    static const TypeData type("Routing::Host::VrfRoutes::Collect");
    return type;
  }

 private:
  std::function<bool(const IpGenPrefix&)> wanted_;
  std::vector<IpGenPrefix> found_;
};

IpGenPrefix wholeFamily(AddressFamily family) {
  return {family == AddressFamily::ipv4 ? IpGenAddr::ipv4(0) : IpGenAddr::ipv6(IpGenAddr::Words{}),
          0};
}

}  // namespace

// ---- notifications meanwhile
// ---------------------------------------------------------------------

bool VrfRoutes::dumpedTableHas(const IpGenPrefix& prefix) const {
  const Alternatives present = alternatives(prefix);
  return std::any_of(present.begin(), present.end(), [this](const Alternative& alternative) {
    return alternative.local == dump_->scope.local;
  });
}

void VrfRoutes::touch(const Key& key, const Alternatives& before) {
  Alternatives& gone = dump_->touched[key];
  const Alternatives present = alternatives(key.prefix);
  std::erase_if(gone, [&](const Alternative& alternative) { return has(present, alternative); });
  std::copy_if(before.begin(),
               before.end(),
               std::back_inserter(gone),
               [&](const Alternative& alternative) { return !has(present, alternative); });
  if (key.prefix == dump_->current) {
    regroup(key, gone);
  }
}

// What the dump named of the key just before the notification is treated as if it came after.
void VrfRoutes::regroup(const Key& key, const Alternatives& gone) {
  std::erase_if(dump_->late, [&](const Alternative& named) { return has(gone, named); });
  std::erase_if(dump_->group, [&](const Alternative& named) {
    if (named.metric == key.metric && !has(gone, named)) {
      dump_->late.push_back(named);
    }
    return named.metric == key.metric;
  });
}

// ---- dumps
// ---------------------------------------------------------------------------------------

bool VrfRoutes::Dump::seen(const IpGenPrefix& prefix) const noexcept {
  return prefix.family() == AddressFamily::ipv4 ? seen4.has(Routing::Prefix(prefix))
                                                : seen6.has(Ip6Prefix(prefix));
}

void VrfRoutes::Dump::seenIs(const IpGenPrefix& prefix) {
  if (first) {
    return;
  }
  if (prefix.family() == AddressFamily::ipv4) {
    seen4.insert(Routing::Prefix(prefix));
  } else {
    seen6.insert(Ip6Prefix(prefix));
  }
}

VrfRoutes::Dump::Dump(const Scope& dumped, bool nothingBefore)
    : scope(dumped), first(nothingBefore) {}

// True when the dump would have named the route if it were there.
bool VrfRoutes::Dump::covers(const IpGenPrefix& prefix, const Alternative& alternative) const {
  return alternative.local == scope.local && touched.count({prefix, alternative.metric}) == 0;
}

void VrfRoutes::dumpBegin(const Scope& scope) {
  ROUTING_ASSERT(!dump_ && "one dump at a time");
  dump_.emplace(scope, (dumped_ & scopeBit(scope)) == 0 && scope.interface == 0);
}

void VrfRoutes::dumpRoute(const RouteMessage& route, FecId fec) {
  ROUTING_ASSERT(dump_ && "a dump is under way");
  if (!(route.prefix == dump_->current)) {
    groupApply();
    dump_->current = route.prefix;
    dump_->seenIs(route.prefix);
  }
  const Alternative added = alternativeOf(route, fec);
  if (fec == 0 || added.local != dump_->scope.local) {
    return;
  }
  const auto touched = dump_->touched.find({route.prefix, route.metric});
  if (touched != dump_->touched.end()) {
    if (!has(touched->second, added)) {
      dump_->late.push_back(added);
    }
    return;
  }
  if (route.prefix.family() == AddressFamily::ipv6) {
    add6(dump_->group, added, route, NLM_F_APPEND);
  } else {
    add4(dump_->group, added, NLM_F_APPEND);
  }
}

// What the dump says of a prefix stands in place of what was known, notifications apart.
void VrfRoutes::groupApply() {
  const IpGenPrefix prefix = dump_->current;
  if (!prefix) {
    return;
  }
  const Scope& scope = dump_->scope;
  // What uses other interfaces is not in the dump of one, so nothing says that it is alone.
  const std::uint16_t flags = scope.interface == 0 ? NLM_F_EXCL : 0;
  if (dump_->group.size() == 1 && dump_->touched.empty() &&
      routeIsAlone(prefix, dump_->group.front(), flags)) {
    dump_->group.clear();
    return;
  }
  Alternatives group;
  group.swap(dump_->group);
  Alternatives present = alternatives(prefix);
  // A dump of everything tells the order as well; one of an interface does not.
  std::erase_if(present, [&](const Alternative& alternative) {
    const bool stays = scope.interface != 0 && has(group, alternative);
    return dump_->covers(prefix, alternative) && isIn(scope, alternative) && !stays;
  });
  for (const Alternative& alternative : group) {
    const auto [first, last] = rangeOf(present, alternative);
    if (std::find(first, last, alternative) == last) {
      unordered_ = unordered_ || (scope.interface != 0 && first != last);
      present.insert(last, alternative);
    }
  }
  lateApply(present);
  alternativesIs(prefix, std::move(present));
}

// Routes that were there before the notification, and that it left alone. The hops of a multipath
// route are not: whatever was told of it was all of it.
void VrfRoutes::lateApply(Alternatives& present) {
  for (const Alternative& alternative : dump_->late) {
    const Range range = rangeOf(present, alternative);
    const bool known = std::find(range.first, range.second, alternative) != range.second;
    const bool multipath = isMultipath(alternative) && findMultipath(range) != range.second;
    if (!known && !(multipath && dump_->scope.family == AddressFamily::ipv6)) {
      present.insert(range.second, alternative);
    }
  }
  dump_->late.clear();
}

bool VrfRoutes::dumpEnd(bool whole) {
  ROUTING_ASSERT(dump_ && "a dump is under way");
  groupApply();
  const Scope scope = dump_->scope;
  const bool disturbed = dump_->disturbed;
  if (whole && !disturbed && !dump_->first) {
    removeIf(scope.family,
             [this, scope](const IpGenPrefix& prefix, const Alternative& alternative) {
               return !dump_->seen(prefix) && dump_->covers(prefix, alternative) &&
                      isIn(scope, alternative);
             });
  }
  if (scope.interface == 0) {
    dumped_ |= scopeBit(scope);
  }
  dump_.reset();
  return !disturbed;
}

void VrfRoutes::unusableDel() {
  if (!feed_.fecs().takeUnusable()) {
    return;
  }
  for (const AddressFamily family : {AddressFamily::ipv4, AddressFamily::ipv6}) {
    removeIf(family, [this](const IpGenPrefix& /*prefix*/, const Alternative& alternative) {
      return !feed_.fecs().usable(alternative.fec);
    });
  }
}

// A trie is not changed while it is walked.
void VrfRoutes::removeIf(AddressFamily family, const Doomed& doomed) {
  const auto collect = makeEntity<Collect>([this, &doomed](const IpGenPrefix& prefix) {
    if (several_.empty() || several_.count(prefix) == 0) {
      return doomed(prefix, plainOf(feed_.route(prefix)));
    }
    const Alternatives& present = several_.at(prefix);
    return std::any_of(present.begin(), present.end(), [&](const Alternative& alternative) {
      return doomed(prefix, alternative);
    });
  });
  feed_.trie(family)->preOrderWalk(wholeFamily(family), collect);
  for (const IpGenPrefix& prefix : collect->found()) {
    Alternatives present = alternatives(prefix);
    std::erase_if(present,
                  [&](const Alternative& alternative) { return doomed(prefix, alternative); });
    alternativesIs(prefix, std::move(present));
  }
}

}  // namespace Routing::Host
