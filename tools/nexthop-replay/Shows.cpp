#include "tools/nexthop-replay/Shows.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <utility>

#include "platform/task/Task.h"
#include "tools/nexthop-replay/RecordLines.h"

namespace Routing::Replay {

namespace {

bool passes(const Filter& filter, const String& name) { return !filter || *filter == name; }

// Lines by key. Lines of equal keys keep the order in which they came.
template <class... Keys>
class SortedLines {
 public:
  void add(std::tuple<Keys...> keys, Line line) {
    lines_.emplace_back(std::move(keys), std::move(line));
  }
  std::vector<Line> take() {
    std::stable_sort(lines_.begin(), lines_.end(), [](const auto& left, const auto& right) {
      return left.first < right.first;
    });
    std::vector<Line> lines;
    lines.reserve(lines_.size());
    for (auto& [keys, line] : lines_) {
      lines.push_back(std::move(line));
    }
    lines_.clear();
    return lines;
  }

 private:
  std::vector<std::pair<std::tuple<Keys...>, Line>> lines_;
};

// Visits the status records of both directories, the global one first.
void walkStatus(const World& world,
                const Filter& client,
                const std::function<void(const NexthopStatus&)>& visit) {
  for (const Directory directory : {Directory::status, Directory::cell}) {
    world.walk(directory, [&](const String& name) {
      const auto status = ptrCast<NexthopStatus>(world.entry(directory, name));
      if (status && passes(client, name)) {
        visit(*status);
      }
    });
  }
}

// Visits the VRFs that have a manager, in order of their names.
void walkManagers(const World& world,
                  const Filter& filter,
                  const std::function<void(const NexthopResolverManagerSm&)>& visit) {
  for (const auto& [name, vrf] : world.vrfs()) {
    if (vrf.manager && passes(filter, name)) {
      visit(*vrf.manager);
    }
  }
}

}  // namespace

std::vector<Line> showStatus(const World& world, const Filter& client, const Filter& vrf) {
  SortedLines<String, VrfName, IpGenAddr> lines;
  walkStatus(world, client, [&](const NexthopStatus& status) {
    for (auto vrfs = status.vrf().cursor(); !vrfs.atEnd(); vrfs.next()) {
      const VrfName& name = vrfs.key();
      const auto& vrfStatus = vrfs.member().value;
      if (!passes(vrf, name)) {
        continue;
      }
      for (auto entries = vrfStatus->nexthop().cursor(); !entries.atEnd(); entries.next()) {
        lines.add({status.name(), name, entries.key()},
                  statusLine(status.name(), name, entries.member()));
      }
    }
  });
  return lines.take();
}

std::vector<Line> showVrfStatus(const World& world, const Filter& client) {
  SortedLines<String, VrfName> lines;
  walkStatus(world, client, [&](const NexthopStatus& status) {
    for (auto vrfs = status.vrf().cursor(); !vrfs.atEnd(); vrfs.next()) {
      lines.add({status.name(), vrfs.key()}, vrfStatusLine(status.name(), *vrfs.member().value));
    }
  });
  return lines.take();
}

std::vector<Line> showForwarding(const World& world, const Filter& vrf) {
  SortedLines<VrfName, ResolverId> lines;
  const Ptr<NexthopResolverForwardingStatus>& status = world.presentForwardingStatus();
  if (!status) {
    return {};
  }
  for (auto vrfs = status->vrf().cursor(); !vrfs.atEnd(); vrfs.next()) {
    const VrfName& name = vrfs.key();
    const auto& vrfStatus = vrfs.member().value;
    if (!passes(vrf, name)) {
      continue;
    }
    for (auto records = vrfStatus->nexthopResolverIdVia().cursor(); !records.atEnd();
         records.next()) {
      const NexthopResolverIdVia& record = records.member();
      Line line("forwarding");
      line.word("vrf", name).number("resolverId", record.resolverId().value());
      lines.add({name, record.resolverId()}, line.vias(record.nexthopResolverVia()));
    }
  }
  return lines.take();
}

std::vector<Line> showMap(const World& world, const Filter& vrf) {
  SortedLines<VrfName, FecId> lines;
  walkManagers(world, vrf, [&](const NexthopResolverManagerSm& manager) {
    const FecIdToResolverId::Map& map = manager.fecIdToResolverId()->fecIdToResolverIdMap();
    for (auto cursor = map.cursor(); !cursor.atEnd(); cursor.next()) {
      lines.add({manager.vrfName(), cursor.key()},
                mapLine(manager.vrfName(), cursor.key(), cursor.member().value));
    }
  });
  return lines.take();
}

std::vector<Line> showReferences(const World& world, const Filter& vrf) {
  SortedLines<VrfName, FecId, String, IpGenAddr> lines;
  walkManagers(world, vrf, [&](const NexthopResolverManagerSm& manager) {
    const VrfName& name = manager.vrfName();
    const auto addClient = [&](FecId fecId, const NexthopResolverClientRef& client) {
      for (auto addrs = client.nexthopRef().cursor(); !addrs.atEnd(); addrs.next()) {
        Line line("reference");
        line.word("vrf", name).number("fecId", fecId);
        line.word("client", client.clientName()).address(addrs.key());
        lines.add({name, fecId, client.clientName(), addrs.key()}, line);
      }
    };
    const FecIdToClientHop::FecIdRefs& fecs = manager.fecIdToClientHop()->fecIdRef();
    for (auto fec = fecs.cursor(); !fec.atEnd(); fec.next()) {
      const auto& clients = fec.member().value->clientRef();
      for (auto client = clients.cursor(); !client.atEnd(); client.next()) {
        addClient(fec.key(), *client.member().value);
      }
    }
  });
  return lines.take();
}

std::vector<Line> showResolvers(const World& world, const Filter& vrf) {
  SortedLines<VrfName, String> lines;
  walkManagers(world, vrf, [&](const NexthopResolverManagerSm& manager) {
    for (auto cursor = manager.resolverSm().cursor(); !cursor.atEnd(); cursor.next()) {
      const NexthopResolverSm& resolver = *cursor.member().value;
      Line line("resolver");
      line.word("vrf", manager.vrfName()).word("client", resolver.name());
      line.word("kind", kindWord(resolver.nexthopVrfStatus()->fecIdType()));
      line.named("queued", resolver.reviewNexthop().size());
      lines.add({manager.vrfName(), resolver.name()}, line);
    }
  });
  return lines.take();
}

namespace {

// Calls a function with each prefix of a walk.
class Visitor final : public TrieGenWalkCallback {
 public:
  explicit Visitor(std::function<void(const IpGenPrefix&)> visit) : visit_(std::move(visit)) {}

  bool handlePrefix(const IpGenPrefix& prefix) override {
    visit_(prefix);
    return true;
  }
  const TypeData& typeData() const override {
    static const TypeData type("Routing::Replay::Visitor");
    return type;
  }

 private:
  std::function<void(const IpGenPrefix&)> visit_;
};

}  // namespace

std::vector<Line> showTracked(const World& world, const Filter& vrf) {
  SortedLines<VrfName, String, IpGenAddr> lines;
  walkManagers(world, vrf, [&](const NexthopResolverManagerSm& manager) {
    for (auto cursor = manager.resolverSm().cursor(); !cursor.atEnd(); cursor.next()) {
      const NexthopResolverSm& resolver = *cursor.member().value;
      const auto visitor = makeEntity<Visitor>([&](const IpGenPrefix& prefix) {
        const IpGenAddr addr = prefix.address();
        Line line("tracked");
        line.word("vrf", manager.vrfName()).word("client", resolver.name()).address(addr);
        lines.add({manager.vrfName(), resolver.name(), addr}, line);
      });
      resolver.nexthopTrie4()->preOrderWalk(IpGenPrefix(IpGenAddr::ipv4(0), 0), visitor);
      resolver.nexthopTrie6()->preOrderWalk(IpGenPrefix(IpGenAddr::ipv6(IpGenAddr::Words{}), 0),
                                            visitor);
    }
  });
  return lines.take();
}

std::vector<Line> showContext(const World& world, const Filter& vrf) {
  std::vector<Line> lines;
  for (const auto& [name, inputs] : world.vrfs()) {
    if (passes(vrf, name)) {
      lines.push_back(contextLine(name, *inputs.context));
    }
  }
  return lines;
}

std::vector<Line> showEntities() {
  std::map<std::string_view, std::uint64_t> counts;
  TypeData::walk([&counts](const TypeData& type) { counts[type.name()] += type.live(); });
  std::vector<Line> lines;
  for (const auto& [type, count] : counts) {
    if (count != 0) {
      lines.push_back(Line("entity").word("type", type).number("value", count));
    }
  }
  return lines;
}

namespace {

// Without trailing zeros: "300", "299.5".
String secondsText(Nanoseconds time) {
  constexpr std::int64_t second = std::nano::den;
  String text = std::to_string(time.count() / second);
  if (const std::int64_t rest = time.count() % second; rest != 0) {
    // The digits behind a 1 are those behind the point, leading zeros included.
    text += '.' + std::to_string(second + rest).substr(1);
    text.erase(text.find_last_not_of('0') + 1);
  }
  return text;
}

Line taskLine(const Task& task) {
  Line line("task");
  line.word("name", task.taskName()).word("state", task.taskIsRunnable() ? "runnable" : "idle");
  return line.named("runs", task.taskRunCount()).named("work", task.taskWorkCount());
}

}  // namespace

std::vector<Line> showTasks(const World& world) {
  // By name; a task before a timer of its name, timers of a name by time, the stopped ones last.
  SortedLines<String, bool, Nanoseconds> lines;
  const Nanoseconds now = world.clock().now();
  world.scheduler().walkTasks([&](const Task& task) {
    const auto* const timer = dynamic_cast<const TimerTask*>(&task);
    if (timer == nullptr) {
      lines.add({task.taskName(), false, Nanoseconds(0)}, taskLine(task));
      return;
    }
    Line line("timer");
    line.word("name", task.taskName());
    if (const auto expiry = timer->expiry()) {
      line.decimal("value", secondsText(*expiry - now));
    } else {
      line.null("value", "stopped");
    }
    lines.add({task.taskName(), true, timer->expiry().value_or(Nanoseconds::max())}, line);
  });
  return lines.take();
}

}  // namespace Routing::Replay
