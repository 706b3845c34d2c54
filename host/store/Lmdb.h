#pragma once

// The little of LMDB that the state store needs, with owners and exceptions: an environment, a
// transaction, a walk over the keys that begin alike.
//
// Keys and values are bytes. What a transaction reads is good until the transaction ends or writes.

#include <lmdb.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Routing::Host {

// What LMDB, or the file system under it, refused: what was tried, and its reason.
class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  StoreError(int code, const std::string& what);
};

// The map is full. The transaction is lost; the next one may find a larger map.
class StoreFull : public StoreError {
 public:
  using StoreError::StoreError;
};

class LmdbEnvironment {
 public:
  enum class Access { readOnly, readWrite };

  // Opens the environment in the directory, which exists. A writer makes what is missing.
  // Throws: StoreError.
  LmdbEnvironment(const std::string& directory, std::size_t mapSize, Access access);
  LmdbEnvironment(const LmdbEnvironment&) = delete;
  LmdbEnvironment& operator=(const LmdbEnvironment&) = delete;
  ~LmdbEnvironment();

  MDB_env* get() const noexcept { return environment_; }
  std::size_t mapSize() const;
  // Bytes of the map that pages were ever taken from.
  std::size_t usedSize() const;
  // Requires: no transaction is open in this process. Throws: StoreError.
  void mapSizeIs(std::size_t mapSize);
  // Gives back the places of readers whose process died; how many there were.
  int deadReadersClear();

 private:
  MDB_env* environment_ = nullptr;
};

class LmdbTransaction {
 public:
  // Throws: StoreError.
  LmdbTransaction(const LmdbEnvironment& environment, LmdbEnvironment::Access access);
  LmdbTransaction(const LmdbTransaction&) = delete;
  LmdbTransaction& operator=(const LmdbTransaction&) = delete;
  // Takes back what was not committed.
  ~LmdbTransaction();

  // The named database; a writer makes it if it is not there. Throws: StoreError.
  MDB_dbi database(const char* name);

  std::optional<std::string_view> get(MDB_dbi database, std::string_view key) const;
  // Throws: StoreFull, StoreError.
  void put(MDB_dbi database, std::string_view key, std::string_view value);
  // No effect when it is not there. Throws: StoreFull, StoreError.
  void del(MDB_dbi database, std::string_view key);
  // Removes every key that begins with the prefix.
  void delPrefix(MDB_dbi database, std::string_view prefix);
  // Calls visit for every key that begins with the prefix, in order of bytes.
  void walk(MDB_dbi database,
            std::string_view prefix,
            const std::function<void(std::string_view key, std::string_view value)>& visit) const;
  // Throws: StoreFull, StoreError; then nothing of the transaction stands.
  void commit();

 private:
  MDB_cursor* cursorIn(MDB_dbi database);
  void cursorClose() noexcept;

  bool writes_;
  MDB_txn* transaction_ = nullptr;
  // Stands where the last put or del of the database was, so that one nearby finds its page without
  // a descent from the root. Null before the first.
  MDB_cursor* cursor_ = nullptr;
  MDB_dbi cursorDatabase_ = 0;
};

}  // namespace Routing::Host
