#include "host/store/StateStore.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>

#include "host/loop/RuntimeDirectory.h"

namespace Routing::Host {

namespace {

constexpr std::array databaseNames{StoreFormat::meta,
                                   StoreFormat::registrations,
                                   StoreFormat::config,
                                   StoreFormat::status,
                                   StoreFormat::forwarding,
                                   StoreFormat::context};
// A walk of the largest store takes seconds; a damaged one can lead in circles.
constexpr unsigned examinationSeconds = 60;

bool exists(const std::string& path) noexcept { return ::access(path.c_str(), F_OK) == 0; }

// In a child process: reads the whole store and says what is wrong with it, or nothing.
[[noreturn]] void examineHere(const std::string& directory, int report) noexcept {
  const rlimit noCore{0, 0};
  static_cast<void>(::setrlimit(RLIMIT_CORE, &noCore));
  ::alarm(examinationSeconds);
  int code = EXIT_SUCCESS;
  try {
    StoreReader(directory).verify();
  } catch (const std::exception& error) {
    code = EXIT_FAILURE;
    const std::string_view what = error.what();
    // Who cannot be told why is told by the exit code that something is wrong.
    static_cast<void>(::write(report, what.data(), what.size()));
  }
  ::_exit(code);
}

std::string readAll(int fd) {
  std::string text;
  std::array<char, 512> buffer{};
  ssize_t count = 0;
  while ((count = ::read(fd, buffer.data(), buffer.size())) > 0 || (count < 0 && errno == EINTR)) {
    text.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
  return text;
}

int waitFor(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) == -1) {
    if (errno != EINTR) {
      throw SystemError(errno, "cannot wait for the examination of the store");
    }
  }
  return status;
}

// What is wrong with the store, or nothing.
std::optional<std::string> faultOf(const std::string& directory) {
  std::array<int, 2> ends{};
  systemCall(::pipe2(ends.data(), O_CLOEXEC), "cannot make a pipe");
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  const pid_t child = systemCall(::fork(), "cannot start the examination of the store");
  if (child == 0) {
    examineHere(directory, writing.get());
  }
  writing.close();
  const std::string what = readAll(reading.get());
  const int status = waitFor(child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS) {
    return std::nullopt;
  }
  return what.empty() ? "damaged store: it cannot be read to its end" : what;
}

}  // namespace

StateStore::StateStore(const std::string& directory, const Options& options)
    : directory_(directory), options_(options) {
  ownDirectoryMake(directory_);
  lock();
  examine();
  environmentOpen();
  metaLoad();
}

StateStore::~StateStore() = default;

void StateStore::lock() {
  const std::string path = directory_ + "/nexthopd.lock";
  lock_ = FileDescriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0640));
  if (!lock_) {
    throw SystemError(errno, "cannot open " + path);
  }
  if (::flock(lock_.get(), LOCK_EX | LOCK_NB) == -1) {
    if (errno == EWOULDBLOCK) {
      throw StoreError("another nexthopd uses the store in " + directory_);
    }
    throw SystemError(errno, "cannot lock " + path);
  }
}

void StateStore::examine() {
  const std::string file = directory_ + "/data.mdb";
  if (!exists(file)) {
    return;
  }
  const auto fault = faultOf(directory_);
  if (!fault) {
    return;
  }
  std::string aside;
  for (unsigned number = 1; aside.empty() || exists(aside); ++number) {
    aside = file + ".aside-" + std::to_string(number);
  }
  systemCall(::rename(file.c_str(), aside.c_str()), "cannot set a damaged store aside");
  setAside_ = *fault + "; set aside as " + aside;
}

void StateStore::environmentOpen() {
  std::size_t mapSize = options_.mapSize;
  struct stat status {};
  if (::stat((directory_ + "/data.mdb").c_str(), &status) == 0) {
    while (mapSize < static_cast<std::size_t>(status.st_size) && mapSize < options_.maxMapSize) {
      mapSize *= 2;
    }
  }
  environment_ =
      std::make_unique<LmdbEnvironment>(directory_, mapSize, LmdbEnvironment::Access::readWrite);
  LmdbTransaction transaction(*environment_, LmdbEnvironment::Access::readWrite);
  for (std::size_t index = 0; index < databases_.size(); ++index) {
    databases_[index] = transaction.database(databaseNames[index]);
  }
  std::string sealed;
  StoreFormat::seal(StoreFormat::layoutKey, StoreFormat::layout, sealed);
  transaction.put(databases_[0], StoreFormat::layoutKey, sealed);
  transaction.commit();
  deadReadersClear();
}

void StateStore::metaLoad() {
  reader().walkMeta([this](std::string_view key, std::string_view value) {
    meta_.insert_or_assign(std::string(key), std::string(value));
  });
}

std::optional<std::string> StateStore::meta(std::string_view name) const {
  const auto found = meta_.find(name);
  return found == meta_.end() ? std::nullopt : std::optional(found->second);
}

void StateStore::metaIs(std::string_view name, std::string_view value) {
  meta_.insert_or_assign(std::string(name), std::string(value));
  batch_.put(StoreDatabase::meta, name, value);
}

std::optional<std::uint64_t> StateStore::metaNumber(std::string_view name) const {
  const auto value = meta(name);
  return value ? StoreFormat::numberOf(*value) : std::nullopt;
}

void StateStore::metaNumberIs(std::string_view name, std::uint64_t value) {
  metaIs(name, StoreFormat::numberValue(value));
}

void StateStore::registrationIs(std::string_view key, std::string_view value) {
  batch_.put(StoreDatabase::registrations, key, value);
}

void StateStore::registrationDel(std::string_view key) {
  batch_.del(StoreDatabase::registrations, key);
}

void StateStore::walkRegistrations(const StoreReader::BytesVisitor& visit) const {
  reader().walkRegistrations(visit);
}

void StateStore::configsLoad(const SharedRecords& records) const {
  Ptr<NexthopConfig> config;
  Ptr<NexthopVrfConfig> vrfConfig;
  reader().walkConfig({[&](const String& client) {
                         config = makeEntity<NexthopConfig>(client);
                         records.configs->entityIs(client, config);
                       },
                       [&](const String&, const VrfName& vrf, NexthopStatusFecIdType kind) {
                         vrfConfig = config->vrfIs(vrf, kind);
                       },
                       [&](const String&, const VrfName&, const IpGenAddr& addr) {
                         vrfConfig->nexthopIs({addr});
                       }});
}

void StateStore::statusesLoad(const SharedRecords& records) const {
  Ptr<NexthopStatus> status;
  Ptr<NexthopVrfStatus> vrfStatus;
  Ptr<NexthopConfig> config;
  reader().walkStatus({[&](const String& client) {
                         config = entityOf<NexthopConfig>(*records.configs, client);
                         status = entityOf<NexthopStatus>(*records.statuses, client);
                         if (config && !status) {
                           status = makeEntity<NexthopStatus>(client);
                           records.statuses->entityIs(client, status);
                         }
                       },
                       [&](const String&, const VrfName& vrf, NexthopStatusFecIdType kind) {
                         vrfStatus =
                             config && config->vrfHas(vrf) ? status->vrfIs(vrf, kind) : nullptr;
                       },
                       [&](const String&, const VrfName&, const NexthopStatusEntry& entry) {
                         if (vrfStatus) {
                           vrfStatus->nexthopIs(entry);
                         }
                       }});
}

void StateStore::vrfLoad(const Vrf& vrf) const {
  const StoreReader stored = reader();
  if (const auto first = stored.context(vrf.name())) {
    vrf.context()->firstUnAllocatedNexthopResolverIdIs(*first);
  }
  std::vector<NexthopResolverIdVia> published;
  if (stored.walkForwarding(vrf.name(), [&](const NexthopResolverIdVia& record) {
        published.push_back(record);
      })) {
    const auto forwarding = vrf.forwarding()->vrfIs(vrf.name());
    for (const NexthopResolverIdVia& record : published) {
      forwarding->nexthopResolverIdViaIs(record);
    }
  }
}

void StateStore::follow(Vrfs& vrfs) {
  configs_ = std::make_unique<ConfigFollower>(vrfs.records().configs);
  statuses_ = std::make_unique<StatusFollower>(vrfs.records().statuses);
  // What was loaded and forgotten since.
  batch_.delPrefix(StoreDatabase::config, {});
  batch_.delPrefix(StoreDatabase::status, {});
  for (const auto& vrf : vrfs.all()) {
    forwarding_.emplace(vrf->name(), std::make_unique<ForwardingFollower>(*vrf));
  }
  vrfs.listenerIs([this](const Vrf& vrf, bool added) {
    if (added) {
      vrfLoad(vrf);
      forwarding_.emplace(vrf.name(), std::make_unique<ForwardingFollower>(vrf));
    } else {
      // Its records stay in the store for a VRF of this name that comes again.
      collect();
      forwarding_.erase(vrf.name());
    }
  });
}

void StateStore::commit() {
  collect();
  if (batch_.empty()) {
    return;
  }
  const auto start = std::chrono::steady_clock::now();
  for (bool written = false; !written;) {
    try {
      apply();
      written = true;
    } catch (const StoreFull&) {
      enlarge();
    }
  }
  counters_.lastCommit = std::chrono::steady_clock::now() - start;
  counters_.allCommits += counters_.lastCommit;
  counters_.commits += 1;
  counters_.writes += batch_.size();
  batch_.clear();
}

void StateStore::collect() {
  if (configs_) {
    configs_->collect(batch_);
    statuses_->collect(batch_);
  }
  for (const auto& [unused, follower] : forwarding_) {
    follower->collect(batch_);
  }
}

void StateStore::apply() {
  LmdbTransaction transaction(*environment_, LmdbEnvironment::Access::readWrite);
  for (std::size_t index = 0; index < batch_.size(); ++index) {
    const StoreBatch::Operation operation = batch_.operation(index);
    const MDB_dbi database = databases_[static_cast<std::size_t>(operation.database)];
    switch (operation.kind) {
      case StoreBatch::Kind::put:
        transaction.put(database, operation.key, operation.value);
        break;
      case StoreBatch::Kind::del:
        transaction.del(database, operation.key);
        break;
      case StoreBatch::Kind::delPrefix:
        transaction.delPrefix(database, operation.key);
        break;
    }
  }
  transaction.commit();
}

void StateStore::enlarge() {
  const std::size_t size = environment_->mapSize();
  if (size > options_.maxMapSize / 2) {
    throw StoreError("the store in " + directory_ + " is full and must not grow any more");
  }
  environment_->mapSizeIs(size * 2);
  counters_.enlargements += 1;
}

void StateStore::deadReadersClear() {
  counters_.deadReaders += static_cast<std::uint64_t>(environment_->deadReadersClear());
}

}  // namespace Routing::Host
