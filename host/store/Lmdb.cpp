#include "host/store/Lmdb.h"

#include <memory>

namespace Routing::Host {

namespace {

constexpr unsigned maxDatabases = 8;
constexpr unsigned maxReaders = 126;
// The owner's group may read.
constexpr mdb_mode_t fileMode = 0640;

void check(int code, const char* what) {
  if (code == MDB_MAP_FULL || code == MDB_TXN_FULL) {
    throw StoreFull(code, what);
  }
  if (code != MDB_SUCCESS) {
    throw StoreError(code, what);
  }
}

MDB_val valueOf(std::string_view bytes) noexcept {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the interface is C's; it only reads
  return {bytes.size(), const_cast<char*>(bytes.data())};
}

std::string_view bytesOf(const MDB_val& value) noexcept {
  return {static_cast<const char*>(value.mv_data), value.mv_size};
}

// The empty key is none to LMDB.
MDB_cursor_op firstOf(std::string_view prefix) noexcept {
  return prefix.empty() ? MDB_FIRST : MDB_SET_RANGE;
}

struct CursorClose {
  void operator()(MDB_cursor* cursor) const noexcept { ::mdb_cursor_close(cursor); }
};
using Cursor = std::unique_ptr<MDB_cursor, CursorClose>;

Cursor cursorOf(MDB_txn* transaction, MDB_dbi database) {
  MDB_cursor* cursor = nullptr;
  check(::mdb_cursor_open(transaction, database, &cursor), "cannot walk the store");
  return Cursor(cursor);
}

}  // namespace

StoreError::StoreError(int code, const std::string& what)
    : std::runtime_error(what + ": " + ::mdb_strerror(code)) {}

LmdbEnvironment::LmdbEnvironment(const std::string& directory, std::size_t mapSize, Access access) {
  check(::mdb_env_create(&environment_), "cannot make the store's environment");
  try {
    check(::mdb_env_set_maxdbs(environment_, maxDatabases), "cannot set up the store");
    check(::mdb_env_set_maxreaders(environment_, maxReaders), "cannot set up the store");
    check(::mdb_env_set_mapsize(environment_, mapSize), "cannot set the size of the store");
    // A transaction outlives the process without a sync, and the machine need not be outlived. A
    // reader is not bound to its thread.
    const unsigned flags =
        MDB_NOSYNC | MDB_NOTLS | (access == Access::readOnly ? unsigned{MDB_RDONLY} : 0U);
    check(::mdb_env_open(environment_, directory.c_str(), flags, fileMode),
          ("cannot open the store in " + directory).c_str());
  } catch (...) {
    ::mdb_env_close(environment_);
    throw;
  }
}

LmdbEnvironment::~LmdbEnvironment() { ::mdb_env_close(environment_); }

std::size_t LmdbEnvironment::mapSize() const {
  MDB_envinfo info{};
  check(::mdb_env_info(environment_, &info), "cannot read the store's size");
  return info.me_mapsize;
}

std::size_t LmdbEnvironment::usedSize() const {
  MDB_envinfo info{};
  MDB_stat stat{};
  check(::mdb_env_info(environment_, &info), "cannot read the store's size");
  check(::mdb_env_stat(environment_, &stat), "cannot read the store's size");
  return (info.me_last_pgno + 1) * stat.ms_psize;
}

void LmdbEnvironment::mapSizeIs(std::size_t mapSize) {
  check(::mdb_env_set_mapsize(environment_, mapSize), "cannot enlarge the store");
}

int LmdbEnvironment::deadReadersClear() {
  int dead = 0;
  check(::mdb_reader_check(environment_, &dead), "cannot look for dead readers of the store");
  return dead;
}

LmdbTransaction::LmdbTransaction(const LmdbEnvironment& environment, LmdbEnvironment::Access access)
    : writes_(access == LmdbEnvironment::Access::readWrite) {
  const unsigned flags = writes_ ? 0U : unsigned{MDB_RDONLY};
  int code = ::mdb_txn_begin(environment.get(), nullptr, flags, &transaction_);
  if (code == MDB_MAP_RESIZED) {
    // Its writer has enlarged it; zero takes the size that it has now.
    check(::mdb_env_set_mapsize(environment.get(), 0), "cannot follow the size of the store");
    code = ::mdb_txn_begin(environment.get(), nullptr, flags, &transaction_);
  }
  check(code, "cannot begin a transaction of the store");
}

LmdbTransaction::~LmdbTransaction() {
  cursorClose();
  if (transaction_ != nullptr) {
    ::mdb_txn_abort(transaction_);
  }
}

MDB_dbi LmdbTransaction::database(const char* name) {
  MDB_dbi database = 0;
  check(::mdb_dbi_open(transaction_, name, writes_ ? unsigned{MDB_CREATE} : 0U, &database),
        "cannot open a database of the store");
  return database;
}

std::optional<std::string_view> LmdbTransaction::get(MDB_dbi database, std::string_view key) const {
  MDB_val keyValue = valueOf(key);
  MDB_val value{};
  const int code = ::mdb_get(transaction_, database, &keyValue, &value);
  if (code == MDB_NOTFOUND) {
    return std::nullopt;
  }
  check(code, "cannot read the store");
  return bytesOf(value);
}

void LmdbTransaction::put(MDB_dbi database, std::string_view key, std::string_view value) {
  MDB_val keyValue = valueOf(key);
  MDB_val data = valueOf(value);
  check(::mdb_cursor_put(cursorIn(database), &keyValue, &data, 0), "cannot write the store");
}

void LmdbTransaction::del(MDB_dbi database, std::string_view key) {
  MDB_cursor* cursor = cursorIn(database);
  MDB_val keyValue = valueOf(key);
  MDB_val value{};
  const int code = ::mdb_cursor_get(cursor, &keyValue, &value, MDB_SET);
  if (code == MDB_NOTFOUND) {
    return;
  }
  check(code, "cannot write the store");
  check(::mdb_cursor_del(cursor, 0), "cannot write the store");
}

void LmdbTransaction::delPrefix(MDB_dbi database, std::string_view prefix) {
  const Cursor cursor = cursorOf(transaction_, database);
  MDB_val key = valueOf(prefix);
  MDB_val value{};
  int code = ::mdb_cursor_get(cursor.get(), &key, &value, firstOf(prefix));
  while (code == MDB_SUCCESS && bytesOf(key).substr(0, prefix.size()) == prefix) {
    check(::mdb_cursor_del(cursor.get(), 0), "cannot write the store");
    // The cursor knows that it stands on the next key already.
    code = ::mdb_cursor_get(cursor.get(), &key, &value, MDB_NEXT);
  }
  if (code != MDB_NOTFOUND) {
    check(code, "cannot walk the store");
  }
}

void LmdbTransaction::walk(
    MDB_dbi database,
    std::string_view prefix,
    const std::function<void(std::string_view key, std::string_view value)>& visit) const {
  const Cursor cursor = cursorOf(transaction_, database);
  MDB_val key = valueOf(prefix);
  MDB_val value{};
  int code = ::mdb_cursor_get(cursor.get(), &key, &value, firstOf(prefix));
  while (code == MDB_SUCCESS && bytesOf(key).substr(0, prefix.size()) == prefix) {
    visit(bytesOf(key), bytesOf(value));
    code = ::mdb_cursor_get(cursor.get(), &key, &value, MDB_NEXT);
  }
  if (code != MDB_NOTFOUND) {
    check(code, "cannot walk the store");
  }
}

MDB_cursor* LmdbTransaction::cursorIn(MDB_dbi database) {
  if (cursor_ == nullptr || cursorDatabase_ != database) {
    cursorClose();
    check(::mdb_cursor_open(transaction_, database, &cursor_), "cannot write the store");
    cursorDatabase_ = database;
  }
  return cursor_;
}

void LmdbTransaction::cursorClose() noexcept {
  if (cursor_ != nullptr) {
    ::mdb_cursor_close(cursor_);
    cursor_ = nullptr;
  }
}

void LmdbTransaction::commit() {
  cursorClose();
  MDB_txn* transaction = transaction_;
  transaction_ = nullptr;
  check(::mdb_txn_commit(transaction), "cannot commit to the store");
}

}  // namespace Routing::Host
