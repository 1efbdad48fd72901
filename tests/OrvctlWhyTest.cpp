// orvctl status, why, errors and report on whole nodes: one that waits, one whose daemon is dead, one whose daemon
// hangs.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "TestNode.h"
#include "WaitUntil.h"

namespace {

using Lines = std::vector<std::string>;

class OrvctlWhy : public DaemonTest {
 protected:
  // radio comes online; pump sets a tag that nobody waits for; valve has its turn after it.
  std::unique_ptr<DaemonProcess> waitingNode() {
    node.define({"radio;" + node.program() + ";online radio.online;0;1;radio.online",
                 "pump;" + node.program() + ";online pump.onlin;0;3;pump.online",
                 "valve;" + node.program() + ";stay;0;1;"});
    auto daemon = node.daemon({"--startup=nid=0x11,masternid=0x10"});
    daemon->waitForErrorLineWith("for pump.online to be set");
    node.waitForTag("pump.onlin");
    node.waitForEvent(orv::EventKind::WAIT_BEGAN, "pump.online");
    return daemon;
  }
  std::string run(int exitCode, const Lines &arguments) {
    const CommandResult result = node.orvctl(arguments);
    EXPECT_TRUE(WIFEXITED(result.waitStatus));
    std::string text;
    for (const std::string &line : result.output)
      text += line + "\n";
    for (const std::string &line : result.errors)
      text += line + "\n";
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), exitCode) << text;
    return text;
  }
  static void expectHolds(const std::string &text, const Lines &parts) {
    for (const std::string &part : parts)
      EXPECT_NE(text.find(part), std::string::npos) << "no \"" << part << "\" in\n" << text;
  }
  static std::string firstLine(const std::string &text) {
    return text.substr(0, text.find('\n'));
  }
};

TEST_F(OrvctlWhy, NodeThatWaitsSaysForWhomAndWhy) {
  const auto daemon = waitingNode();
  expectHolds(run(0, {"status"}),
              {"role      slave of 0x0010\n", "start-up  waiting for pump (tag pump.online) for ", "at most\n",
               "  awaiting tag pump.online  ", "  waits for its turn ", "  raises an error, resets the board  "});
  EXPECT_EQ(firstLine(run(1, {"why", "pump"})),
            "pump is not online: it set tag \"pump.onlin\", and the start-up waits for \"pump.online\" (is one of them "
            "misspelt?).");
  EXPECT_EQ(run(1, {"why"}).substr(0, 18), "pump is not online");
  EXPECT_EQ(firstLine(run(1, {"why", "valve"})),
            "valve waits for its turn: the start-up is at pump, whose tag pump.online is not set (orvctl why pump).");
  EXPECT_EQ(run(0, {"why", "radio"}).substr(0, 15), "radio is online");
  EXPECT_EQ(run(1, {"why", "pmup"}),
            "orvctl: there is no program \"pmup\" (did you mean \"pump\"? there are: ceInternalStartupEu, radio, pump, "
            "valve)\n");
}

TEST_F(OrvctlWhy, StoppedProgramIsTheCause) {
  const auto daemon = waitingNode();
  const orv::EuRecord pump = node.waitForEu("pump", orv::EuState::RUNNING);
  kill(static_cast<pid_t>(pump.pid), SIGSTOP);
  const std::string pid = std::to_string(pump.pid);
  node.orvctl({"tag", "unset", "pump.onlin"});
  // The process stops in its own time.
  EXPECT_TRUE(comesTrue([&] { return run(1, {"why", "pump"}).find("stopped by a signal") != std::string::npos; }));
  EXPECT_EQ(firstLine(run(1, {"why", "pump"})),
            "pump is not online: pid " + pid + " is stopped by a signal (kill -CONT " + pid + " lets it go on).");
}

TEST_F(OrvctlWhy, EverythingIsThereWhenTheDaemonIsKilled) {
  const auto daemon = waitingNode();
  daemon->signal(SIGKILL);
  daemon->waitForExit();
  const std::string pid = std::to_string(daemon->pid());
  expectHolds(run(0, {"status"}), {"state     down: the daemon died without a shutdown\n", "pid " + pid + ", dead\n",
                                   "start-up  interrupted: the daemon ended before it was complete\n",
                                   "  ended with the daemon  ", "  not started "});
  EXPECT_EQ(firstLine(run(1, {"why", "pump"})),
            "pump was not online yet: the daemon (pid " + pid + ") is dead, and took its programs with it.");
  EXPECT_EQ(firstLine(run(1, {"why", "valve"})), "valve was not started: the daemon (pid " + pid + ") is dead.");
  EXPECT_EQ(run(0, {"why"}), "The start-up waits for nobody.\n");
  EXPECT_EQ(run(0, {"errors"}), "No error was raised.\n");
}

TEST_F(OrvctlWhy, StoppedDaemonIsSaidToHang) {
  const auto daemon = waitingNode();
  daemon->signal(SIGSTOP);
  siginfo_t stopped = {};
  waitid(P_PID, static_cast<id_t>(daemon->pid()), &stopped, WSTOPPED | WNOWAIT);
  const std::string pid = std::to_string(daemon->pid());
  expectHolds(run(0, {"status"}),
              {"daemon    pid " + pid + ", stopped: it does nothing until it is continued (kill -CONT " + pid + ")\n"});
  EXPECT_EQ(firstLine(run(1, {"why", "valve"})), "valve is not started, since the daemon (pid " + pid +
                                                     ") is stopped (kill -CONT " + pid + " lets it go on).");
  daemon->signal(SIGCONT);
}

TEST_F(OrvctlWhy, ExecutablesAndFailuresHaveTheirCauses) {
  node.writeFile("notfound.sh", "#!/bin/sh\nno-such-command\n");
  std::filesystem::permissions(node.path("notfound.sh"), std::filesystem::perms(0755));
  node.define({"gone;" + node.path("none") + ";;0;1;", "shell;" + node.path("notfound.sh") + ";;0;1;",
               "plain;" + node.program() + ";stay;0;0;"});
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " online exe.online#exe.online"});
  node.raisedErrors(2);
  // What the program wrote and the start of the last one may be recorded after that.
  node.waitForEvent(orv::EventKind::LAST_WORDS, "no-such-command");
  node.waitForEu("plain", orv::EuState::RUNNING);
  EXPECT_EQ(run(0, {"why", node.program()}).substr(0, node.program().size() + 10), node.program() + " is online");
  EXPECT_EQ(run(0, {"why", "program"}).substr(0, node.program().size() + 10), node.program() + " is online");
  EXPECT_EQ(firstLine(run(1, {"why", "gone"})), "gone could not be started: there is no \"" + node.path("none") +
                                                    "\", or the interpreter that it names is not on this machine.");
  EXPECT_NE(firstLine(run(1, {"why", "shell"}))
                .find("shell exited with 127, by which a shell says that it did not find a command; its last line was"),
            std::string::npos);
  EXPECT_EQ(firstLine(run(0, {"why", "plain"})), "plain runs, and has no online tag, so nothing waits for it.");
  expectHolds(run(0, {"errors"}),
              {"  gone   0     0x12345678  ORV_Daemon/src/OrvDaemon:900  failure of application gone\n",
               "  failure of application shell\n"});
}

TEST_F(OrvctlWhy, ReportIsWrittenAsAWholeAndHasItAll) {
  const auto daemon = waitingNode();
  EXPECT_EQ(run(0, {"report", "-o", node.path("node.html")}), node.path("node.html") + "\n");
  std::ifstream file(node.path("node.html"));
  std::ostringstream page;
  page << file.rdbuf();
  expectHolds(page.str(),
              {"<title>Report on node 0x0011</title>", "<svg ", "pump is not online: it set tag &quot;pump.onlin&quot;",
               "<code>radio.online</code>", "AppDef.txt", "How the last run ended", "</html>\n"});
  EXPECT_EQ(run(0, {"report", "-o", "-"}).substr(0, 15), "<!DOCTYPE html>");
  EXPECT_NE(run(3, {"report", "-o", node.path("none/x.html")}).find("orvctl: "), std::string::npos);
}

}  // namespace
