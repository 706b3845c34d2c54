#include "host/record/Recorder.h"

#include <algorithm>
#include <utility>

#include "host/record/ReplayLines.h"

namespace Routing::Host {

using namespace ReplayLines;

namespace {

class PrefixVisitor final : public TrieGenWalkCallback {
 public:
  using Visit = std::function<void(const IpGenPrefix& prefix)>;
  explicit PrefixVisitor(Visit visit) : visit_(std::move(visit)) {}

  bool handlePrefix(const IpGenPrefix& prefix) override {
    visit_(prefix);
    return true;
  }
  const TypeData& typeData() const override {
    static const TypeData type("Routing::Host::PrefixVisitor");
    return type;
  }

 private:
  Visit visit_;
};

void walkPrefixes(const Vrf& vrf, const PrefixVisitor::Visit& visit) {
  const auto visitor = makeEntity<PrefixVisitor>(visit);
  vrf.trie4()->preOrderWalk(*IpGenPrefix::parse("0.0.0.0/0"), visitor);
  vrf.trie6()->preOrderWalk(*IpGenPrefix::parse("::/0"), visitor);
}

// Nothing when there is none.
std::optional<Fib::Route> routeOf(const Vrf& vrf, const IpGenPrefix& prefix) {
  if (prefix.family() == AddressFamily::ipv4) {
    const Prefix key(prefix);
    return vrf.routes4()->routeHas(key) ? std::optional(vrf.routes4()->route(key)) : std::nullopt;
  }
  const Ip6Prefix key(prefix);
  return vrf.routes6()->routeHas(key) ? std::optional(vrf.routes6()->route(key)) : std::nullopt;
}

// The words with a blank between them.
template <class... Words>
std::string words(std::string_view first, const Words&... rest) {
  std::string text(first);
  (text.append(" ").append(rest), ...);
  return text;
}

template <class Key>
const Key& keyAs(const void* key) noexcept {
  return *static_cast<const Key*>(key);
}

}  // namespace

Recorder::Recorder(const std::string& path, Vrfs& vrfs, const Ptr<const Clock>& clock)
    : vrfs_(vrfs), clock_(clock), file_(path), time_(clock->now()) {
  file_.line("# What nexthopd was given. Play it back with nexthop-replay.");
  const SharedRecords& records = vrfs.records();
  routingFollow(records.routing4, AddressFamily::ipv4, routing4_);
  routingFollow(records.routing6, AddressFamily::ipv6, routing6_);
  for (const auto& vrf : vrfs.all()) {
    vrfAdded(*vrf);
  }
  for (auto cursor = records.configs->entry().cursor(); !cursor.atEnd(); cursor.next()) {
    configChanged(cursor.key());
  }
  for (auto cursor = records.statuses->entry().cursor(); !cursor.atEnd(); cursor.next()) {
    statusChanged(cursor.key());
  }
  directories_.emplace_back(*records.configs, [this](FieldId, const void* key) {
    configChanged(keyAs<String>(key));
  });
  directories_.emplace_back(*records.statuses, [this](FieldId, const void* key) {
    statusChanged(keyAs<String>(key));
  });
  vrfs.listenerIs([this](const Vrf& vrf, bool added) { added ? vrfAdded(vrf) : vrfRemoved(vrf); });
  file_.flush();
}

void Recorder::turnEnd() {
  due();
  tasksFollow();
  idle_ = std::none_of(tasks_.begin(), tasks_.end(), [](const FollowedTask& followed) {
    return followed.listener->subscribed() && followed.task->taskIsRunnable();
  });
  timeWritten_ = false;
  file_.flush();
}

void Recorder::line(const std::string& text) {
  due();
  file_.line(text);
}

void Recorder::due() {
  if (const auto change = std::exchange(tableChange_, std::nullopt)) {
    tableChangeWrite(*change);
  }
  timeWrite();
  managersWrite();
}

void Recorder::managersWrite() {
  for (FollowedVrf& followed : followedVrfs_) {
    if (!followed.managerWritten && followed.vrf->managed()) {
      followed.managerWritten = true;
      tasksMayDiffer_ = true;
      file_.line(words("manager", followed.word, "no-cells"));
    }
  }
}

Nanoseconds Recorder::elapsed() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(clock_->now() - time_);
}

void Recorder::timeWrite() {
  if (idle_ && !std::exchange(timeWritten_, true)) {
    advanceWrite();
  }
}

void Recorder::advanceWrite() {
  if (const Nanoseconds passed = elapsed(); passed > Nanoseconds(0)) {
    time_ += passed;
    file_.line(advance(passed));
  }
}

// The client's configuration came, went, is another one or was announced.
void Recorder::configChanged(const String& name) {
  const auto config = entityOf<NexthopConfig>(*vrfs_.records().configs, name);
  const auto followed = clients_.find(name);
  tasksMayDiffer_ = true;
  if (followed != clients_.end()) {
    if (followed->second.config.record == config) {
      return line(words("renotify config", word(name)));
    }
    clients_.erase(followed);
    line(words("config-del", word(name)));
  }
  if (config) {
    configFollow(name, config);
  }
}

void Recorder::configFollow(const String& name, const Ptr<NexthopConfig>& config) {
  line(words("config", word(name)));
  Followed<NexthopConfig>& followed = clients_[name].config;
  followed.record = config;
  for (auto cursor = config->vrf().cursor(); !cursor.atEnd(); cursor.next()) {
    configVrfChanged(name, cursor.key());
  }
  followed.listener = std::make_unique<Listener>(*config, [this, name](FieldId, const void* key) {
    configVrfChanged(name, keyAs<VrfName>(key));
  });
}

void Recorder::configVrfChanged(const String& name, const VrfName& vrf) {
  Client& client = clients_.at(name);
  const Ptr<NexthopVrfConfig> config = client.config.record->vrf(vrf);
  const auto followed = client.vrfs.find(vrf);
  tasksMayDiffer_ = true;
  if (followed != client.vrfs.end()) {
    if (followed->second.record == config) {
      return;
    }
    client.vrfs.erase(followed);
    line(words("config-vrf-del", word(name), word(vrf)));
  }
  if (!config) {
    return;
  }
  configVrfWrite(name, *config);
  for (auto cursor = config->nexthop().cursor(); !cursor.atEnd(); cursor.next()) {
    nexthopChanged(name, *config, cursor.key());
  }
  // The configuration outlives its listener, which stands behind it.
  client.vrfs[vrf] = {
      config,
      std::make_unique<Listener>(*config,
                                 [this, name, &config = *config](FieldId field, const void* key) {
                                   if (field == NexthopVrfConfig::nexthopField) {
                                     nexthopChanged(name, config, keyAs<IpGenAddr>(key));
                                   } else {
                                     configVrfWrite(name, config);
                                   }
                                 })};
}

void Recorder::configVrfWrite(const String& name, const NexthopVrfConfig& config) {
  line(words("config-vrf", word(name), word(config.vrfName()), kindWord(config.fecIdType())));
}

void Recorder::nexthopChanged(const String& name,
                              const NexthopVrfConfig& config,
                              const IpGenAddr& addr) {
  const std::string_view command = config.nexthopHas(addr) ? "nexthop" : "nexthop-del";
  line(words(command, word(name), word(config.vrfName()), addr.stringValue()));
}

// The client's status came, went, is another one or was announced. What a manager writes into it
// is not recorded.
void Recorder::statusChanged(const String& name) {
  const auto status = entityOf<NexthopStatus>(*vrfs_.records().statuses, name);
  const auto known = statuses_.find(name);
  tasksMayDiffer_ = true;
  if (known != statuses_.end()) {
    if (known->second == status) {
      return line(words("renotify status", word(name)));
    }
    statuses_.erase(known);
    line(words("status-del", word(name)));
  }
  if (status) {
    statuses_.emplace(name, status);
    statusWrite(name, *status);
  }
}

// A replay has words for resolved entries only, without their metrics and types. The rest of what
// an earlier run left is written by the manager's review, in the daemon and in the replay alike; in
// a VRF that has not come back there is none, and the replay shows less than the daemon.
void Recorder::statusWrite(const String& name, const NexthopStatus& status) {
  for (auto vrf = status.vrf().cursor(); !vrf.atEnd(); vrf.next()) {
    const NexthopVrfStatus& entries = *status.vrf(vrf.key());
    for (auto cursor = entries.nexthop().cursor(); !cursor.atEnd(); cursor.next()) {
      const NexthopStatusEntry& entry = cursor.member();
      if (entry.resolutionState == NexthopResolutionState::resolved) {
        line(statusEntry(word(name), word(vrf.key()), entries.fecIdType(), entry));
      }
    }
  }
  line(words("status", word(name)));
}

template <class Info>
void Recorder::routingFollow(const Ptr<Dir>& dir,
                             AddressFamily family,
                             std::map<VrfName, Followed<Info>>& followed) {
  const auto changed = [this, dir, family, &followed](const VrfName& name) {
    const auto info = entityOf<Info>(*dir, name);
    followed.erase(name);
    routingChanged(info, name, family);
    if (info) {
      followed[name] = {
          info,
          std::make_unique<Listener>(*info,
                                     [this, name, family, &info = *info](FieldId, const void*) {
                                       routingChanged(Ptr<Info>(&info), name, family);
                                     })};
    }
  };
  for (auto cursor = dir->entry().cursor(); !cursor.atEnd(); cursor.next()) {
    changed(cursor.key());
  }
  directories_.emplace_back(*dir,
                            [changed](FieldId, const void* key) { changed(keyAs<String>(key)); });
}

template <class Info>
void Recorder::routingChanged(const Ptr<Info>& info, const VrfName& name, AddressFamily family) {
  tasksMayDiffer_ = true;
  const std::string_view state = info ? info->routingEnabled() ? "on" : "off" : "absent";
  line(words("routing", word(name), familyWord(family), state));
}

void Recorder::vrfAdded(const Vrf& vrf) {
  FollowedVrf& followed = followedVrfs_.emplace_back();
  followed.vrf = &vrf;
  followed.word = word(vrf.name());
  contentWrite(followed);
  followed.prefixes4 = vrf.trie4()->routeCount();
  followed.prefixes6 = vrf.trie6()->routeCount();
  vrfListen(followed);
}

void Recorder::vrfListen(FollowedVrf& followed) {
  const Vrf& vrf = *followed.vrf;
  followed.listeners = {
      std::make_unique<Listener>(
          *vrf.fecs(),
          [this, &followed](FieldId, const void* key) { fecChanged(followed, keyAs<FecId>(key)); }),
      std::make_unique<Listener>(*vrf.routes4(),
                                 [this, &followed](FieldId, const void* key) {
                                   tableChanged(followed, keyAs<Prefix>(key).genPrefix());
                                 }),
      std::make_unique<Listener>(*vrf.routes6(),
                                 [this, &followed](FieldId, const void* key) {
                                   tableChanged(followed, keyAs<Ip6Prefix>(key).genPrefix());
                                 }),
      std::make_unique<Listener>(
          *vrf.trie4(),
          [this, &followed](FieldId, const void* key) {
            trieChanged(followed, *followed.vrf->trie4(), keyAs<IpGenPrefix>(key));
          }),
      std::make_unique<Listener>(*vrf.trie6(), [this, &followed](FieldId, const void* key) {
        trieChanged(followed, *followed.vrf->trie6(), keyAs<IpGenPrefix>(key));
      })};
}

// What an earlier run left in the VRF, and routes that are there already.
void Recorder::contentWrite(FollowedVrf& vrf) {
  const std::uint64_t context = vrf.vrf->context()->firstUnAllocatedNexthopResolverId();
  line(words("context", vrf.word, std::to_string(context)));
  if (const auto forwarding = vrf.vrf->forwarding()->vrf(vrf.vrf->name())) {
    for (auto cursor = forwarding->nexthopResolverIdVia().cursor(); !cursor.atEnd();
         cursor.next()) {
      line(published(vrf.word, cursor.member()));
    }
  }
  walkPrefixes(*vrf.vrf, [this, &vrf](const IpGenPrefix& prefix) {
    if (const auto route = routeOf(*vrf.vrf, prefix)) {
      fecChanged(vrf, route->fecId());
      line(ReplayLines::route("route", vrf.word, prefix, *route));
    }
  });
}

// A replay keeps the tables and FECs of a VRF that has gone: they are emptied for one that comes
// again under its name.
void Recorder::vrfRemoved(const Vrf& vrf) {
  const auto followed =
      std::find_if(followedVrfs_.begin(), followedVrfs_.end(), [&vrf](const FollowedVrf& other) {
        return other.vrf == &vrf;
      });
  due();
  if (followed->managerWritten) {
    line(words("manager-del", followed->word));
  }
  walkPrefixes(vrf, [this, &followed](const IpGenPrefix& prefix) {
    line(words("route-del", followed->word, prefix.stringValue()));
  });
  for (auto cursor = followed->fecs.cursor(); !cursor.atEnd(); cursor.next()) {
    line(words("fec-del", std::to_string(cursor.key())));
  }
  followedVrfs_.erase(followed);
}

void Recorder::fecChanged(FollowedVrf& vrf, FecId fecId) {
  const FibGen::MemoryForwardingStatus& fecs = *vrf.vrf->fecs();
  if (fecs.fecHas(fecId)) {
    vrf.fecs.insert(fecId);
    line(fec(fecs.fec(fecId)));
  } else {
    vrf.fecs.remove(fecId);
    line(words("fec-del", std::to_string(fecId)));
  }
}

void Recorder::tableChanged(const FollowedVrf& vrf, const IpGenPrefix& prefix) {
  due();
  tableChange_ = TableChange{&vrf, prefix};
}

void Recorder::trieChanged(FollowedVrf& vrf, const TrieGen& trie, const IpGenPrefix& prefix) {
  std::size_t& known = trie.addressFamily() == AddressFamily::ipv4 ? vrf.prefixes4 : vrf.prefixes6;
  const std::size_t before = std::exchange(known, trie.routeCount());
  const bool withTable =
      tableChange_ && tableChange_->vrf == &vrf && tableChange_->prefix == prefix;
  const std::optional<Fib::Route> route = withTable ? routeOf(*vrf.vrf, prefix) : std::nullopt;
  if (route && known >= before) {
    tableChange_.reset();
    line(ReplayLines::route("route", vrf.word, prefix, *route));
  } else if (withTable && !route && known < before) {
    tableChange_.reset();
    line(words("route-del", vrf.word, prefix.stringValue()));
  } else if (known != before) {
    line(words(known > before ? "trie" : "trie-del", vrf.word, prefix.stringValue()));
  } else {
    const bool isUnset = prefix.family() == AddressFamily::unset;
    const std::string text = words("announce", vrf.word, familyWord(trie.addressFamily()));
    line(isUnset ? text : words(text, prefix.stringValue()));
  }
}

void Recorder::tableChangeWrite(const TableChange& change) {
  const std::string& vrf = change.vrf->word;
  if (const auto route = routeOf(*change.vrf->vrf, change.prefix)) {
    file_.line(ReplayLines::route("table", vrf, change.prefix, *route));
  } else {
    file_.line(words("table-del", vrf, change.prefix.stringValue()));
  }
}

void Recorder::tasksFollow() {
  if (!std::exchange(tasksMayDiffer_, false)) {
    return;
  }
  tasks_.remove_if([](const FollowedTask& followed) { return !followed.listener->subscribed(); });
  for (const auto& vrf : vrfs_.all()) {
    if (!vrf->managed()) {
      continue;
    }
    if (const auto& fibVia = vrf->manager()->nexthopResolverFibViaSm()) {
      taskFollow(fibVia->cleanupNhResVrfFsTimer(), true);
    }
    for (auto cursor = vrf->manager()->resolverSm().cursor(); !cursor.atEnd(); cursor.next()) {
      taskFollow(cursor.member().value->reviewNexthopTask(), false);
    }
  }
}

void Recorder::taskFollow(const Ptr<const Task>& task, bool isTimer) {
  const bool isFollowed = std::any_of(tasks_.begin(), tasks_.end(), [&task](const auto& followed) {
    return followed.task == task.get();
  });
  if (!task || isFollowed) {
    return;
  }
  tasks_.push_back({task.get(), isTimer, 0, nullptr});
  FollowedTask& followed = tasks_.back();
  followed.listener = std::make_unique<Listener>(*task, [this, &followed](FieldId, const void*) {
    taskRan(followed);
  });
  // One that is met for the first time may have run at the end of this turn, after all its inputs.
  if (task->taskRunCount() > 0) {
    taskRan(followed);
  }
}

void Recorder::taskRan(FollowedTask& followed) {
  const std::uint64_t work = followed.task->taskWorkCount() - followed.work;
  followed.work = followed.task->taskWorkCount();
  due();
  if (followed.isTimer) {
    // It fires in the replay when its time has come there.
    return advanceWrite();
  }
  const std::uint64_t budget = followed.task->taskIsRunnable() ? work : 0;
  if (std::exchange(budget_, budget) != budget) {
    file_.line(words("budget", std::to_string(budget)));
  }
  file_.line("step");
}

}  // namespace Routing::Host
