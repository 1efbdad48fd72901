// The node store as its callers see it, and what happens to it from outside: damaged files, killed processes, no space.
// Garbage is planted through LMDB itself while no store is open.
#include "NodeStore.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <lmdb.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

#include "FreshDirectory.h"
#include "OtherUser.h"

namespace {

using orv::Event;
using orv::EventKind;
using orv::NodeStore;
using orv::RadOrigin;
using orv::Status;
using orv::TagType;
using orv::TagValue;
using Access = orv::NodeStore::Access;

constexpr const char *FILE_NAME = "node.mdb";

TagValue text(const std::string &value) {
  return {TagType::STRING, 0, value};
}

TagValue u16(uint32_t value) {
  return {TagType::U16, value, {}};
}

TagValue u32(uint32_t value) {
  return {TagType::U32, value, {}};
}

Event logEvent(const std::string &words) {
  Event event;
  event.text = words;
  return event;
}

bool contains(const std::string &whole, const std::string &part) {
  return whole.find(part) != std::string::npos;
}

// A process made by fork. It must not use what its parent opened.
class Child {
 public:
  explicit Child(const std::function<int()> &body) : pid_(fork()) {
    if (pid_ == 0) _exit(body());
  }
  ~Child() {
    if (pid_ > 0) end(SIGKILL);
  }
  Child(const Child &) = delete;
  Child &operator=(const Child &) = delete;

  void end(int signal) {
    kill(pid_, signal);
    waitForEnd();
  }
  int waitForEnd() {
    int status = -1;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return status;
  }

 private:
  pid_t pid_;
};

// Bytes from a child to its parent: "so far have I come".
class Progress {
 public:
  Progress() {
    if (pipe2(ends_, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
  }
  ~Progress() {
    for (const int end : ends_)
      close(end);
  }
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  bool tell() const {
    return write(ends_[1], "x", 1) == 1;
  }
  void await(int steps) const {
    for (char step = 0; steps > 0; --steps)
      EXPECT_EQ(read(ends_[0], &step, 1), 1);
  }

 private:
  int ends_[2] = {-1, -1};
};

class NodeStoreTest : public testing::Test {
 protected:
  NodeStoreTest() {
    umask(022);
  }

  std::unique_ptr<NodeStore> create() const {
    std::unique_ptr<NodeStore> store;
    const Status status = NodeStore::open(directory_.path(), Access::CREATE, store);
    EXPECT_TRUE(status.ok()) << status.message;
    return store;
  }

  std::unique_ptr<NodeStore> existing() const {
    std::unique_ptr<NodeStore> store;
    const Status status = NodeStore::open(directory_.path(), Access::EXISTING, store);
    EXPECT_TRUE(status.ok()) << status.message;
    return store;
  }

  Status tryExisting() const {
    std::unique_ptr<NodeStore> store;
    return NodeStore::open(directory_.path(), Access::EXISTING, store);
  }

  // Opens with Access::CREATE, expects that the file there is set aside, and returns the sentence that says so.
  std::string createInPlaceOfDamaged() const {
    std::unique_ptr<NodeStore> store;
    std::string setAside;
    const Status status = NodeStore::open(directory_.path(), Access::CREATE, store, &setAside);
    EXPECT_TRUE(status.ok()) << status.message;
    EXPECT_TRUE(std::filesystem::exists(file() + ".damaged"));
    EXPECT_TRUE(contains(setAside, file() + ".damaged")) << setAside;
    if (store) {
      EXPECT_TRUE(store->setTag("works", u32(1)).ok());
      EXPECT_TRUE(store->tagIsSet("works"));
    }
    return setAside;
  }

  // Whether a process that opens the store anew finds the tag.
  bool isSetForAnother(const std::string &name) const {
    Child other([&] { return existing()->tagIsSet(name) ? 0 : 1; });
    return other.waitForEnd() == 0;
  }

  // Writes records past the store. No store may be open.
  void plant(const char *table, const std::string &key, const std::string &record) const {
    MDB_env *environment = nullptr;
    MDB_txn *transaction = nullptr;
    MDB_dbi handle = 0;
    ASSERT_EQ(mdb_env_create(&environment), 0);
    ASSERT_EQ(mdb_env_set_maxdbs(environment, 8), 0);
    ASSERT_EQ(mdb_env_open(environment, file().c_str(), MDB_NOSUBDIR | MDB_NOSYNC, 0640), 0);
    ASSERT_EQ(mdb_txn_begin(environment, nullptr, 0, &transaction), 0);
    ASSERT_EQ(mdb_dbi_open(transaction, table, MDB_CREATE, &handle), 0);
    MDB_val keyValue{key.size(), const_cast<char *>(key.data())};
    MDB_val recordValue{record.size(), const_cast<char *>(record.data())};
    ASSERT_EQ(mdb_put(transaction, handle, &keyValue, &recordValue, 0), 0);
    ASSERT_EQ(mdb_txn_commit(transaction), 0);
    mdb_env_close(environment);
  }

  std::string file() const {
    return directory_.path(FILE_NAME);
  }

  FreshDirectory directory_;
};

using NodeStoreOpen = NodeStoreTest;
using NodeStoreTags = NodeStoreTest;
using NodeStoreRads = NodeStoreTest;
using NodeStoreRuns = NodeStoreTest;
using NodeStoreEus = NodeStoreTest;
using NodeStoreEvents = NodeStoreTest;
using NodeStoreGarbage = NodeStoreTest;
using NodeStoreFull = NodeStoreTest;
using NodeStoreProcesses = NodeStoreTest;
using NodeStoreThreads = NodeStoreTest;

// --- Opening --------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreOpen, ExistingFailsWhereThereIsNone) {
  const Status status = tryExisting();
  EXPECT_EQ(status.code, ENOENT);
  EXPECT_TRUE(contains(status.message, file())) << status.message;
  EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(NodeStoreOpen, CreateKeepsWhatIsThere) {
  ASSERT_TRUE(create()->setTag("a", u32(7)).ok());
  EXPECT_TRUE(create()->tagIsSet("a"));
  EXPECT_TRUE(existing()->tagIsSet("a"));
  EXPECT_FALSE(std::filesystem::exists(file() + ".damaged"));
}

TEST_F(NodeStoreOpen, MissingDirectoryIsReported) {
  std::unique_ptr<NodeStore> store;
  EXPECT_EQ(NodeStore::open(directory_.path("absent"), Access::CREATE, store).code, ENOENT);
  EXPECT_EQ(store, nullptr);
}

TEST_F(NodeStoreOpen, FilesAreForTheOwnerAndTheGroupAlone) {
  create();
  for (const std::string &path : {file(), file() + "-lock"}) {
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640U) << path;
  }
}

TEST_F(NodeStoreOpen, DescriptorsAreClosedOnExec) {
  const auto store = create();
  int found = 0;
  for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (!contains(std::filesystem::read_symlink(entry.path(), gone), directory_.path())) continue;
    ++found;
    EXPECT_EQ(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC) << entry.path();
  }
  EXPECT_GE(found, 2);
}

TEST_F(NodeStoreOpen, EmptyFileBecomesAStore) {
  directory_.write(FILE_NAME, "");
  EXPECT_TRUE(create()->setTag("a", u32(1)).ok());
  EXPECT_FALSE(std::filesystem::exists(file() + ".damaged"));
}

TEST_F(NodeStoreOpen, StoreThatIsJustBeingMadeCountsAsNone) {
  directory_.write(FILE_NAME, "");
  EXPECT_EQ(tryExisting().code, ENOENT);
  EXPECT_TRUE(create()->setTag("a", u32(1)).ok());
}

TEST_F(NodeStoreOpen, GarbageIsSetAside) {
  const std::string garbage(20000, '\xa5');
  directory_.write(FILE_NAME, garbage);
  EXPECT_TRUE(contains(createInPlaceOfDamaged(), "not a node store"));
  EXPECT_EQ(directory_.read(FILE_NAME + std::string(".damaged")), garbage);
}

TEST_F(NodeStoreOpen, ShortTextIsSetAside) {
  directory_.write(FILE_NAME, "This is no node store.\n");
  createInPlaceOfDamaged();
}

TEST_F(NodeStoreOpen, LaterDamagedFileReplacesTheOneSetAsideBefore) {
  directory_.write(FILE_NAME, "first");
  createInPlaceOfDamaged();
  directory_.write(FILE_NAME, "second");
  createInPlaceOfDamaged();
  EXPECT_EQ(directory_.read(FILE_NAME + std::string(".damaged")), "second");
}

TEST_F(NodeStoreOpen, OtherKindsOfFilesAreSetAside) {
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  createInPlaceOfDamaged();
  std::filesystem::remove(file());
  std::filesystem::remove(file() + ".damaged");
  ASSERT_EQ(mkdir(file().c_str(), 0700), 0);
  createInPlaceOfDamaged();
}

TEST_F(NodeStoreOpen, SymbolicLinkIsNotFollowed) {
  const FreshDirectory elsewhere;
  elsewhere.write("target", "precious");
  std::filesystem::create_symlink(elsewhere.path("target"), file());
  EXPECT_EQ(tryExisting().code, MDB_INVALID);
  createInPlaceOfDamaged();
  EXPECT_EQ(elsewhere.read("target"), "precious");
}

TEST_F(NodeStoreOpen, ForeignDatabaseIsSetAside) {
  plant("recipes", "soup", "onions");
  EXPECT_EQ(tryExisting().code, MDB_INVALID);
  createInPlaceOfDamaged();
}

TEST_F(NodeStoreOpen, ForeignDatabaseWithOurTableNamesIsSetAside) {
  for (const char *table : {"node", "tags", "rad", "eus", "events"})
    plant(table, "key", "record");
  createInPlaceOfDamaged();
}

TEST_F(NodeStoreOpen, DamagedLockFileIsMadeAnew) {
  ASSERT_TRUE(create()->setTag("a", u32(1)).ok());
  directory_.write("node.mdb-lock", std::string(65664, '\xa5'));
  EXPECT_TRUE(create()->tagIsSet("a"));
}

TEST_F(NodeStoreOpen, FileThatWasCutOffIsReportedAndSetAside) {
  {
    const auto store = create();
    for (int i = 0; i < 2000; ++i)
      ASSERT_TRUE(store->setTag("tag" + std::to_string(i), text(std::string(100, 'x'))).ok());
  }
  const uintmax_t size = std::filesystem::file_size(file());
  // From the two pages that LMDB begins with on: with less it is noticed anyway.
  for (const uintmax_t left : {size / 2, uintmax_t{3 * 4096}, uintmax_t{2 * 4096}}) {
    const FreshDirectory copy;
    std::filesystem::copy(file(), copy.path(FILE_NAME));
    std::filesystem::resize_file(copy.path(FILE_NAME), left);
    std::unique_ptr<NodeStore> store;
    std::string setAside;
    const int reported = NodeStore::open(copy.path(), Access::EXISTING, store).code;
    EXPECT_TRUE(reported == MDB_CORRUPTED || reported == MDB_INVALID) << left << ": " << reported;
    EXPECT_TRUE(NodeStore::open(copy.path(), Access::CREATE, store, &setAside).ok());
    EXPECT_NE(setAside, "") << left;
  }
}

TEST_F(NodeStoreOpen, ExistingReportsDamageAndTouchesNothing) {
  directory_.write(FILE_NAME, std::string(20000, '\xa5'));
  const Status status = tryExisting();
  EXPECT_EQ(status.code, MDB_INVALID);
  EXPECT_TRUE(contains(status.message, "sets a damaged store aside")) << status.message;
  EXPECT_EQ(directory_.read(FILE_NAME), std::string(20000, '\xa5'));
}

TEST_F(NodeStoreOpen, AnotherLayoutIsRefused) {
  create();
  plant("node", "layout", std::string("\0\0\0\2", 4));
  EXPECT_EQ(tryExisting().code, EPROTO);
  std::unique_ptr<NodeStore> store;
  const Status status = NodeStore::open(directory_.path(), Access::CREATE, store);
  EXPECT_EQ(status.code, EPROTO);
  EXPECT_TRUE(contains(status.message, file())) << status.message;
  EXPECT_EQ(store, nullptr);
}

TEST_F(NodeStoreOpen, StoreOfAnEarlierBootCountsAsNone) {
  ASSERT_TRUE(create()->setTag("old", u32(1)).ok());
  plant("node", "boot", "00000000-0000-0000-0000-000000000000");
  EXPECT_EQ(tryExisting().code, ENOENT);
  const auto store = create();
  EXPECT_FALSE(store->tagIsSet("old"));
  EXPECT_TRUE(store->events().empty());
  EXPECT_FALSE(std::filesystem::exists(file() + ".damaged"));
}

TEST_F(NodeStoreOpen, WhoMayNotIsToldSo) {
  if (!canActAsAnotherUser()) GTEST_SKIP() << "only root can become somebody else";
  create();
  ASSERT_EQ(chmod(directory_.path().c_str(), 0755), 0);
  Child somebody([&] { return setuid(12345) == 0 && tryExisting().code == EACCES ? 0 : 1; });
  EXPECT_EQ(somebody.waitForEnd(), 0);
}

// --- Tags -----------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreTags, NothingIsSetAtFirst) {
  const auto store = create();
  EXPECT_FALSE(store->tagIsSet("a"));
  EXPECT_FALSE(store->tag("a").has_value());
  EXPECT_TRUE(store->tags().empty());
}

TEST_F(NodeStoreTags, SetTagHasItsValueAndItsSetter) {
  const auto store = create();
  const uint64_t before = orv::monotonicNs();
  ASSERT_TRUE(store->setTag("text", text("hello")).ok());
  ASSERT_TRUE(store->setTag("small", u16(65535)).ok());
  ASSERT_TRUE(store->setTag("large", u32(4294967295U)).ok());
  EXPECT_TRUE(store->tagIsSet("text"));
  EXPECT_FALSE(store->tagIsSet("tex"));
  EXPECT_FALSE(store->tagIsSet("text2"));
  const auto tag = store->tag("text");
  ASSERT_TRUE(tag.has_value());
  EXPECT_EQ(tag->name, "text");
  EXPECT_EQ(tag->value.type, TagType::STRING);
  EXPECT_EQ(tag->value.text, "hello");
  EXPECT_EQ(tag->setterPid, static_cast<uint32_t>(getpid()));
  EXPECT_GE(tag->setNs, before);
  EXPECT_LE(tag->setNs, orv::monotonicNs());
  EXPECT_EQ(store->tag("small")->value.type, TagType::U16);
  EXPECT_EQ(store->tag("small")->value.number, 65535U);
  EXPECT_EQ(store->tag("large")->value.type, TagType::U32);
  EXPECT_EQ(store->tag("large")->value.number, 4294967295U);
}

TEST_F(NodeStoreTags, LaterValueReplacesTheEarlier) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("a", text("one")).ok());
  ASSERT_TRUE(store->setTag("a", u16(2)).ok());
  ASSERT_EQ(store->tags().size(), 1U);
  EXPECT_EQ(store->tag("a")->value.type, TagType::U16);
  EXPECT_EQ(store->tag("a")->value.text, "");
}

TEST_F(NodeStoreTags, ListIsByName) {
  const auto store = create();
  for (const char *name : {"b", "a.z", "a", "c"})
    ASSERT_TRUE(store->setTag(name, u32(1)).ok());
  std::vector<std::string> names;
  for (const orv::Tag &tag : store->tags())
    names.push_back(tag.name);
  EXPECT_EQ(names, (std::vector<std::string>{"a", "a.z", "b", "c"}));
}

TEST_F(NodeStoreTags, AnyBytesMayBeInNameAndText) {
  const auto store = create();
  const std::string name("a\0\xff\n", 4);
  ASSERT_TRUE(store->setTag(name, text(name)).ok());
  EXPECT_TRUE(store->tagIsSet(name));
  EXPECT_FALSE(store->tagIsSet("a"));
  EXPECT_EQ(store->tag(name)->value.text, name);
}

TEST_F(NodeStoreTags, LongestNameAndTextAreAcceptedAndLongerOnesRefused) {
  const auto store = create();
  const std::string longest(orv::MAX_TAG_NAME_LENGTH, 'n');
  EXPECT_TRUE(store->setTag(longest, text(std::string(orv::MAX_TAG_TEXT_LENGTH, 't'))).ok());
  EXPECT_EQ(store->tag(longest)->value.text.size(), orv::MAX_TAG_TEXT_LENGTH);
  EXPECT_EQ(store->setTag(longest + "n", u32(1)).code, EINVAL);
  EXPECT_EQ(store->setTag("a", text(std::string(orv::MAX_TAG_TEXT_LENGTH + 1, 't'))).code, EINVAL);
  EXPECT_EQ(store->tags().size(), 1U);
}

TEST_F(NodeStoreTags, EmptyNameIsRefusedAndEmptyTextAccepted) {
  const auto store = create();
  EXPECT_EQ(store->setTag("", u32(1)).code, EINVAL);
  EXPECT_FALSE(store->tagIsSet(""));
  EXPECT_FALSE(store->tagIsSet(std::string(1000, 'n')));
  EXPECT_TRUE(store->setTag("a", text("")).ok());
  EXPECT_TRUE(store->tagIsSet("a"));
}

TEST_F(NodeStoreTags, NumberThatDoesNotFitItsTypeIsRefused) {
  const auto store = create();
  EXPECT_EQ(store->setTag("a", u16(65536)).code, EINVAL);
  EXPECT_FALSE(store->tagIsSet("a"));
}

TEST_F(NodeStoreTags, UnsettingTellsWhetherItWasSet) {
  const auto store = create();
  bool wasSet = true;
  EXPECT_TRUE(store->unsetTag("a", wasSet).ok());
  EXPECT_FALSE(wasSet);
  ASSERT_TRUE(store->setTag("a", u32(1)).ok());
  EXPECT_TRUE(store->unsetTag("a", wasSet).ok());
  EXPECT_TRUE(wasSet);
  EXPECT_FALSE(store->tagIsSet("a"));
  EXPECT_EQ(store->unsetTag("", wasSet).code, EINVAL);
}

TEST_F(NodeStoreTags, SettingIsAnEvent) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("a", text("hello")).ok());
  ASSERT_TRUE(store->setTag("b", u16(7)).ok());
  const auto events = store->events();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].kind, EventKind::TAG_SET);
  EXPECT_EQ(events[0].text, "a = \"hello\"");
  EXPECT_EQ(events[1].text, "b = 7 (u16)");
}

// --- RAD parameters and configurations ------------------------------------------------------------------------------

TEST_F(NodeStoreRads, UnsetParameterReadsAsZero) {
  EXPECT_EQ(create()->rad(0x10063), 0U);
}

TEST_F(NodeStoreRads, ListIsByNumber) {
  const auto store = create();
  ASSERT_TRUE(store->setRad(0xffffffff, 3, RadOrigin::OPERATOR).ok());
  ASSERT_TRUE(store->setRad(256, 2, RadOrigin::CONFIGURATION).ok());
  ASSERT_TRUE(store->setRad(1, 1, RadOrigin::OPERATOR).ok());
  const auto rads = store->rads();
  ASSERT_EQ(rads.size(), 3U);
  EXPECT_EQ(rads[0].number, 1U);
  EXPECT_EQ(rads[1].number, 256U);
  EXPECT_EQ(rads[1].value, 2U);
  EXPECT_EQ(rads[1].origin, RadOrigin::CONFIGURATION);
  EXPECT_EQ(rads[2].number, 0xffffffffU);
  EXPECT_EQ(store->rad(0xffffffff), 3U);
}

TEST_F(NodeStoreRads, ConfigurationDoesNotReplaceWhatAnOperatorSet) {
  const auto store = create();
  ASSERT_TRUE(store->setRad(1, 10, RadOrigin::OPERATOR).ok());
  NodeStore::Settings settings;
  settings.rads = {{1, 20, RadOrigin::CONFIGURATION}, {2, 30, RadOrigin::CONFIGURATION}};
  EXPECT_TRUE(store->apply(settings).ok());
  EXPECT_EQ(store->rad(1), 10U);
  EXPECT_EQ(store->rad(2), 30U);
  ASSERT_TRUE(store->setRad(2, 31, RadOrigin::OPERATOR).ok());
  EXPECT_EQ(store->rad(2), 31U);
}

TEST_F(NodeStoreRads, ConfigurationSetsAllOrNothing) {
  const auto store = create();
  NodeStore::Settings settings;
  settings.tags = {{"a", u32(1)}, {"b", text("two")}, {"a", u32(3)}};
  settings.rads = {{1, 2, RadOrigin::CONFIGURATION}};
  EXPECT_TRUE(store->apply(settings).ok());
  EXPECT_EQ(store->tag("a")->value.number, 3U);
  EXPECT_EQ(store->tag("b")->value.text, "two");
  EXPECT_EQ(store->rad(1), 2U);

  settings.tags = {{"c", u32(1)}, {"", u32(1)}};
  settings.rads = {{5, 6, RadOrigin::CONFIGURATION}};
  EXPECT_EQ(store->apply(settings).code, EINVAL);
  EXPECT_FALSE(store->tagIsSet("c"));
  EXPECT_EQ(store->rad(5), 0U);
}

// --- Runs -----------------------------------------------------------------------------------------------------------

orv::RunInfo someRun() {
  orv::RunInfo run;
  run.daemonPid = 42;
  run.startedNs = 1000;
  run.startedRealtimeNs = 2000;
  return run;
}

TEST_F(NodeStoreRuns, NoneAtFirst) {
  EXPECT_FALSE(create()->run().has_value());
}

TEST_F(NodeStoreRuns, BeginningForgetsTheLastRunsTagsEusAndConfiguration) {
  const auto store = create();
  orv::EuRecord eu;
  eu.id = 1;
  ASSERT_TRUE(store->setTag("a", u32(1)).ok());
  ASSERT_TRUE(store->putEu(eu, nullptr).ok());
  ASSERT_TRUE(store->setRad(1, 10, RadOrigin::CONFIGURATION).ok());
  ASSERT_TRUE(store->setRad(2, 20, RadOrigin::OPERATOR).ok());
  ASSERT_TRUE(store->setRad(3, 30, RadOrigin::CONFIGURATION).ok());
  ASSERT_TRUE(store->beginRun(someRun()).ok());
  EXPECT_TRUE(store->tags().empty());
  EXPECT_TRUE(store->eus().empty());
  ASSERT_EQ(store->rads().size(), 1U);
  EXPECT_EQ(store->rads()[0].number, 2U);
  const auto events = store->events();
  ASSERT_EQ(events.size(), 2U) << "events stay";
  EXPECT_EQ(events[1].kind, EventKind::RUN_STARTED);
}

TEST_F(NodeStoreRuns, InformationIsKeptAndUpdated) {
  const auto store = create();
  ASSERT_TRUE(store->beginRun(someRun()).ok());
  orv::RunInfo run = store->run().value();
  EXPECT_EQ(run.state, orv::RunState::EARLY);
  EXPECT_EQ(run.daemonPid, 42U);
  EXPECT_EQ(run.startedNs, 1000U);
  EXPECT_EQ(run.startedRealtimeNs, 2000U);
  run.state = orv::RunState::UP;
  run.nid = 0x10;
  run.ceName = "CE-1";
  ASSERT_TRUE(store->updateRun(run).ok());
  EXPECT_EQ(store->run()->state, orv::RunState::UP);
  EXPECT_EQ(store->run()->nid, 0x10);
  EXPECT_EQ(store->run()->ceName, "CE-1");
}

// --- EUs ------------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreEus, LaterRecordOfAnIdReplacesTheEarlier) {
  const auto store = create();
  orv::EuRecord eu;
  for (const uint32_t id : {300U, 2U}) {
    eu.id = id;
    eu.name = "eu" + std::to_string(id);
    ASSERT_TRUE(store->putEu(eu, nullptr).ok());
  }
  eu.state = orv::EuState::PROGRAM_ENDED;
  eu.waitStatus = 256;
  ASSERT_TRUE(store->putEu(eu, nullptr).ok());
  const auto eus = store->eus();
  ASSERT_EQ(eus.size(), 2U);
  EXPECT_EQ(eus[0].id, 2U);
  EXPECT_EQ(eus[0].state, orv::EuState::PROGRAM_ENDED);
  EXPECT_EQ(eus[0].waitStatus, 256);
  EXPECT_EQ(eus[1].id, 300U);
  EXPECT_EQ(eus[1].name, "eu300");
  EXPECT_TRUE(store->events().empty());
}

TEST_F(NodeStoreEus, EventGoesAlong) {
  const auto store = create();
  orv::EuRecord eu;
  eu.id = 1;
  Event event;
  event.kind = EventKind::EU_CREATED;
  event.euId = 1;
  event.text = "radioCtrl";
  ASSERT_TRUE(store->putEu(eu, &event).ok());
  ASSERT_EQ(store->events().size(), 1U);
  EXPECT_EQ(store->events()[0].kind, EventKind::EU_CREATED);
  EXPECT_EQ(store->events()[0].euId, 1U);
  EXPECT_EQ(store->events()[0].text, "radioCtrl");
}

// --- Events ---------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreEvents, StoreGivesNumberTimeAndPid) {
  const auto store = create();
  const uint64_t before = orv::monotonicNs();
  Event event = logEvent("hello");
  event.sequence = 77;
  event.pid = 78;
  event.monotonicNs = 79;
  event.euId = 5;
  event.code = 6;
  ASSERT_TRUE(store->appendEvent(event).ok());
  ASSERT_TRUE(store->appendEvent(event).ok());
  const auto events = store->events();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].sequence, 1U);
  EXPECT_EQ(events[1].sequence, 2U);
  EXPECT_EQ(events[0].pid, static_cast<uint32_t>(getpid()));
  EXPECT_GE(events[0].monotonicNs, before);
  EXPECT_GE(events[1].monotonicNs, events[0].monotonicNs);
  EXPECT_EQ(events[0].euId, 5U);
  EXPECT_EQ(events[0].code, 6U);
  EXPECT_EQ(events[0].kind, EventKind::LOG);
}

TEST_F(NodeStoreEvents, NumbersGoOnInTheNextRunAndTheNextProcess) {
  ASSERT_TRUE(create()->appendEvent(logEvent("one")).ok());
  const auto store = create();
  ASSERT_TRUE(store->beginRun(someRun()).ok());
  EXPECT_EQ(store->events().back().sequence, 2U);
}

TEST_F(NodeStoreEvents, OnlyLaterOnesAreReturned) {
  const auto store = create();
  for (int i = 0; i < 5; ++i)
    ASSERT_TRUE(store->appendEvent(logEvent("x")).ok());
  ASSERT_EQ(store->events(3).size(), 2U);
  EXPECT_EQ(store->events(3)[0].sequence, 4U);
  EXPECT_TRUE(store->events(5).empty());
  EXPECT_TRUE(store->events(UINT64_MAX).empty());
}

TEST_F(NodeStoreEvents, OldestGoWhereTheLimitIsReached) {
  const auto store = create();
  ASSERT_TRUE(store->setEventLimit(100).ok());
  for (int i = 0; i < 100; ++i)
    ASSERT_TRUE(store->appendEvent(logEvent("x")).ok());
  EXPECT_EQ(store->events().size(), 100U);
  EXPECT_EQ(store->events().front().sequence, 1U);
  ASSERT_TRUE(store->appendEvent(logEvent("x")).ok());
  EXPECT_EQ(store->events().size(), 100U);
  EXPECT_EQ(store->events().front().sequence, 2U);
  EXPECT_EQ(store->events().back().sequence, 101U);
}

TEST_F(NodeStoreEvents, LowerLimitDropsTheOldestAtOnce) {
  const auto store = create();
  for (int i = 0; i < 300; ++i)
    ASSERT_TRUE(store->appendEvent(logEvent("x")).ok());
  ASSERT_TRUE(store->setEventLimit(100).ok());
  EXPECT_EQ(store->events().size(), 100U);
  EXPECT_EQ(store->events().front().sequence, 201U);
}

TEST_F(NodeStoreEvents, LimitIsBetweenAHundredAndAHundredThousand) {
  const auto store = create();
  EXPECT_EQ(store->setEventLimit(99).code, EINVAL);
  EXPECT_TRUE(store->setEventLimit(100).ok());
  EXPECT_TRUE(store->setEventLimit(100000).ok());
  EXPECT_EQ(store->setEventLimit(100001).code, EINVAL);
}

TEST_F(NodeStoreEvents, LimitIsTheNodesAndNotTheProcesss) {
  ASSERT_TRUE(create()->setEventLimit(100).ok());
  const auto store = existing();
  for (int i = 0; i < 150; ++i)
    ASSERT_TRUE(store->appendEvent(logEvent("x")).ok());
  EXPECT_EQ(store->events().size(), 100U);
}

TEST_F(NodeStoreEvents, LongTextIsCutBetweenCharacters) {
  const auto store = create();
  const std::string head(orv::MAX_EVENT_TEXT_LENGTH - 1, 'x');
  ASSERT_TRUE(store->appendEvent(logEvent(head + "yz")).ok());
  ASSERT_TRUE(store->appendEvent(logEvent(head + "\xc3\xbc!")).ok());
  ASSERT_TRUE(store->appendEvent(logEvent(std::string(2000, '\x80'))).ok());
  const auto events = store->events();
  EXPECT_EQ(events[0].text, head + "y");
  EXPECT_EQ(events[1].text, head);
  EXPECT_EQ(events[2].text.size(), orv::MAX_EVENT_TEXT_LENGTH) << "not UTF-8, so there are no characters to keep whole";
}

// --- Garbage --------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreGarbage, RecordsThatCannotBeUnderstoodAreLeftOut) {
  {
    const auto store = create();
    ASSERT_TRUE(store->setTag("good", u32(1)).ok());
    ASSERT_TRUE(store->setRad(1, 2, RadOrigin::OPERATOR).ok());
    orv::EuRecord eu;
    eu.id = 1;
    ASSERT_TRUE(store->putEu(eu, nullptr).ok());
  }
  plant("tags", "bad", "\xff\xff\xff\xff");
  plant("tags", "empty", "");
  plant("rad", std::string("\0\0\0\7", 4), "x");
  plant("rad", "odd", std::string("\0\0\0\1\1", 5));
  plant("eus", std::string("\0\0\0\7", 4), std::string(100, '\xff'));
  plant("events", std::string("\0\0\0\0\0\0\0\7", 8), std::string(3, '\0'));
  plant("node", "run", "nonsense");
  plant("node", "eventLimit", "many");
  const auto store = create();
  EXPECT_EQ(store->tags().size(), 1U);
  EXPECT_FALSE(store->tag("bad").has_value());
  EXPECT_EQ(store->rads().size(), 1U);
  EXPECT_EQ(store->rad(7), 0U);
  EXPECT_EQ(store->eus().size(), 1U);
  EXPECT_EQ(store->events().size(), 1U);
  EXPECT_FALSE(store->run().has_value());
  // And the next run is as good as any.
  EXPECT_TRUE(store->beginRun(someRun()).ok());
  EXPECT_EQ(store->events().back().sequence, 8U);
}

TEST_F(NodeStoreGarbage, EventNumberThatIsNoneIsReportedAndNotFollowed) {
  create();
  plant("events", "zz", "x");
  EXPECT_EQ(create()->appendEvent(logEvent("x")).code, MDB_CORRUPTED);
}

// --- No space left --------------------------------------------------------------------------------------------------

TEST_F(NodeStoreFull, OlderHalfOfTheEventsGoesForANewOne) {
  const auto store = create();
  ASSERT_TRUE(store->setEventLimit(100000).ok());
  const Event event = logEvent(std::string(orv::MAX_EVENT_TEXT_LENGTH, 'x'));
  constexpr uint64_t MORE_THAN_FIT = 64 * 1024;
  uint64_t appended = 0;
  for (; appended < MORE_THAN_FIT; ++appended) {
    const Status status = store->appendEvent(event);
    ASSERT_TRUE(status.ok()) << appended << ": " << status.message;
  }
  const auto events = store->events();
  EXPECT_GT(events.front().sequence, 1U);
  EXPECT_GT(events.size(), 20000U) << "no more than half is dropped";
  EXPECT_EQ(events.back().sequence, appended);
  EXPECT_EQ(events.size(), appended - events.front().sequence + 1) << "and no event in between is missing";
}

TEST_F(NodeStoreFull, EventsGoForTagsToo) {
  const auto store = create();
  ASSERT_TRUE(store->setEventLimit(100000).ok());
  const Event event = logEvent(std::string(orv::MAX_EVENT_TEXT_LENGTH, 'x'));
  for (int i = 0; i < 30000; ++i)
    ASSERT_TRUE(store->appendEvent(event).ok());
  // Their texts take 43 MiB (each has pages of its own), which are not left beside 30000 events.
  for (int i = 0; i < 5500; ++i) {
    const Status status = store->setTag("tag" + std::to_string(i), text(std::string(orv::MAX_TAG_TEXT_LENGTH, 't')));
    ASSERT_TRUE(status.ok()) << i << ": " << status.message;
  }
  EXPECT_GT(store->events().front().sequence, 1U);
  EXPECT_EQ(store->tags().size(), 5500U);
}

TEST_F(NodeStoreFull, WriteFailsWithASentenceWhereNothingCanGo) {
  const auto store = create();
  orv::EuRecord eu;
  eu.args = std::string(1024UL * 1024, 'a');
  Status status;
  for (eu.id = 1; status.ok() && eu.id < 100; ++eu.id)
    status = store->putEu(eu, nullptr);
  EXPECT_EQ(status.code, MDB_MAP_FULL);
  EXPECT_TRUE(contains(status.message, "the store is full")) << status.message;
  EXPECT_TRUE(contains(status.message, file())) << status.message;
  EXPECT_GT(store->eus().size(), 50U);
  EXPECT_TRUE(store->beginRun(someRun()).ok()) << "a new run forgets the EUs, and has space again";
  EXPECT_TRUE(store->setTag("a", u32(1)).ok());
}

// Runs `body` in a process that has `directory` on a file system of 256 KiB, filled but for `freeKib`.
// Returns what `body` returns, or -1 where a process may not have a file system of its own.
int onSmallFileSystem(const std::string &directory, size_t freeKib, const std::function<int()> &body) {
  constexpr int NOT_POSSIBLE = 99;
  constexpr size_t KIB = 1024;
  Child child([&] {
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", directory.c_str(), "tmpfs", 0, "size=256k") != 0) {
      return NOT_POSSIBLE;
    }
    const std::string filling((256 - freeKib) * KIB, 'x');
    const int file = open((directory + "/filling").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (write(file, filling.data(), filling.size()) != static_cast<ssize_t>(filling.size())) return NOT_POSSIBLE;
    close(file);
    return body();
  });
  const int status = child.waitForEnd();
  if (!WIFEXITED(status)) return status;
  return WEXITSTATUS(status) == NOT_POSSIBLE ? -1 : WEXITSTATUS(status);
}

TEST_F(NodeStoreFull, FullFileSystemIsReportedAtOpening) {
  for (const size_t freeKib : {0U, 4U, 64U, 76U}) {
    const int result = onSmallFileSystem(directory_.path(), freeKib, [&] {
      std::unique_ptr<NodeStore> store;
      const Status status = NodeStore::open(directory_.path(), Access::CREATE, store);
      return status.code == ENOSPC || status.code == EIO ? 0 : 1;
    });
    if (result == -1) GTEST_SKIP() << "no mount namespace";
    EXPECT_EQ(result, 0) << freeKib << " KiB free";
  }
}

TEST_F(NodeStoreFull, FileSystemThatFillsUpLaterIsReportedAndLosesNothing) {
  const int result = onSmallFileSystem(directory_.path(), 160, [&] {
    std::unique_ptr<NodeStore> store;
    if (!NodeStore::open(directory_.path(), Access::CREATE, store).ok()) return 1;
    uint32_t count = 0;
    while (count < 100 && store->setTag("tag" + std::to_string(count), text(std::string(2000, 'x'))).ok())
      ++count;
    if (count == 0 || count == 100) return 2;
    return store->tags().size() == count && store->tagIsSet("tag0") ? 0 : 3;
  });
  if (result == -1) GTEST_SKIP() << "no mount namespace";
  EXPECT_EQ(result, 0);
}

// --- Processes ------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreProcesses, SeeEachOthersTags) {
  const auto store = create();
  Child other([&] { return existing()->setTag("from.child", u32(1)).ok() ? 0 : 1; });
  ASSERT_EQ(other.waitForEnd(), 0);
  EXPECT_TRUE(store->tagIsSet("from.child"));
  EXPECT_NE(store->tag("from.child")->setterPid, static_cast<uint32_t>(getpid()));
}

TEST_F(NodeStoreProcesses, WriteAtTheSameTimeWithoutLoss) {
  constexpr int WRITERS = 4;
  constexpr int TAGS = 100;
  create();
  {
    std::vector<std::unique_ptr<Child>> children;
    for (int writer = 0; writer < WRITERS; ++writer) {
      children.push_back(std::make_unique<Child>([&, writer] {
        const auto store = existing();
        for (int tag = 0; tag < TAGS; ++tag) {
          if (!store->setTag("w" + std::to_string(writer) + "." + std::to_string(tag), u32(1)).ok()) return 1;
        }
        return 0;
      }));
    }
    for (const auto &child : children)
      EXPECT_EQ(child->waitForEnd(), 0);
  }
  const auto store = existing();
  EXPECT_EQ(store->tags().size(), static_cast<size_t>(WRITERS * TAGS));
  EXPECT_EQ(store->events().back().sequence, static_cast<uint64_t>(WRITERS * TAGS));
}

TEST_F(NodeStoreProcesses, KilledWriterHarmsNobody) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("kept", text("value")).ok());
  for (int round = 0; round < 60; ++round) {
    const Progress progress;
    Child writer([&] {
      const auto own = existing();
      for (uint32_t i = 0;; ++i) {
        if (!own->setTag("tag" + std::to_string(i % 50), text(std::string(i % 4000, 'x'))).ok()) return 1;
        if (!progress.tell()) return 2;
      }
    });
    // Somewhere in the change that follows this many.
    progress.await(1 + round % 7);
    writer.end(SIGKILL);
    const std::string name = "round" + std::to_string(round);
    ASSERT_TRUE(store->setTag(name, u32(1)).ok()) << round;
    ASSERT_TRUE(store->tagIsSet(name));
  }
  EXPECT_EQ(store->tag("kept")->value.text, "value");
  EXPECT_GE(store->tags().size(), 61U);
  uint64_t expected = store->events().front().sequence;
  for (const Event &event : store->events())
    ASSERT_EQ(event.sequence, expected++);
}

// Holds the lock of all writers, as a process that is in the middle of a change does.
int holdWriteLock(const std::string &file, const Progress &progress) {
  MDB_env *environment = nullptr;
  MDB_txn *transaction = nullptr;
  if (mdb_env_create(&environment) != 0 || mdb_env_set_maxdbs(environment, 5) != 0 ||
      mdb_env_open(environment, file.c_str(), MDB_NOSUBDIR | MDB_NOTLS | MDB_NOSYNC, 0640) != 0 ||
      mdb_txn_begin(environment, nullptr, 0, &transaction) != 0 || !progress.tell()) {
    return 1;
  }
  for (;;)
    pause();
}

TEST_F(NodeStoreProcesses, ReadingDoesNotWaitForAWriter) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("a", u32(1)).ok());
  const Progress progress;
  Child writer([&] { return holdWriteLock(file(), progress); });
  progress.await(1);
  EXPECT_TRUE(store->tagIsSet("a"));
  EXPECT_FALSE(store->tagIsSet("b"));
  EXPECT_EQ(store->tags().size(), 1U);
}

TEST_F(NodeStoreProcesses, WriterThatDiesWithTheLockGivesItBack) {
  const auto store = create();
  const Progress progress;
  Child writer([&] { return holdWriteLock(file(), progress); });
  progress.await(1);
  writer.end(SIGKILL);
  EXPECT_TRUE(store->setTag("a", u32(1)).ok());
  EXPECT_TRUE(store->tagIsSet("a"));
}

TEST_F(NodeStoreProcesses, PlacesOfKilledReadersAreUsedAgain) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("a", u32(1)).ok());
  constexpr int READERS_EACH = 8;  // what one process keeps at most
  // More places than there are, if none came back.
  constexpr int ROUNDS = 1024 / READERS_EACH + 10;
  for (int round = 0; round < ROUNDS; ++round) {
    const Progress progress;
    Child reader([&] {
      const auto own = existing();
      std::vector<std::thread> threads;
      for (int i = 0; i < READERS_EACH; ++i)
        threads.emplace_back([&] { own->tagIsSet("a"); });
      for (std::thread &thread : threads)
        thread.join();
      progress.tell();
      for (;;)
        pause();
      return 0;
    });
    progress.await(1);
    reader.end(SIGKILL);
  }
  EXPECT_TRUE(store->tagIsSet("a"));
  EXPECT_TRUE(isSetForAnother("a"));
}

// --- Threads --------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreThreads, ReadAndWriteAtTheSameTime) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("a", u32(1)).ok());
  constexpr int READERS = 12;  // more than read transactions are kept
  constexpr int WRITERS = 2;
  constexpr int ROUNDS = 300;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int reader = 0; reader < READERS; ++reader) {
    threads.emplace_back([&] {
      for (int round = 0; round < ROUNDS; ++round) {
        if (!store->tagIsSet("a") || store->tagIsSet("absent") || !store->tag("a")) ++failures;
      }
    });
  }
  for (int writer = 0; writer < WRITERS; ++writer) {
    threads.emplace_back([&, writer] {
      for (int round = 0; round < ROUNDS; ++round) {
        if (!store->setTag("w" + std::to_string(writer), u32(static_cast<uint32_t>(round))).ok()) ++failures;
      }
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(store->tag("w0")->value.number, static_cast<uint32_t>(ROUNDS - 1));
  EXPECT_EQ(store->events().back().sequence, static_cast<uint64_t>(WRITERS * ROUNDS + 1));
}

TEST_F(NodeStoreThreads, CancelledThreadDoesNotKeepTheLockOfTheWriters) {
  const auto store = create();
  for (int round = 0; round < 20; ++round) {
    std::atomic<bool> running{false};
    struct Argument {
      NodeStore *store;
      std::atomic<bool> *running;
    } argument{store.get(), &running};
    pthread_t thread;
    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void *raw) -> void * {
                    const auto *own = static_cast<Argument *>(raw);
                    const TagValue value = {TagType::U32, 1, {}};
                    for (;;) {
                      if (!own->store->setTag("a", value).ok()) return raw;
                      own->running->store(true);
                      pthread_testcancel();
                    }
                  },
                  &argument),
              0);
    while (!running)
      std::this_thread::yield();
    ASSERT_EQ(pthread_cancel(thread), 0);
    void *result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    ASSERT_TRUE(store->setTag("b", u32(1)).ok());
  }
}

}  // namespace
