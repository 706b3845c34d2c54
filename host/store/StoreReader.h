#pragma once

// StoreReader: one consistent view of a state store, as it stood after a whole turn. For the
// daemon's start, for tools, and for any other process, also while the daemon writes.
//
// Everything read is checked against the layout and its own check sum; StoreDamaged tells what is
// wrong where. Values handed to a visitor are good during the call.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "host/store/Lmdb.h"
#include "host/store/StoreFormat.h"

namespace Routing::Host {

class StoreDamaged : public StoreError {
 public:
  using StoreError::StoreError;
};

class StoreReader {
 public:
  // Reads what another process may be writing. Throws: StoreError, StoreDamaged.
  explicit StoreReader(const std::string& directory);
  // Reads through the writer's own environment, which outlives it.
  explicit StoreReader(const LmdbEnvironment& environment);

  using BytesVisitor = std::function<void(std::string_view key, std::string_view value)>;
  void walkMeta(const BytesVisitor& visit) const;
  void walkRegistrations(const BytesVisitor& visit) const;

  // A client comes before its VRFs, a VRF before its entries.
  template <class Entry>
  struct ClientVisitor {
    std::function<void(const String& client)> client;
    std::function<void(const String& client, const VrfName&, NexthopStatusFecIdType)> vrf;
    std::function<void(const String& client, const VrfName&, const Entry&)> entry;
  };
  void walkConfig(const ClientVisitor<IpGenAddr>& visitor) const;
  void walkStatus(const ClientVisitor<NexthopStatusEntry>& visitor) const;
  // True when the VRF has an entry; then its records are visited, by identifier.
  bool walkForwarding(const VrfName& vrf,
                      const std::function<void(const NexthopResolverIdVia&)>& visit) const;
  std::optional<std::uint64_t> context(const VrfName& vrf) const;

  // Reads everything there is. Throws: StoreDamaged.
  void verify() const;

 private:
  void open();
  std::string_view checked(const char* database,
                           std::string_view key,
                           std::string_view sealed) const;
  template <class Entry, class EntryOf>
  void walkClients(const char* database,
                   const ClientVisitor<Entry>& visitor,
                   const EntryOf& entryOf) const;
  // Every key of the database that begins with the prefix, its value checked.
  void walk(const char* database, std::string_view prefix, const BytesVisitor& visit) const;

  std::unique_ptr<LmdbEnvironment> own_;
  mutable LmdbTransaction transaction_;
};

}  // namespace Routing::Host
