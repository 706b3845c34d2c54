#pragma once

// StoreBatch: what one turn writes to the store, in order. Collected first, so that it can be
// applied again when the store has to grow under it; only a commit that stands empties it.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/store/StoreFormat.h"

namespace Routing::Host {

// The databases, in the order of StoreFormat.
enum class StoreDatabase : std::uint8_t {
  meta,
  registrations,
  config,
  status,
  forwarding,
  context
};

class StoreBatch {
 public:
  enum class Kind : std::uint8_t { put, del, delPrefix };
  struct Operation {
    Kind kind;
    StoreDatabase database;
    std::string_view key;
    // With its check. Empty unless put.
    std::string_view value;
  };

  void put(StoreDatabase database, std::string_view key, std::string_view value) {
    StoreFormat::seal(key, value, sealed_);
    append(Kind::put, database, key, sealed_);
  }
  void del(StoreDatabase database, std::string_view key) { append(Kind::del, database, key, {}); }
  void delPrefix(StoreDatabase database, std::string_view prefix) {
    append(Kind::delPrefix, database, prefix, {});
  }

  bool empty() const noexcept { return entries_.empty(); }
  std::size_t size() const noexcept { return entries_.size(); }
  // Good until the next change.
  Operation operation(std::size_t index) const noexcept {
    const Entry& entry = entries_[index];
    const std::string_view bytes(bytes_);
    return {entry.kind,
            entry.database,
            bytes.substr(entry.begin, entry.keySize),
            bytes.substr(entry.begin + entry.keySize, entry.valueSize)};
  }
  void clear() noexcept {
    bytes_.clear();
    entries_.clear();
  }

 private:
  struct Entry {
    std::size_t begin;
    std::uint32_t keySize;
    std::uint32_t valueSize;
    Kind kind;
    StoreDatabase database;
  };

  void append(Kind kind, StoreDatabase database, std::string_view key, std::string_view value) {
    entries_.push_back({bytes_.size(),
                        static_cast<std::uint32_t>(key.size()),
                        static_cast<std::uint32_t>(value.size()),
                        kind,
                        database});
    bytes_.append(key).append(value);
  }

  std::string bytes_;
  std::vector<Entry> entries_;
  std::string sealed_;
};

}  // namespace Routing::Host
