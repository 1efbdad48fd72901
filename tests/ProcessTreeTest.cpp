// Which EU a process belongs to, by its parents, its group and its environment; and what a tag tells of who set it.
#include "ProcessTree.h"

#include <gtest/gtest.h>

#include <sys/prctl.h>

#include <filesystem>
#include <vector>

#include "Clock.h"
#include "NodeStoreFixture.h"
#include "WaitUntil.h"

using namespace storetest;

namespace {

using orv::EuProcesses;
using orv::EuRecord;
using orv::EuState;
using Provenance = NodeStoreTest;

EuRecord euOf(uint32_t id, const std::string &name, pid_t pid, EuState state = EuState::RUNNING) {
  EuRecord eu;
  eu.id = id;
  eu.name = name;
  eu.pid = static_cast<uint32_t>(pid);
  eu.state = state;
  return eu;
}

uint32_t ownPid() {
  return static_cast<uint32_t>(getpid());
}

uint32_t pidOf(const Child &child) {
  return static_cast<uint32_t>(child.pid());
}

std::string ownExecutable() {
  return std::filesystem::read_symlink("/proc/self/exe").string();
}

// The EU of a process, "none" for none; with its id where the store does not know the EU.
std::string euNameOf(uint32_t pid, const EuProcesses &node) {
  const auto eu = orv::euOfProcess(pid, node);
  if (!eu) return "none";
  return eu->id == 0 ? eu->name + " (not in the store)" : eu->name;
}

// A process that waits for its end; `prepare` is what it does first.
class Waiting : public Child {
 public:
  explicit Waiting(const std::function<void()> &prepare = [] {}) : Waiting(prepare, Progress()) {}

 private:
  Waiting(const std::function<void()> &prepare, const Progress &ready)
      : Child([&] {
          prepare();
          ready.tell();
          for (;;)
            pause();
          return 0;
        }) {
    ready.await(1);
  }
};

// A process like Waiting, of another program and with an environment of its own.
class WaitingProgram {
 public:
  explicit WaitingProgram(std::vector<std::string> variables)
      : child_([&] {
          std::vector<char *> environment;
          for (std::string &variable : variables)
            environment.push_back(variable.data());
          environment.push_back(nullptr);
          dup2(open("/dev/null", O_RDWR | O_CLOEXEC), STDIN_FILENO);
          execle("/bin/sleep", "sleep", "1000", nullptr, environment.data());
          return 1;
        }) {
    // Until the kernel has put the program in the place of this one, and it has come to its sleep.
    const auto sleeps = [this] {
      return orv::identify(pidOf(child_)).executable != ownExecutable() &&
             orv::processStat(pidOf(child_)).value_or(orv::ProcessStat{}).state == 'S';
    };
    EXPECT_TRUE(comesTrue(sleeps));
  }
  uint32_t pid() const {
    return pidOf(child_);
  }

 private:
  Child child_;
};

// Runs `body` in a process whose parent is gone.
int asOrphan(const std::function<int()> &body) {
  int result = -1;
  int ends[2];
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  Child parent([&] {
    const pid_t own = getpid();
    const pid_t child = fork();
    if (child != 0) return 0;
    while (getppid() == own)
      usleep(100);
    const int answer = body();
    return write(ends[1], &answer, sizeof answer) == sizeof answer ? 0 : 1;
  });
  parent.waitForEnd();
  close(ends[1]);
  EXPECT_EQ(read(ends[0], &result, sizeof result), static_cast<ssize_t>(sizeof result));
  close(ends[0]);
  return result;
}

// --- Processes ------------------------------------------------------------------------------------------------------

TEST(ProcessStat, IsThatOfTheProcess) {
  const auto stat = orv::processStat(ownPid());
  ASSERT_TRUE(stat.has_value());
  EXPECT_EQ(stat->parentPid, static_cast<uint32_t>(getppid()));
  EXPECT_EQ(stat->group, static_cast<uint32_t>(getpgrp()));
  EXPECT_TRUE(stat->state == 'R' || stat->state == 'S') << stat->state;
  EXPECT_LE(orv::startedMonotonicNs(stat->startTicks), orv::monotonicNs());
}

TEST(ProcessStat, TakesANameOfAnyKind) {
  const Waiting child([] { EXPECT_EQ(prctl(PR_SET_NAME, "a) R 1 (b"), 0); });
  const auto stat = orv::processStat(pidOf(child));
  ASSERT_TRUE(stat.has_value());
  EXPECT_EQ(stat->name, "a) R 1 (b");
  EXPECT_EQ(stat->parentPid, ownPid());
}

TEST(ProcessStat, OfNoProcessIsNothing) {
  EXPECT_FALSE(orv::processStat(0).has_value());
  EXPECT_FALSE(orv::processStat(0xffffffff).has_value());
}

TEST(Identify, TellsTheExecutableTheUserAndTheStart) {
  const orv::Setter setter = orv::identify(ownPid());
  EXPECT_EQ(setter.pid, ownPid());
  EXPECT_EQ(setter.executable, ownExecutable());
  EXPECT_EQ(setter.uid, geteuid());
  EXPECT_EQ(setter.startTicks, orv::processStat(ownPid())->startTicks);
  EXPECT_EQ(setter.euName, "");
}

TEST(Identify, OfNoProcessKnowsNothing) {
  const orv::Setter setter = orv::identify(0xffffffff);
  EXPECT_EQ(setter.pid, 0xffffffffU);
  EXPECT_EQ(setter.startTicks, 0U);
  EXPECT_EQ(setter.executable, "");
}

// --- EUs ------------------------------------------------------------------------------------------------------------

TEST(EuOfProcess, IsThatOfTheProgramAndOfItsDescendants) {
  const Waiting child;
  const EuProcesses program{{euOf(1, "other", 1), euOf(2, "radioCtrl", child.pid())}, 0, "/"};
  EXPECT_EQ(euNameOf(pidOf(child), program), "radioCtrl");
  const EuProcesses parent{{euOf(2, "radioCtrl", getpid())}, 0, "/"};
  EXPECT_EQ(euNameOf(pidOf(child), parent), "radioCtrl");
}

TEST(EuOfProcess, OfAGroupOfItsOwnIsFoundByItsParents) {
  const Waiting child([] { setsid(); });
  EXPECT_EQ(euNameOf(pidOf(child), {{euOf(2, "radioCtrl", getpid())}, 0, "/"}), "radioCtrl");
}

TEST(EuOfProcess, IsNoneForTheDaemonAndForWhatIsNoProgramOfTheNode) {
  const Waiting child;
  EXPECT_EQ(euNameOf(ownPid(), {{euOf(2, "radioCtrl", child.pid())}, ownPid(), "/"}), "none");
  EXPECT_EQ(euNameOf(pidOf(child), {{euOf(2, "radioCtrl", child.pid() + 1)}, 0, "/"}), "none");
  EXPECT_EQ(euNameOf(0, {{euOf(2, "no program", 0)}, 0, "/"}), "none");
  EXPECT_EQ(euNameOf(0xffffffff, {{}, 0, "/"}), "none");
}

TEST(EuOfProcess, IsNotThatOfAProgramThatEndedAndWhoseNumberIsUsedAgain) {
  const Waiting child([] { setpgid(0, 0); });
  EXPECT_EQ(euNameOf(pidOf(child), {{euOf(2, "ended", child.pid(), EuState::PROGRAM_ENDED)}, 0, "/"}), "none");
  // The later of two with one number.
  EXPECT_EQ(euNameOf(pidOf(child), {{euOf(2, "ended", child.pid(), EuState::PROGRAM_ENDED),
                                     euOf(3, "now", child.pid(), EuState::RUNNING)},
                                    0,
                                    "/"}),
            "now");
}

TEST(EuOfProcess, OfAGroupWhoseProgramEndedIsFoundByTheGroup) {
  EXPECT_EQ(asOrphan([] {
              // What was its group when its parent, a program that leads a group, was there: made anew here by a child
              // that is gone.
              const Progress made;
              const pid_t leader = fork();
              if (leader == 0) {
                setpgid(0, 0);
                made.tell();
                for (;;)
                  pause();
              }
              made.await(1);
              if (setpgid(0, leader) != 0) return 1;
              kill(leader, SIGKILL);
              waitpid(leader, nullptr, 0);
              const EuProcesses node{{euOf(2, "radioCtrl", leader, EuState::PROGRAM_ENDED)}, 0, "/"};
              return euNameOf(ownPid(), node) == "radioCtrl" ? 0 : 2;
            }),
            0);
}

TEST(EuOfProcess, ThatLeftEverythingIsFoundByItsEnvironment) {
  const FreshDirectory node;
  const EuProcesses known{{euOf(2, "radioCtrl", 0x7fffffff)}, 0, node.path()};
  const WaitingProgram program({"HOME=/", "ORV_EU_NAME=radioCtrl", "ORV_NODE_DIR=" + node.path()});
  EXPECT_EQ(euNameOf(program.pid(), known), "radioCtrl");
  const WaitingProgram spelled({"ORV_NODE_DIR=" + node.path() + "/.", "ORV_EU_NAME=radioCtrl"});
  EXPECT_EQ(euNameOf(spelled.pid(), known), "radioCtrl");
  const WaitingProgram ofAnotherNode({"ORV_NODE_DIR=/", "ORV_EU_NAME=radioCtrl"});
  EXPECT_EQ(euNameOf(ofAnotherNode.pid(), known), "none");
  const WaitingProgram unknown({"ORV_NODE_DIR=" + node.path(), "ORV_EU_NAME=radio", "XORV_EU_NAME=radioCtrl"});
  EXPECT_EQ(euNameOf(unknown.pid(), known), "none");
  const WaitingProgram silent({});
  EXPECT_EQ(euNameOf(silent.pid(), known), "none");
}

TEST(EuOfProcess, OfTheDaemonsChildIsKnownBeforeTheStoreKnowsIt) {
  const FreshDirectory node;
  const WaitingProgram program({"ORV_NODE_DIR=" + node.path(), "ORV_EU_NAME=radioCtrl"});
  EXPECT_EQ(euNameOf(program.pid(), {{}, ownPid(), node.path()}), "radioCtrl (not in the store)");
  EXPECT_EQ(euNameOf(program.pid(), {{euOf(7, "radioCtrl", 0, EuState::CREATED)}, ownPid(), node.path()}), "radioCtrl");
  EXPECT_EQ(euNameOf(program.pid(), {{}, ownPid(), "/"}), "none");
}

// --- Tags -----------------------------------------------------------------------------------------------------------

TEST_F(Provenance, TagTellsTheProcessThatSetItAndItsEu) {
  const auto store = create();
  ASSERT_TRUE(store->beginRun(someRun()).ok());
  ASSERT_TRUE(store->putEu(euOf(4, "radioCtrl", getpid()), nullptr).ok());
  Child program([&] { return existing()->setTag("radio.online", u32(1)).ok() ? 0 : 1; });
  const uint32_t pid = pidOf(program);
  ASSERT_EQ(program.waitForEnd(), 0);
  const auto tag = store->tag("radio.online");
  ASSERT_TRUE(tag.has_value());
  EXPECT_EQ(tag->setter.pid, pid);
  EXPECT_GE(tag->setter.startTicks, orv::processStat(ownPid())->startTicks);
  EXPECT_EQ(tag->setter.uid, geteuid());
  EXPECT_EQ(tag->setter.executable, ownExecutable());
  EXPECT_EQ(tag->setter.euName, "radioCtrl");
  EXPECT_EQ(tag->setter.euId, 4U);
  EXPECT_EQ(tag->run, 1U);
  EXPECT_EQ(store->events().back().euId, 4U) << "and so does the event";
  EXPECT_EQ(store->events().back().pid, pid);
}

TEST_F(Provenance, ConfigurationIsOfWhoAppliesIt) {
  const auto store = create();
  NodeStore::Settings settings;
  settings.tags = {{"configured", u32(1)}};
  ASSERT_TRUE(store->apply(settings).ok());
  EXPECT_EQ(store->tag("configured")->setter.pid, ownPid());
  EXPECT_EQ(store->tag("configured")->setter.executable, ownExecutable());
}

TEST_F(Provenance, CanBeSomebodyElses) {
  const auto store = create();
  const orv::Setter setter = {77, 88, 99, "/usr/bin/radio", "radioCtrl", 5};
  ASSERT_TRUE(store->setTag("radio.online", u32(1), setter).ok());
  const auto tag = store->tag("radio.online");
  EXPECT_EQ(tag->setter.pid, 77U);
  EXPECT_EQ(tag->setter.startTicks, 88U);
  EXPECT_EQ(tag->setter.uid, 99U);
  EXPECT_EQ(tag->setter.executable, "/usr/bin/radio");
  EXPECT_EQ(tag->setter.euName, "radioCtrl");
  EXPECT_EQ(store->events().back().pid, 77U);
  EXPECT_EQ(store->events().back().euId, 5U);
}

TEST_F(Provenance, LongTextsOfASetterAreCut) {
  const auto store = create();
  const std::string tooLong(orv::MAX_SETTER_TEXT_LENGTH + 1, 'x');
  ASSERT_TRUE(store->setTag("a", u32(1), {1, 2, 3, tooLong, tooLong, 4}).ok());
  EXPECT_EQ(store->tag("a")->setter.executable, tooLong.substr(1));
  EXPECT_EQ(store->tag("a")->setter.euName, tooLong.substr(1));
}

}  // namespace
