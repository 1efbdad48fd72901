#include "StoreEnvironment.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <iterator>
#include <utility>

#include "Descriptor.h"
#include "RunRecord.h"
#include "StoreCheck.h"
#include "StoreCodec.h"
#include "StoreFile.h"

namespace orv {
namespace {

// Readers at the same moment, whatever their processes. LMDB's own limit of 126 is less than a large node has.
constexpr unsigned MAX_READERS = 1024;
// The same for all processes of a node, and address space only.
constexpr size_t MAP_SIZE = 64UL * 1024 * 1024;
// More than any change of ours takes, a configuration file of the largest size included.
constexpr size_t RESERVE_SIZE = 4UL * 1024 * 1024;

// Not synced, since the store need not outlive the boot. Readers' places belong to transactions and not to threads, so
// that any thread may take up an idle one.
constexpr unsigned ENVIRONMENT_FLAGS = MDB_NOSUBDIR | MDB_NOTLS | MDB_NOSYNC | MDB_NOMETASYNC;

constexpr const char *TABLE_NAMES[] = {"node",   "tags",     "rad",   "eus",
                                       "events", "euStatus", "output"};  // in the order of Table
static_assert(std::size(TABLE_NAMES) == TABLE_COUNT);

// Internal codes of opening, apart from LMDB's (-30799 and up) and the system's.
constexpr int NOT_A_STORE = -1;
constexpr int OTHER_BOOT = -2;
constexpr int OTHER_LAYOUT = -3;
constexpr int OTHER_OWNER = -4;

// In the table `node`. These two keys and their form stay in every future layout, so that every version can tell.
constexpr const char *LAYOUT_KEY = "layout";
constexpr const char *BOOT_KEY = "boot";

struct Explanation {
  int code;
  const char *why;     // null: the text of LMDB or the system
  const char *remedy;  // null: none
};

constexpr const char *RESTART = "restart the node's daemon, which sets a damaged store aside";

constexpr Explanation EXPLANATIONS[] = {
    {MDB_MAP_FULL, "the store is full", "a process that stopped in the middle of reading may keep its space: end it"},
    {MDB_READERS_FULL, "too many processes read the store at the same moment", "end some of them"},
    {MDB_CORRUPTED, "the store is damaged", RESTART},
    {MDB_PAGE_NOTFOUND, "the store is damaged", RESTART},
    {MDB_PANIC, "the store failed earlier in this process", RESTART},
    {MDB_INVALID, "the file is damaged or not a node store", RESTART},
    {MDB_VERSION_MISMATCH, "the file was made by another version of LMDB or another kind of machine", RESTART},
    {NOT_A_STORE, "the file is damaged or not a node store", RESTART},
    {OTHER_OWNER, "the file belongs to somebody else", RESTART},
    {OTHER_BOOT, "no node was started there since this machine booted", "start the node"},
    {OTHER_LAYOUT, "the store has another layout than this program knows",
     "end all programs of the node, remove the file, and start programs of one version"},
    {ENOENT, "no node was started there", "start the node, or name its directory with ORV_NODE_DIR"},
    {EACCES, nullptr, "run as root or as the user who runs the node"},
    {ENOSPC, nullptr, "free space in the file system of the node directory"},
    {EIO, nullptr,
     "free space in the file system of the node directory if it is full"},  // LMDB's code for half a write
};

const Explanation *explanationOf(int code) {
  const auto *row = std::find_if(std::begin(EXPLANATIONS), std::end(EXPLANATIONS),
                                 [code](const Explanation &each) { return each.code == code; });
  return row == std::end(EXPLANATIONS) ? nullptr : row;
}

std::string reasonOf(int code) {
  const Explanation *known = explanationOf(code);
  return known == nullptr || known->why == nullptr ? mdb_strerror(code) : known->why;
}

// True for what a new file in the old one's place would cure.
bool isDamage(int code) {
  constexpr int DAMAGES[] = {MDB_INVALID,       MDB_CORRUPTED, MDB_VERSION_MISMATCH,
                             MDB_PAGE_NOTFOUND, NOT_A_STORE,   OTHER_OWNER};
  return std::find(std::begin(DAMAGES), std::end(DAMAGES), code) != std::end(DAMAGES);
}

// What the callers of the store get in place of an internal code.
int publicCode(int code) {
  if (code == NOT_A_STORE) return MDB_INVALID;
  if (code == OTHER_OWNER) return EPERM;
  if (code == OTHER_BOOT) return ENOENT;
  return code == OTHER_LAYOUT ? EPROTO : code;
}

// Whether this process may read the store's file but not write it, or its lock.
bool mayOnlyRead(const std::string &path) {
  const auto isRefused = [](const std::string &file, int mode) {
    return faccessat(AT_FDCWD, file.c_str(), mode, AT_EACCESS) != 0 && errno != ENOENT;
  };
  return !isRefused(path, R_OK) && (isRefused(path, W_OK) || isRefused(path + "-lock", R_OK | W_OK));
}

}  // namespace

Status storeFailure(int code, const std::string &what) {
  const Explanation *known = explanationOf(code);
  const bool hasRemedy = known != nullptr && known->remedy != nullptr;
  const std::string remedy = hasRemedy ? std::string(" (") + known->remedy + ")" : "";
  return Status::failure(publicCode(code), what + ": " + reasonOf(code) + remedy);
}

// --- Opening --------------------------------------------------------------------------------------------------------

Status StoreEnvironment::open(const std::string &path, bool mayCreate, bool isExamined,
                              std::unique_ptr<StoreEnvironment> &environment, std::string &setAside) {
  // A second round after the old file has been moved out of the way; what is new cannot be damaged again.
  constexpr int ROUNDS = 2;
  int code = 0;
  for (int round = 1; round <= ROUNDS; ++round) {
    std::unique_ptr<StoreEnvironment> candidate(new StoreEnvironment(path));
    code = candidate->openFile(mayCreate, isExamined);
    if (code == 0) {
      environment = std::move(candidate);
      return Status::success();
    }
    candidate.reset();
    if (!mayCreate || !(isDamage(code) || code == OTHER_BOOT)) break;
    Status status = code == OTHER_BOOT ? removeStoreFile(path) : setStoreFileAside(path, reasonOf(code), setAside);
    if (!status.ok()) return status;
  }
  return storeFailure(code, "cannot open the node store " + path);
}

StoreEnvironment::~StoreEnvironment() {
  for (std::atomic<MDB_txn *> &idle : idleReaders_) {
    if (MDB_txn *transaction = idle.load()) mdb_txn_abort(transaction);
  }
  if (environment_ != nullptr) mdb_env_close(environment_);
}

int StoreEnvironment::openFile(bool mayCreate, bool isExamined) {
  struct stat file {};
  if (lstat(path_.c_str(), &file) != 0) {
    if (errno != ENOENT || !mayCreate) return errno;
  } else if (!S_ISREG(file.st_mode)) {
    return NOT_A_STORE;
  } else if (file.st_uid != geteuid() && file.st_uid != 0) {
    return OTHER_OWNER;
  }
  isLockless_ = !mayCreate && mayOnlyRead(path_);
  const unsigned flags = ENVIRONMENT_FLAGS | (isLockless_ ? MDB_RDONLY | MDB_NOLOCK : 0U);
  if (const Descriptor head(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW)); head.get() >= 0) {
    if (!hasSoundHead(head.get(), MAP_SIZE)) return NOT_A_STORE;
  }
  int code = mayCreate ? reserveStoreLock(path_, MAX_READERS) : 0;
  if (code == 0) code = mdb_env_create(&environment_);
  if (code == 0) code = mdb_env_set_mapsize(environment_, MAP_SIZE);
  if (code == 0) code = mdb_env_set_maxreaders(environment_, MAX_READERS);
  if (code == 0) code = mdb_env_set_maxdbs(environment_, TABLE_COUNT);
  if (code == 0) code = mdb_env_open(environment_, path_.c_str(), flags, STORE_FILE_MODE);
  if (code == 0 && mayCreate) giveStoreToGroup(path_);
  if (code == 0) code = coverMissingEnd();
  if (code != 0) return code;
  forgetDeadReaders();
  return openTables(mayCreate, isExamined);
}

// LMDB opens its other descriptors close-on-exec, but not that of the data file. And it reads through a mapping, where
// the missing end of a file that was cut off kills the process: with zeros there instead, LMDB notices for itself. (A
// file may also be shorter than it says because its last pages are free and were never written.)
int StoreEnvironment::coverMissingEnd() {
  mdb_filehandle_t descriptor = -1;
  MDB_envinfo info{};
  MDB_stat statistics{};
  struct stat file {};
  int code = mdb_env_get_fd(environment_, &descriptor);
  if (code == 0) code = mdb_env_info(environment_, &info);
  if (code == 0) code = mdb_env_stat(environment_, &statistics);
  if (code != 0) return code;
  if (fcntl(descriptor, F_SETFD, FD_CLOEXEC) != 0 || fstat(descriptor, &file) != 0) return errno;
  if (info.me_mapsize > MAP_SIZE || info.me_last_pgno >= MAP_SIZE / statistics.ms_psize) return NOT_A_STORE;
  const auto needed = static_cast<off_t>((info.me_last_pgno + 1) * statistics.ms_psize);
  if (isLockless_) return 0;  // nothing that this process could do about it
  endWasMissing_ = file.st_size < needed;
  if (!endWasMissing_) return 0;
  return posix_fallocate(descriptor, file.st_size, needed - file.st_size);
}

int StoreEnvironment::openTables(bool mayCreate, bool isExamined) {
  MDB_stat statistics{};
  MDB_txn *transaction = nullptr;
  int code = mdb_txn_begin(environment_, nullptr, MDB_RDONLY, &transaction);
  if (code != 0) return code;
  // A start of the node is the moment to find out that the store cannot be read. For its programs only suspicion is
  // worth the time. Without a lock, what is looked at may change meanwhile.
  if ((isExamined && !isLockless_) || endWasMissing_) code = checkPages(transaction);
  if (code == 0) code = mdb_env_stat(environment_, &statistics);
  if (code == 0 && statistics.ms_entries == 0) {  // else whoever made the file fills it now
    mdb_txn_abort(transaction);
    return mayCreate ? makeTables() : ENOENT;
  }
  // First the layout: another one may have other tables.
  if (code == 0) code = openTable(transaction, Table::NODE, 0);
  if (code == 0) code = checkNode(transaction);
  if (code == 0) code = openTablesIn(transaction, 0);
  if (code == MDB_NOTFOUND || code == MDB_INCOMPATIBLE) code = NOT_A_STORE;  // tables or records other than ours
  if (code == 0) return mdb_txn_commit(transaction);                         // and with it the handles of the tables
  mdb_txn_abort(transaction);
  return code;
}

int StoreEnvironment::makeTables() {
  WriteTransaction transaction(*this);
  int code = transaction.code();
  if (code == 0) code = openTablesIn(transaction.handle(), MDB_CREATE);
  if (code == 0) code = transaction.put(Table::NODE, LAYOUT_KEY, encodeKey(STORE_LAYOUT));
  if (code == 0) code = transaction.put(Table::NODE, BOOT_KEY, currentBootId());
  return code == 0 ? transaction.commit() : code;
}

int StoreEnvironment::openTable(MDB_txn *transaction, Table table, unsigned flags) {
  const auto index = static_cast<size_t>(table);
  return mdb_dbi_open(transaction, TABLE_NAMES[index], flags, &tables_[index]);
}

int StoreEnvironment::openTablesIn(MDB_txn *transaction, unsigned flags) {
  int code = 0;
  for (size_t table = 0; table < TABLE_COUNT && code == 0; ++table)
    code = openTable(transaction, static_cast<Table>(table), flags);
  return code;
}

int StoreEnvironment::checkNode(MDB_txn *transaction) const {
  MDB_val key = toValue(BOOT_KEY);
  MDB_val record{};
  int code = mdb_get(transaction, table(Table::NODE), &key, &record);
  if (code != 0) return code;
  // First the boot: a store of an earlier one is as good as none, whatever its layout.
  if (toBytes(record) != currentBootId()) return OTHER_BOOT;
  key = toValue(LAYOUT_KEY);
  code = mdb_get(transaction, table(Table::NODE), &key, &record);
  if (code != 0) return code;
  uint32_t layout = 0;
  if (!decodeKey(toBytes(record), layout)) return NOT_A_STORE;
  return layout == STORE_LAYOUT ? 0 : OTHER_LAYOUT;
}

// The pages that a transaction sees stay as they are meanwhile, but not so the head, of which the second change from
// then on takes the place. So what is not sound has to be so again and again: damage is, and a change was overtaken
// once.
int StoreEnvironment::checkPages(MDB_txn *transaction) const {
  constexpr int ATTEMPTS = 10;
  int code = checkPagesOnce(transaction);
  for (int attempt = 1; code == MDB_CORRUPTED && attempt < ATTEMPTS; ++attempt) {
    mdb_txn_reset(transaction);
    code = mdb_txn_renew(transaction);
    if (code == 0) code = checkPagesOnce(transaction);
  }
  return code;
}

int StoreEnvironment::checkPagesOnce(MDB_txn *transaction) const {
  mdb_filehandle_t descriptor = -1;
  struct stat file {};
  if (const int code = mdb_env_get_fd(environment_, &descriptor); code != 0) return code;
  if (fstat(descriptor, &file) != 0) return errno;
  const auto size = static_cast<size_t>(file.st_size);
  void *mapped = mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
  if (mapped == MAP_FAILED) return errno;
  const bool isSound = isSoundStore({static_cast<const char *>(mapped), size}, MAP_SIZE, mdb_txn_id(transaction));
  munmap(mapped, size);
  return isSound ? 0 : MDB_CORRUPTED;
}

// --- Transactions ---------------------------------------------------------------------------------------------------

bool StoreEnvironment::hasSpace() {
  MDB_envinfo info{};
  MDB_stat statistics{};
  mdb_env_info(environment_, &info);  // neither fails for an environment that is open
  mdb_env_stat(environment_, &statistics);
  const size_t reserve = RESERVE_SIZE / statistics.ms_psize;
  size_t free = MAP_SIZE / statistics.ms_psize - (info.me_last_pgno + 1);
  if (free >= reserve) return true;
  // Only a file that has grown to its full size once is looked at more closely. A record of this table is a number of
  // pages, and then these.
  const ReadTransaction transaction(*this);
  transaction.forEachIn(FREE_PAGES, {}, [&free](std::string_view, std::string_view record) {
    size_t count = 0;
    if (record.size() < sizeof count) return;
    std::memcpy(&count, record.data(), sizeof count);
    free += count;
  });
  return free >= reserve;
}

void StoreEnvironment::forgetDeadReaders() {
  int count = 0;
  mdb_reader_check(environment_, &count);  // result not examined: the next opening tries again
}

// Writers queue up here and not at LMDB's mutex. Where its owner is killed in the few instructions between giving it
// back and waking the next, and somebody else takes it meanwhile, the kernel wakes nobody, and who sleeps there sleeps
// for ever. The lock of a file has no such gap; and one of this kind belongs to the process alone, so that none of its
// children keeps it when it is killed.
int StoreEnvironment::lockWriters() {
  constexpr timespec A_MOMENT = {0, 1'000'000};
  if (isLockless_) return EACCES;
  mdb_filehandle_t descriptor = -1;
  if (const int code = mdb_env_get_fd(environment_, &descriptor); code != 0) return code;
  writersOfThisProcess_.lock();
  struct flock wanted {};
  wanted.l_type = F_WRLCK;
  wanted.l_whence = SEEK_SET;
  while (fcntl(descriptor, F_SETLKW, &wanted) != 0) {
    if (errno == EINTR) continue;
    // The kernel takes threads of a process for one: who waits for a lock of another file is no reason to give up.
    if (errno == EDEADLK) {
      nanosleep(&A_MOMENT, nullptr);
      continue;
    }
    const int error = errno;
    writersOfThisProcess_.unlock();
    return error;
  }
  return 0;
}

void StoreEnvironment::unlockWriters() {
  mdb_filehandle_t descriptor = -1;
  mdb_env_get_fd(environment_, &descriptor);  // as in lockWriters
  struct flock lock {};
  lock.l_type = F_UNLCK;
  lock.l_whence = SEEK_SET;
  fcntl(descriptor, F_SETLK, &lock);
  writersOfThisProcess_.unlock();
}

MDB_txn *StoreEnvironment::takeIdleReader() {
  for (std::atomic<MDB_txn *> &idle : idleReaders_) {
    if (idle.load(std::memory_order_relaxed) == nullptr) continue;
    if (MDB_txn *transaction = idle.exchange(nullptr, std::memory_order_acquire)) return transaction;
  }
  return nullptr;
}

void StoreEnvironment::putIdleReader(MDB_txn *transaction) {
  for (std::atomic<MDB_txn *> &idle : idleReaders_) {
    MDB_txn *none = nullptr;
    if (idle.compare_exchange_strong(none, transaction, std::memory_order_release, std::memory_order_relaxed)) return;
  }
  mdb_txn_abort(transaction);
}

ReadTransaction::ReadTransaction(StoreEnvironment &environment) noexcept : environment_(environment) {
  if (MDB_txn *idle = environment_.takeIdleReader()) {
    code_ = mdb_txn_renew(idle);
    if (code_ == 0) {
      transaction_ = idle;
      return;
    }
    mdb_txn_abort(idle);
  }
  code_ = mdb_txn_begin(environment_.handle(), nullptr, MDB_RDONLY, &transaction_);
  if (code_ != MDB_READERS_FULL) return;
  environment_.forgetDeadReaders();
  code_ = mdb_txn_begin(environment_.handle(), nullptr, MDB_RDONLY, &transaction_);
}

ReadTransaction::~ReadTransaction() {
  if (code_ != 0) return;
  mdb_txn_reset(transaction_);
  environment_.putIdleReader(transaction_);
}

bool ReadTransaction::isOvertaken() const noexcept {
  if (code_ != 0) return false;
  MDB_envinfo info{};
  mdb_env_info(environment_.handle(), &info);  // never fails for an environment that is open
  return info.me_last_txnid > mdb_txn_id(transaction_) + 1;
}

int ReadTransaction::get(Table table, std::string_view key, std::string_view &record) const noexcept {
  if (code_ != 0) return code_;
  MDB_val keyValue = toValue(key);
  MDB_val recordValue{};
  const int code = mdb_get(transaction_, environment_.table(table), &keyValue, &recordValue);
  if (code == 0) record = toBytes(recordValue);
  return code;
}

WriteTransaction::WriteTransaction(StoreEnvironment &environment) : environment_(environment) {
  // A thread that is cancelled in here would keep the lock of all writers of the node.
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState_);
  code_ = environment_.lockWriters();
  isLocked_ = code_ == 0;
  if (isLocked_) code_ = mdb_txn_begin(environment_.handle(), nullptr, 0, &transaction_);
}

WriteTransaction::~WriteTransaction() {
  if (transaction_ != nullptr) mdb_txn_abort(transaction_);
  giveLockBack();
  pthread_setcancelstate(cancelState_, nullptr);
}

void WriteTransaction::giveLockBack() {
  if (std::exchange(isLocked_, false)) environment_.unlockWriters();
}

int WriteTransaction::get(Table table, std::string_view key, std::string_view &record) const {
  MDB_val keyValue = toValue(key);
  MDB_val recordValue{};
  const int code = mdb_get(transaction_, environment_.table(table), &keyValue, &recordValue);
  if (code == 0) record = toBytes(recordValue);
  return code;
}

int WriteTransaction::put(Table table, std::string_view key, std::string_view record, unsigned flags) {
  MDB_val keyValue = toValue(key);
  MDB_val recordValue = toValue(record);
  return mdb_put(transaction_, environment_.table(table), &keyValue, &recordValue, flags);
}

int WriteTransaction::remove(Table table, std::string_view key) {
  MDB_val keyValue = toValue(key);
  return mdb_del(transaction_, environment_.table(table), &keyValue, nullptr);
}

int WriteTransaction::clear(Table table) {
  return mdb_drop(transaction_, environment_.table(table), 0);
}

int WriteTransaction::count(Table table, size_t &records) const {
  MDB_stat statistics{};
  const int code = mdb_stat(transaction_, environment_.table(table), &statistics);
  records = statistics.ms_entries;
  return code;
}

int WriteTransaction::commit() {
  // Gone afterwards, committed or not.
  const int code = mdb_txn_commit(std::exchange(transaction_, nullptr));
  giveLockBack();
  return code;
}

}  // namespace orv
