#include "host/store/StoreReader.h"

#include <sys/stat.h>

#include <memory>

namespace Routing::Host {

namespace {

// A reader takes the size from the writer; this is only for a file that nobody has open.
std::size_t mapSizeOf(const std::string& directory) {
  struct stat status {};
  const std::string file = directory + "/data.mdb";
  if (::stat(file.c_str(), &status) != 0) {
    throw StoreError("there is no store in " + directory);
  }
  return static_cast<std::size_t>(status.st_size);
}

[[noreturn]] void damaged(const char* database, const std::string& what) {
  throw StoreDamaged(std::string("damaged store, database ") + database + ": " + what);
}

}  // namespace

StoreReader::StoreReader(const std::string& directory)
    : own_(std::make_unique<LmdbEnvironment>(directory,
                                             mapSizeOf(directory),
                                             LmdbEnvironment::Access::readOnly)),
      transaction_(*own_, LmdbEnvironment::Access::readOnly) {
  open();
}

StoreReader::StoreReader(const LmdbEnvironment& environment)
    : transaction_(environment, LmdbEnvironment::Access::readOnly) {
  open();
}

void StoreReader::open() {
  const MDB_dbi database = transaction_.database(StoreFormat::meta);
  const auto sealed = transaction_.get(database, StoreFormat::layoutKey);
  if (!sealed) {
    damaged(StoreFormat::meta, "no layout is named");
  }
  const std::string_view layout = checked(StoreFormat::meta, StoreFormat::layoutKey, *sealed);
  if (layout != StoreFormat::layout) {
    damaged(StoreFormat::meta, "the layout is '" + std::string(layout) + "'");
  }
}

std::string_view StoreReader::checked(const char* database,
                                      std::string_view key,
                                      std::string_view sealed) const {
  const auto value = StoreFormat::unseal(key, sealed);
  if (!value) {
    damaged(database, "a value does not fit its check sum");
  }
  return *value;
}

void StoreReader::walk(const char* database,
                       std::string_view prefix,
                       const BytesVisitor& visit) const {
  transaction_.walk(transaction_.database(database),
                    prefix,
                    [&](std::string_view key, std::string_view sealed) {
                      visit(key, checked(database, key, sealed));
                    });
}

void StoreReader::walkMeta(const BytesVisitor& visit) const { walk(StoreFormat::meta, {}, visit); }

void StoreReader::walkRegistrations(const BytesVisitor& visit) const {
  walk(StoreFormat::registrations, {}, visit);
}

void StoreReader::walkConfig(const ClientVisitor<IpGenAddr>& visitor) const {
  walkClients(StoreFormat::config, visitor, [](const IpGenAddr& addr, std::string_view value) {
    return value.empty() ? std::optional(addr) : std::nullopt;
  });
}

void StoreReader::walkStatus(const ClientVisitor<NexthopStatusEntry>& visitor) const {
  walkClients(StoreFormat::status, visitor, StoreFormat::statusOf);
}

template <class Entry, class EntryOf>
void StoreReader::walkClients(const char* database,
                              const ClientVisitor<Entry>& visitor,
                              const EntryOf& entryOf) const {
  // The names that the present key must continue.
  String client;
  VrfName vrf;
  walk(database, {}, [&](std::string_view bytes, std::string_view value) {
    const auto key = StoreFormat::clientKey(bytes);
    if (!key) {
      damaged(database, "a key is none of the layout");
    }
    if (!key->vrf) {
      client = key->client;
      vrf.clear();
      visitor.client(client);
      return;
    }
    if (key->client != client) {
      damaged(database, "a VRF without its client");
    }
    if (!key->addr) {
      const auto kind = StoreFormat::kindOf(value);
      if (!kind) {
        damaged(database, "an unknown kind of identifier");
      }
      vrf = *key->vrf;
      visitor.vrf(client, vrf, *kind);
      return;
    }
    if (*key->vrf != vrf) {
      damaged(database, "an entry without its VRF");
    }
    const auto entry = entryOf(*key->addr, value);
    if (!entry) {
      damaged(database, "an entry of " + client + " cannot be read");
    }
    visitor.entry(client, vrf, *entry);
  });
}

bool StoreReader::walkForwarding(
    const VrfName& vrf,
    const std::function<void(const NexthopResolverIdVia&)>& visit) const {
  const MDB_dbi database = transaction_.database(StoreFormat::forwarding);
  const std::string name = StoreFormat::nameKey(vrf);
  if (!transaction_.get(database, name)) {
    return false;
  }
  walk(StoreFormat::forwarding, name + '\0', [&](std::string_view bytes, std::string_view value) {
    const auto key = StoreFormat::forwardingKey(bytes);
    const auto record =
        key && key->resolverId ? StoreFormat::forwardingOf(*key->resolverId, value) : std::nullopt;
    if (!record) {
      damaged(StoreFormat::forwarding, "a record of " + vrf + " cannot be read");
    }
    visit(*record);
  });
  return true;
}

std::optional<std::uint64_t> StoreReader::context(const VrfName& vrf) const {
  const std::string key = StoreFormat::nameKey(vrf);
  const auto sealed = transaction_.get(transaction_.database(StoreFormat::context), key);
  if (!sealed) {
    return std::nullopt;
  }
  const auto number = StoreFormat::numberOf(checked(StoreFormat::context, key, *sealed));
  if (!number) {
    damaged(StoreFormat::context, "the context of " + vrf + " cannot be read");
  }
  return number;
}

void StoreReader::verify() const {
  const auto ignore = [](std::string_view, std::string_view) {};
  walkMeta(ignore);
  walkRegistrations(ignore);
  const auto ignoreClient = [](const String&) {};
  const auto ignoreVrf = [](const String&, const VrfName&, NexthopStatusFecIdType) {};
  walkConfig({ignoreClient, ignoreVrf, [](const String&, const VrfName&, const IpGenAddr&) {}});
  walkStatus(
      {ignoreClient, ignoreVrf, [](const String&, const VrfName&, const NexthopStatusEntry&) {}});
  std::vector<VrfName> vrfs;
  walk(StoreFormat::forwarding, {}, [&vrfs](std::string_view bytes, std::string_view) {
    const auto key = StoreFormat::forwardingKey(bytes);
    if (!key) {
      damaged(StoreFormat::forwarding, "a key is none of the layout");
    }
    if (!key->resolverId) {
      vrfs.emplace_back(key->vrf);
    } else if (vrfs.empty() || vrfs.back() != key->vrf) {
      damaged(StoreFormat::forwarding, "a record without its VRF");
    }
  });
  for (const VrfName& vrf : vrfs) {
    walkForwarding(vrf, [](const NexthopResolverIdVia&) {});
  }
  std::vector<VrfName> contexts;
  walk(StoreFormat::context, {}, [&contexts](std::string_view key, std::string_view) {
    contexts.emplace_back(key);
  });
  for (const VrfName& vrf : contexts) {
    context(vrf);
  }
}

}  // namespace Routing::Host
