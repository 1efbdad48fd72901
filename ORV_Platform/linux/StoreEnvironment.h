// The node store's file as an LMDB environment: how it is opened, checked and set aside, and its transactions. What the
// tables hold is NodeStore's business.
//
// Results are LMDB's codes: 0, an errno value, or a value below 0 of LMDB's own. Nothing here throws but for want of
// memory.
#ifndef ORV_LINUX_STOREENVIRONMENT_H
#define ORV_LINUX_STOREENVIRONMENT_H

#include <lmdb.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Status.h"

namespace orv {

enum class Table : uint8_t { NODE, TAGS, RAD, EUS, EVENTS, EU_STATUS, OUTPUT };
constexpr size_t TABLE_COUNT = 7;
constexpr MDB_dbi FREE_PAGES = 0;  // LMDB's own table of the pages that are free, for reading only

inline MDB_val toValue(std::string_view bytes) {
  // LMDB reads what it is given and never writes to it.
  return {bytes.size(), const_cast<char *>(bytes.data())};
}

inline std::string_view toBytes(const MDB_val &value) {
  return {static_cast<const char *>(value.mv_data), value.mv_size};
}

// "<what>: <why> (<what to do>)" for a code of LMDB's or the system's.
Status storeFailure(int code, const std::string &what);

class StoreEnvironment {
 public:
  // Opens the file at `path`; see NodeStore::open for the rules. `mayCreate` stands for Access::CREATE, `isExamined`
  // for that and Access::EXAMINED.
  static Status open(const std::string &path, bool mayCreate, bool isExamined,
                     std::unique_ptr<StoreEnvironment> &environment, std::string &setAside);
  ~StoreEnvironment();
  StoreEnvironment(const StoreEnvironment &) = delete;
  StoreEnvironment &operator=(const StoreEnvironment &) = delete;

  MDB_env *handle() const {
    return environment_;
  }
  MDB_dbi table(Table table) const {
    return tables_[static_cast<size_t>(table)];
  }
  const std::string &path() const {
    return path_;
  }

  // Whether this process may read the store and not write, not even its place among the readers: see ReadTransaction.
  bool isLockless() const {
    return isLockless_;
  }

  // False when the space that is left is needed for making space: LMDB never changes a page in place, so that even
  // removing a record takes new ones.
  bool hasSpace();

  // Gives the pages back that dead processes were reading.
  void forgetDeadReaders();

 private:
  friend class ReadTransaction;
  friend class WriteTransaction;

  // Read transactions that wait for their next use, each with its place in the table of readers: taking one up again
  // needs no lock and no memory. One for each thread that reads at the same moment; what exceeds that is not kept.
  static constexpr size_t IDLE_READERS = 8;

  explicit StoreEnvironment(std::string path) : path_(std::move(path)) {}
  int openFile(bool mayCreate, bool isExamined);
  int coverMissingEnd();
  int openTables(bool mayCreate, bool isExamined);
  int makeTables();
  int openTable(MDB_txn *transaction, Table table, unsigned flags);
  int openTablesIn(MDB_txn *transaction, unsigned flags);
  int checkNode(MDB_txn *transaction) const;
  int checkPages(MDB_txn *transaction) const;
  int checkPagesOnce(MDB_txn *transaction) const;
  int lockWriters();
  void unlockWriters();
  MDB_txn *takeIdleReader();
  void putIdleReader(MDB_txn *transaction);

  std::string path_;
  MDB_env *environment_ = nullptr;
  bool endWasMissing_ = false;
  bool isLockless_ = false;
  std::mutex writersOfThisProcess_;  // the file's lock belongs to the process
  std::array<MDB_dbi, TABLE_COUNT> tables_{};
  std::array<std::atomic<MDB_txn *>, IDLE_READERS> idleReaders_{};
};

// A snapshot of the store, for one thread. Keep it short: while it lasts, no page that it may read is used again.
//
// Who may only read the store's files is not among the readers that writers look after. Its snapshot is good as long as
// no more than one change is made meanwhile (the pages that one leaves are used by the third at the earliest): what it
// has read counts when it `isWhole` afterwards, and else is to be read again.
class ReadTransaction {
 public:
  explicit ReadTransaction(StoreEnvironment &environment) noexcept;
  ~ReadTransaction();
  ReadTransaction(const ReadTransaction &) = delete;
  ReadTransaction &operator=(const ReadTransaction &) = delete;

  bool isWhole() const noexcept {
    return !environment_.isLockless() || !isOvertaken();
  }

  // The record of `key`; the bytes live as long as the transaction. MDB_NOTFOUND where there is none.
  int get(Table table, std::string_view key, std::string_view &record) const noexcept;

  // Calls visit(key, record) for every record from `firstKey` on, in the order of the keys; as long as it returns true
  // where it returns something.
  template <typename Visit>
  int forEach(Table table, std::string_view firstKey, Visit visit) const {
    return forEachIn(environment_.table(table), firstKey, visit);
  }
  template <typename Visit>
  int forEachIn(MDB_dbi table, std::string_view firstKey, Visit visit) const;

 private:
  bool isOvertaken() const noexcept;

  StoreEnvironment &environment_;
  MDB_txn *transaction_ = nullptr;
  int code_ = 0;
};

// The one change under way in the whole node. Undone at the end of its life unless committed.
class WriteTransaction {
 public:
  explicit WriteTransaction(StoreEnvironment &environment);
  ~WriteTransaction();
  WriteTransaction(const WriteTransaction &) = delete;
  WriteTransaction &operator=(const WriteTransaction &) = delete;

  // Whether it could begin.
  int code() const {
    return code_;
  }
  MDB_txn *handle() const {
    return transaction_;
  }
  MDB_dbi table(Table table) const {
    return environment_.table(table);
  }
  int get(Table table, std::string_view key, std::string_view &record) const;
  int put(Table table, std::string_view key, std::string_view record, unsigned flags = 0);
  int remove(Table table, std::string_view key);
  int clear(Table table);
  int count(Table table, size_t &records) const;
  int commit();

 private:
  void giveLockBack();

  StoreEnvironment &environment_;
  MDB_txn *transaction_ = nullptr;
  int code_ = 0;
  bool isLocked_ = false;
  int cancelState_ = 0;
};

// A cursor that is closed at the end of its scope, before the transaction it belongs to.
class Cursor {
 public:
  Cursor(MDB_txn *transaction, MDB_dbi table) : code_(mdb_cursor_open(transaction, table, &cursor_)) {}
  ~Cursor() {
    if (cursor_ != nullptr) mdb_cursor_close(cursor_);
  }
  Cursor(const Cursor &) = delete;
  Cursor &operator=(const Cursor &) = delete;

  // Moves as `operation` says; `key` and `record` as mdb_cursor_get takes them.
  int move(MDB_cursor_op operation, MDB_val &key, MDB_val &record) {
    return code_ != 0 ? code_ : mdb_cursor_get(cursor_, &key, &record, operation);
  }
  int remove() {
    return code_ != 0 ? code_ : mdb_cursor_del(cursor_, 0);
  }

 private:
  MDB_cursor *cursor_ = nullptr;
  int code_;
};

template <typename Visit>
int ReadTransaction::forEachIn(MDB_dbi table, std::string_view firstKey, Visit visit) const {
  if (code_ != 0) return code_;
  Cursor cursor(transaction_, table);
  MDB_val key = toValue(firstKey);
  MDB_val record{};
  int code = cursor.move(firstKey.empty() ? MDB_FIRST : MDB_SET_RANGE, key, record);
  for (; code == 0; code = cursor.move(MDB_NEXT, key, record)) {
    if constexpr (std::is_same_v<decltype(visit(toBytes(key), toBytes(record))), bool>) {
      if (!visit(toBytes(key), toBytes(record))) return 0;
    } else {
      visit(toBytes(key), toBytes(record));
    }
  }
  return code == MDB_NOTFOUND ? 0 : code;
}

}  // namespace orv

#endif
