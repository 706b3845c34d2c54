#pragma once

// StateStore: what the daemon remembers across its own end, however it ends.
//
// An LMDB environment in a directory of its own, on a tmpfs by default: it survives the process,
// not the machine. The daemon writes it once a turn, in one transaction, so that a reader in
// another process sees whole turns and a killed daemon goes on from the last whole turn. Clients
// are told of a turn only after its transaction stands.
//
//   start      open -> configurations, statuses, each VRF's records -> follow -> managers
//   each turn  commit(): what changed since the last one
//
// Invariants:
//   1. One daemon a directory: a second one is refused.
//   2. A store that is damaged, or not ours, is renamed aside, whole, and never read again. It is
//      looked at in a process of its own first, since a damaged file may end who maps it.
//   3. A store that is full grows and the turn is written again. Any other failure leaves commit()
//      as StoreError, with nothing of the turn written; nothing is skipped.
//   4. What is still to be written is kept until it stands.

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/loop/FileDescriptor.h"
#include "host/store/Lmdb.h"
#include "host/store/RecordFollower.h"
#include "host/store/StoreBatch.h"
#include "host/store/StoreReader.h"
#include "host/vrf/Vrfs.h"

namespace Routing::Host {

class StateStore {
 public:
  struct Options {
    // Bytes of address space; doubles when it is used up. A map costs memory only for its pages.
    std::size_t mapSize = std::size_t{64} << 20U;
    // Growing ends here.
    std::size_t maxMapSize = std::size_t{16} << 30U;
  };
  struct Counters {
    std::uint64_t commits = 0;
    std::uint64_t writes = 0;
    std::uint64_t enlargements = 0;
    std::uint64_t deadReaders = 0;
    std::chrono::nanoseconds lastCommit{0};
    std::chrono::nanoseconds allCommits{0};
  };

  // Opens the store, or makes one, with its directory if that is missing.
  // Throws: StoreError, SystemError.
  explicit StateStore(const std::string& directory) : StateStore(directory, Options{}) {}
  StateStore(const std::string& directory, const Options& options);
  StateStore(const StateStore&) = delete;
  StateStore& operator=(const StateStore&) = delete;
  ~StateStore();

  const std::string& directory() const noexcept { return directory_; }
  // Why and where to a store that could not be trusted was moved at the start, else empty.
  const std::string& setAside() const noexcept { return setAside_; }

  // Small values of other components, as they will stand after the next commit.
  std::optional<std::string> meta(std::string_view name) const;
  void metaIs(std::string_view name, std::string_view value);
  std::optional<std::uint64_t> metaNumber(std::string_view name) const;
  void metaNumberIs(std::string_view name, std::uint64_t value);

  // What is committed. In this process a store is read in no other way: LMDB takes a second
  // environment for a second process. Requires: it ends before the next commit.
  StoreReader reader() const { return StoreReader(*environment_); }

  // The client service's own records, by keys of its own choice: at most 500 bytes.
  void registrationIs(std::string_view key, std::string_view value);
  void registrationDel(std::string_view key);
  // As committed.
  void walkRegistrations(const StoreReader::BytesVisitor& visit) const;

  // Fills the configurations. Requires: managers do not run.
  void configsLoad(const SharedRecords& records) const;
  // Fills the statuses of those clients and VRFs that are configured; the rest is forgotten, since
  // nobody is left to be told. Requires: configurations stand, managers do not run.
  void statusesLoad(const SharedRecords& records) const;
  // Fills what the VRF published and its context. Requires: its manager does not run.
  void vrfLoad(const Vrf& vrf) const;

  // From now on commit() writes what changes in configurations, statuses and VRFs, of those too
  // that come later; these are loaded first. The VRFs outlive the store.
  void follow(Vrfs& vrfs);

  // Writes the turn. Throws: StoreError; then the turn is still to be written.
  void commit();

  // To be called now and then: readers that died keep pages from being used again.
  void deadReadersClear();

  const Counters& counters() const noexcept { return counters_; }
  std::size_t mapSize() const { return environment_->mapSize(); }
  std::size_t usedSize() const { return environment_->usedSize(); }

 private:
  void lock();
  void examine();
  void environmentOpen();
  void metaLoad();
  void collect();
  void apply();
  void enlarge();

  std::string directory_;
  Options options_;
  std::string setAside_;
  FileDescriptor lock_;
  std::unique_ptr<LmdbEnvironment> environment_;
  // In the order of StoreDatabase.
  std::array<MDB_dbi, 6> databases_{};

  std::map<std::string, std::string, std::less<>> meta_;
  StoreBatch batch_;
  std::unique_ptr<ConfigFollower> configs_;
  std::unique_ptr<StatusFollower> statuses_;
  std::map<VrfName, std::unique_ptr<ForwardingFollower>> forwarding_;
  Counters counters_;
};

}  // namespace Routing::Host
