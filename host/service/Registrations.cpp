#include "host/service/Registrations.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "host/loop/Log.h"
#include "host/service/RequestError.h"
#include "platform/entity/Dir.h"
#include "platform/entity/Hash.h"

namespace Routing::Host {

namespace {

constexpr std::string_view clientKeys = "client/";
constexpr std::string_view policyKeys = "policy/";
constexpr std::size_t longestName = 64;
// How many addresses before its turn one is fetched.
constexpr std::size_t ahead = 8;

bool isName(std::string_view name) noexcept {
  return !name.empty() && name.size() <= longestName &&
         std::all_of(name.begin(), name.end(), [](char c) {
           return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                  c == '-' || c == '_' || c == '.';
         });
}

String clientKey(const String& name) { return String(clientKeys) + name; }

// The name and the address hold no slash, the VRF's name may.
String policyKey(const String& client, const VrfName& vrf, const IpGenAddr& addr) {
  return String(policyKeys) + client + "/" + vrf + "/" + addr.stringValue();
}

String policyText(const Policy& policy) {
  const std::array<char, 4> text{static_cast<char>(policy.minimumPrefixLength),
                                 policy.refuseDefaultRoute ? '\1' : '\0',
                                 policy.connectedOnly ? '\1' : '\0',
                                 policy.refuseBlackhole ? '\1' : '\0'};
  return {text.begin(), text.end()};
}

std::optional<Policy> parsePolicy(const String& text) {
  if (text.size() != 4) {
    return std::nullopt;
  }
  Policy policy;
  policy.minimumPrefixLength = static_cast<std::uint8_t>(text[0]);
  policy.refuseDefaultRoute = text[1] != '\0';
  policy.connectedOnly = text[2] != '\0';
  policy.refuseBlackhole = text[3] != '\0';
  return policy;
}

}  // namespace

Registrations::Registrations(Vrfs& vrfs,
                             NexthopTable& table,
                             RegistrationStore* store,
                             const Ptr<TaskScheduler>& scheduler,
                             const RegistrationLimits& limits,
                             Seconds grace)
    : vrfs_(vrfs),
      table_(table),
      store_(store),
      scheduler_(scheduler),
      limits_(limits),
      grace_(grace),
      timer_(makeEntity<TimerTask>(scheduler, TaskPriority::leastUrgent, "registrationGrace")) {
  timerRun_.subscribe(*timer_);
}

const Registrations::Client* Registrations::client(const String& name) const {
  const auto found = clients_.find(name);
  return found == clients_.end() ? nullptr : &found->second;
}

// ---- requests ----------------------------------------------------------------------------------

void checkPolicy(const Policy& policy, const std::vector<IpGenAddr>& addrs) {
  for (const IpGenAddr& addr : addrs) {
    if (policy.minimumPrefixLength > addressBits(addr.family())) {
      throw RequestError(RequestFault::invalid,
                         "policy.minimum_prefix_length",
                         "no prefix of " + addr.stringValue() + " is that long");
    }
  }
}

// The client if there is one, which then is the user's.
Registrations::Client* Registrations::mine(const String& user, const String& name) {
  if (!isName(name)) {
    throw RequestError(RequestFault::invalid,
                       "client",
                       "a client's name is 1 to 64 letters, digits, '-', '_' and '.'");
  }
  const auto found = clients_.find(name);
  if (found == clients_.end()) {
    return nullptr;
  }
  if (found->second.user != user) {
    throw RequestError(RequestFault::denied, "client", "the name " + name + " is another user's");
  }
  return &found->second;
}

Registrations::Client& Registrations::clientIs(const String& user, const String& name) {
  if (Client* present = mine(user, name)) {
    return *present;
  }
  if (clients_.size() >= limits_.clients) {
    throw RequestError(RequestFault::exhausted,
                       "client",
                       "there are " + std::to_string(clients_.size()) + " clients already");
  }
  Client& client = clients_[name];
  client.name = name;
  client.user = user;
  client.config = makeEntity<NexthopConfig>(name);
  client.status = makeEntity<NexthopStatus>(name);
  if (store_ != nullptr) {
    store_->put(clientKey(name), user);
  }
  vrfs_.records().configs->entityIs(name, client.config);
  vrfs_.records().statuses->entityIs(name, client.status);
  return client;
}

void Registrations::check(const String& user, const RegistrationBatch& batch) {
  const Client* client = mine(user, batch.client);
  if (vrfs_.vrf(batch.vrf) == nullptr) {
    throw RequestError(RequestFault::notFound, "vrf", "there is no VRF " + batch.vrf);
  }
  checkPolicy(batch.policy, batch.addrs);
  const Part* part = nullptr;
  if (client != nullptr) {
    const auto found = client->parts.find(batch.vrf);
    part = found == client->parts.end() ? nullptr : &found->second;
  }
  if (part != nullptr && part->group->kind != batch.kind) {
    throw RequestError(
        RequestFault::conflict,
        "kind",
        "the client's nexthops in this VRF have the kind " + readableText(part->group->kind));
  }
  checkRoom(batch, part);
}

void Registrations::checkRoom(const RegistrationBatch& batch, const Part* part) const {
  // Far from the limit nobody needs to know how many of them are new.
  if (table_.slots().live() + batch.addrs.size() <= limits_.registrations) {
    return;
  }
  DenseSet<IpGenAddr> added;
  for (const IpGenAddr& addr : batch.addrs) {
    if (part == nullptr || NexthopTable::find(*part->group, addr) == nullptr) {
      added.insert(addr);
    }
  }
  if (table_.slots().live() + added.size() > limits_.registrations) {
    throw RequestError(RequestFault::exhausted,
                       "addresses",
                       "at most " + std::to_string(limits_.registrations) +
                           " nexthops are registered at a time, " +
                           std::to_string(table_.slots().live()) + " are");
  }
}

std::uint32_t Registrations::add(const String& user, const RegistrationBatch& batch) {
  check(user, batch);
  Client& client = clientIs(user, batch.client);
  std::uint32_t added = 0;
  if (!batch.addrs.empty()) {
    Part& part = partIs(client, batch.vrf, batch.kind);
    for (std::size_t index = 0; index < batch.addrs.size(); ++index) {
      if (index + ahead < batch.addrs.size()) {
        NexthopTable::prefetch(*part.group, batch.addrs[index + ahead]);
        part.config->nexthop().prefetchFar(hashOf(batch.addrs[index + ahead]));
      }
      const IpGenAddr& addr = batch.addrs[index];
      policyIs(client, batch.vrf, addr, batch.policy);
      if (table_.nexthopIs(*part.group, addr, batch.policy)) {
        part.config->nexthopIs({addr});
        ++added;
      }
    }
  }
  used(client);
  return added;
}

std::uint32_t Registrations::remove(const String& user, const RegistrationBatch& batch) {
  Client* client = mine(user, batch.client);
  if (client == nullptr) {
    return 0;
  }
  std::uint32_t removed = 0;
  const auto found = client->parts.find(batch.vrf);
  if (found != client->parts.end()) {
    Part& part = found->second;
    for (const IpGenAddr& addr : batch.addrs) {
      policyDel(*client, part, addr);
      if (table_.nexthopDel(*part.group, addr)) {
        part.leaving.insert(addr);
        leaving_ = true;
        ++removed;
      }
    }
    if (part.group->count() == 0) {
      partEnd(*client, batch.vrf);
    } else {
      for (const IpGenAddr& addr : batch.addrs) {
        part.config->nexthopDel(addr);
      }
    }
  }
  used(*client);
  return removed;
}

std::uint32_t Registrations::removeAll(const String& user, const String& name, const VrfName& vrf) {
  Client* client = mine(user, name);
  if (client == nullptr) {
    return 0;
  }
  const auto found = client->parts.find(vrf);
  std::uint32_t removed = 0;
  if (found != client->parts.end()) {
    removed = static_cast<std::uint32_t>(found->second.group->count());
    partEnd(*client, vrf);
  }
  used(*client);
  return removed;
}

void Registrations::attach(const String& user, const String& name, const StatusStream& stream) {
  Client& client = clientIs(user, name);
  if (client.live()) {
    throw RequestError(RequestFault::alreadyExists,
                       "client",
                       "the name " + name + " has a live stream");
  }
  client.stream = &stream;
}

void Registrations::detach(const String& name) {
  const auto found = clients_.find(name);
  if (found != clients_.end()) {
    found->second.stream = nullptr;
    used(found->second);
  }
}

void Registrations::reviewed() noexcept {
  if (!leaving_) {
    return;
  }
  leaving_ = false;
  for (auto& [name, client] : clients_) {
    for (auto& [vrf, part] : client.parts) {
      part.leaving.clear();
    }
  }
}

// ---- coming and going --------------------------------------------------------------------------

Registrations::Part& Registrations::partIs(Client& client,
                                           const VrfName& vrf,
                                           NexthopStatusFecIdType kind) {
  Part& part = client.parts[vrf];
  if (part.group == nullptr) {
    part.group = &table_.groupAdd(client.name, vrf, kind, client.status);
    part.config = client.config->vrfIs(vrf, kind);
  }
  return part;
}

void Registrations::partEnd(Client& client, const VrfName& vrf) {
  const auto found = client.parts.find(vrf);
  Part& part = found->second;
  part.group->walk([&](SlotId id) { policyDel(client, part, table_.slots()[id].addr); });
  table_.groupDel(*part.group);
  for (auto cursor = part.leaving.cursor(); !cursor.atEnd(); cursor.next()) {
    if (!part.config->nexthopHas(cursor.key())) {
      part.config->nexthopIs({cursor.key()});
    }
  }
  client.parts.erase(found);
  client.config->vrfDel(vrf);
  // Without a manager nobody has cleared it, and its kind would outlive the registrations.
  client.status->vrfDel(vrf);
}

void Registrations::clientEnd(const String& name) {
  const auto found = clients_.find(name);
  Client& client = found->second;
  while (!client.parts.empty()) {
    const VrfName vrf = client.parts.begin()->first;
    partEnd(client, vrf);
  }
  vrfs_.records().configs->entityDel(name);
  vrfs_.records().statuses->entityDel(name);
  if (store_ != nullptr) {
    store_->erase(clientKey(name));
  }
  clients_.erase(found);
}

void Registrations::used(Client& client) {
  if (client.live()) {
    return;
  }
  if (client.parts.empty()) {
    const String name = client.name;
    clientEnd(name);
    return;
  }
  client.deadline = now() + std::chrono::duration_cast<Nanoseconds>(grace_);
  timerArm();
}

void Registrations::timerArm() {
  std::optional<Nanoseconds> first;
  for (const auto& [name, client] : clients_) {
    if (!client.live() && (!first || client.deadline < *first)) {
      first = client.deadline;
    }
  }
  timer_->stopTimerTask();
  if (first) {
    timer_->scheduleTaskLowestDelay(std::max(*first - now(), Nanoseconds(0)));
  }
}

void Registrations::timerDispatch(FieldId field, const void* /*key*/) {
  if (field != Task::runField) {
    return;
  }
  std::vector<String> due;
  for (const auto& [name, client] : clients_) {
    if (!client.live() && client.deadline <= now()) {
      due.push_back(name);
    }
  }
  for (const String& name : due) {
    clientEnd(name);
  }
  timerArm();
}

// ---- what is kept ------------------------------------------------------------------------------

void Registrations::policyIs(const Client& client,
                             const VrfName& vrf,
                             const IpGenAddr& addr,
                             const Policy& policy) {
  if (store_ == nullptr) {
    return;
  }
  if (policy != Policy()) {
    store_->put(policyKey(client.name, vrf, addr), policyText(policy));
    return;
  }
  const auto part = client.parts.find(vrf);
  if (part != client.parts.end()) {
    policyDel(client, part->second, addr);
  }
}

void Registrations::policyDel(const Client& client, const Part& part, const IpGenAddr& addr) {
  const SlotId* id = NexthopTable::find(*part.group, addr);
  if (store_ != nullptr && id != nullptr && table_.slots()[*id].policy != Policy()) {
    store_->erase(policyKey(client.name, part.group->vrf, addr));
  }
}

void Registrations::restore() {
  const SharedRecords& records = vrfs_.records();
  if (store_ != nullptr) {
    store_->walk([this](const String& key, const String& value) {
      if (key.compare(0, clientKeys.size(), clientKeys) == 0) {
        Client& client = clients_[key.substr(clientKeys.size())];
        client.name = key.substr(clientKeys.size());
        client.user = value;
      }
    });
  }
  std::vector<String> ownerless;
  for (auto cursor = records.configs->entry().cursor(); !cursor.atEnd(); cursor.next()) {
    if (clients_.count(cursor.key()) == 0) {
      ownerless.push_back(cursor.key());
    }
  }
  for (const String& name : ownerless) {
    records.configs->entityDel(name);
    records.statuses->entityDel(name);
  }
  for (auto& [name, client] : clients_) {
    client.config = entityOf<NexthopConfig>(*records.configs, name);
    client.status = entityOf<NexthopStatus>(*records.statuses, name);
    if (!client.config) {
      client.config = makeEntity<NexthopConfig>(name);
      records.configs->entityIs(name, client.config);
    }
    if (!client.status) {
      client.status = makeEntity<NexthopStatus>(name);
      records.statuses->entityIs(name, client.status);
    }
    for (auto cursor = client.config->vrf().cursor(); !cursor.atEnd(); cursor.next()) {
      restorePart(client, cursor.member().value);
    }
    client.deadline = now() + std::chrono::duration_cast<Nanoseconds>(grace_);
  }
  restorePolicies();
  timerArm();
}

void Registrations::restorePart(Client& client, const Ptr<NexthopVrfConfig>& config) {
  Part& part = client.parts[config->vrfName()];
  part.config = config;
  part.group = &table_.groupAdd(client.name, config->vrfName(), config->fecIdType(), client.status);
  for (auto cursor = config->nexthop().cursor(); !cursor.atEnd(); cursor.next()) {
    table_.nexthopIs(*part.group, cursor.key(), Policy());
  }
}

void Registrations::restorePolicies() {
  if (store_ == nullptr) {
    return;
  }
  store_->walk([this](const String& key, const String& value) {
    if (key.compare(0, policyKeys.size(), policyKeys) != 0) {
      return;
    }
    if (!restorePolicy(key, value)) {
      log(LogLevel::warning, "stored policy of no registration: " + key);
    }
  });
}

bool Registrations::restorePolicy(const String& key, const String& value) {
  const std::size_t afterName = key.find('/', policyKeys.size());
  const std::size_t afterVrf = key.rfind('/');
  if (afterName == String::npos || afterVrf <= afterName) {
    return false;
  }
  const auto client = clients_.find(key.substr(policyKeys.size(), afterName - policyKeys.size()));
  const auto policy = parsePolicy(value);
  const auto addr = IpGenAddr::parse(std::string_view(key).substr(afterVrf + 1));
  if (client == clients_.end() || !policy || !addr) {
    return false;
  }
  const auto part = client->second.parts.find(key.substr(afterName + 1, afterVrf - afterName - 1));
  if (part == client->second.parts.end() ||
      NexthopTable::find(*part->second.group, *addr) == nullptr) {
    return false;
  }
  table_.nexthopIs(*part->second.group, *addr, *policy);
  return true;
}

}  // namespace Routing::Host
