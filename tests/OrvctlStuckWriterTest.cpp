// What orvctl says where a process that is stopped in the middle of a change holds up every other writer.
#include <gtest/gtest.h>
#include <lmdb.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "OrvctlFixture.h"

using namespace orvctltest;

namespace {

using OrvctlStuckWriter = Orvctl;

// A process that is stopped while it holds the lock of all writers.
class StoppedWriter {
 public:
  explicit StoppedWriter(const std::string &file) : pid_(fork()) {
    if (pid_ == 0) _exit(stopInTheMiddle(file));
    int status = 0;
    EXPECT_EQ(waitpid(pid_, &status, WUNTRACED), pid_);
    EXPECT_TRUE(WIFSTOPPED(status)) << status;
  }
  ~StoppedWriter() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  StoppedWriter(const StoppedWriter &) = delete;
  StoppedWriter &operator=(const StoppedWriter &) = delete;

  pid_t pid() const {
    return pid_;
  }
  // It goes on, and gives the lock back.
  void goOn() const {
    kill(pid_, SIGCONT);
  }

 private:
  static int stopInTheMiddle(const std::string &file) {
    MDB_env *environment = nullptr;
    MDB_txn *transaction = nullptr;
    if (mdb_env_create(&environment) != 0 || mdb_env_set_maxdbs(environment, 8) != 0 ||
        mdb_env_open(environment, file.c_str(), MDB_NOSUBDIR | MDB_NOTLS | MDB_NOSYNC, 0640) != 0 ||
        mdb_txn_begin(environment, nullptr, 0, &transaction) != 0) {
      return 1;
    }
    raise(SIGSTOP);
    mdb_txn_abort(transaction);
    return 0;
  }

  pid_t pid_;
};

TEST_F(OrvctlStuckWriter, IsNamedToWhoWaitsForItAndTheChangeIsMadeInTheEnd) {
  store();
  const StoppedWriter writer(node() + "/node.mdb");
  ProcessStart start;
  start.arguments = {ORVCTL_PATH, "--node-dir", node(), "tag", "set", "a", "5"};
  DaemonProcess tool(start);
  const std::string executable = std::filesystem::read_symlink("/proc/self/exe").string();
  tool.waitForErrorLine("orvctl: still waiting for another process that changes the node store: pid " +
                        std::to_string(writer.pid()) + " (" + executable +
                        ") is stopped (let it go on, kill -CONT, or end it)");
  EXPECT_EQ(complaint(NO, {"tag", "get", "a"}), "orvctl: tag a is not set") << "reading is not held up";
  writer.goOn();
  EXPECT_EQ(tool.waitForExit(), 0);
  EXPECT_EQ(output(DONE, {"tag", "get", "a"}), "5\n");
}

}  // namespace
