// Programs that speak systemd's readiness protocol.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "HeldStore.h"
#include "ProcessTable.h"
#include "TestNode.h"
#include "WaitUntil.h"

namespace {

using Lines = std::vector<std::string>;

class DaemonReadiness : public DaemonTest {
 protected:
  // The definition of an application that is a Python script; `notify(text)` is there, `tag` its online tag.
  std::string script(const std::string &name, const std::string &text, const std::string &tag = "") const {
    node.writeFile(name + ".py",
                   "import os, socket, sys, time\n"
                   "def notify(text, ancillary=[]):\n"
                   "  address = os.environ['NOTIFY_SOCKET']\n"
                   "  with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as s:\n"
                   "    if address[0] == '@': address = '\\0' + address[1:]\n"
                   "    s.connect(address)\n"
                   "    s.sendmsg([text.encode()], ancillary)\n" +
                       text);
    return name + ";/usr/bin/python3;" + node.path(name + ".py") + ";0;0;" + tag;
  }

  orv::Tag readyTag(const std::string &eu) const {
    node.waitForTag("eu." + eu + ".ready");
    return *node.tag("eu." + eu + ".ready");
  }

  std::string statusOf(const std::string &eu) const {
    std::string status = "none";
    comesTrue([&] {
      const auto statuses = node.euStatuses();
      for (const orv::EuRecord &record : node.eus()) {
        if (record.name == eu && statuses.contains(record.id)) status = statuses.at(record.id);
      }
      return status != "none";
    });
    return status;
  }
};

constexpr const char *STAY = "while True: time.sleep(1000)\n";

}  // namespace

TEST_F(DaemonReadiness, ReadyProgramIsOnlineForTheDefinitionThatNamesItsTag) {
  node.define({script("app", std::string("notify('READY=1')\n") + STAY, "eu.app.ready"),
               "next;" + node.program() + ";stay;0;0;"});
  const auto daemon = node.startedDaemon({"-v"});
  const orv::Tag tag = readyTag("app");
  EXPECT_EQ(tag.value.type, orv::TagType::STRING);
  EXPECT_EQ(tag.value.text, "1");
  EXPECT_EQ(tag.setter.euName, "app");
  EXPECT_EQ(tag.setter.pid, node.waitForEu("app", orv::EuState::RUNNING).pid);
  EXPECT_TRUE(tag.setter.executable.find("python3") != std::string::npos) << tag.setter.executable;
  EXPECT_NE(node.waitForEvent(orv::EventKind::PROGRAM_READY, "is ready").euId, 0U);
  daemon->waitForOutputLineWith("running ");
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonReadiness, DescendantSpeaksForItsProgram) {
  node.define({script("app", std::string("if os.fork() == 0:\n  os.setsid()\n  notify('READY=1')\n") + STAY)});
  const auto daemon = node.startedDaemon({"-v"});
  const orv::Tag tag = readyTag("app");
  EXPECT_EQ(tag.setter.euName, "app");
  EXPECT_NE(tag.setter.pid, node.waitForEu("app", orv::EuState::RUNNING).pid);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonReadiness, StatusIsShownByTheOperatorsTool) {
  node.define({script("app", std::string("notify('STATUS=42 % loaded\\nMAINPID=1')\n") + STAY)});
  const auto daemon = node.startedDaemon({"-v"});
  EXPECT_EQ(statusOf("app"), "42 % loaded");
  EXPECT_EQ(countLinesWith("42 % loaded", node.orvctl({"status"}).output), 1U);
  EXPECT_FALSE(node.tag("eu.app.ready").has_value());
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonReadiness, BarrierIsAnsweredWhenWhatCameBeforeItIsDone) {
  // The reading end sees the end of the pipe once the daemon has closed what it was passed. A process that ends then
  // has been looked at.
  node.define({script("app",
                      "import array\n"
                      "if os.fork() == 0:\n"
                      "  notify('READY=1')\n"
                      "  reading, writing = os.pipe()\n"
                      "  notify('BARRIER=1', [(socket.SOL_SOCKET, socket.SCM_RIGHTS, array.array('i', [writing]))])\n"
                      "  os.close(writing)\n"
                      "  os.read(reading, 1)\n"
                      "  os._exit(0)\n"
                      "os.wait()\n"
                      "print('barrier passed', flush=True)\n" +
                          std::string(STAY))});
  const auto daemon = node.startedDaemon({"-v"});
  daemon->waitForOutputLineWith("barrier passed");
  EXPECT_EQ(readyTag("app").setter.euName, "app");
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonReadiness, ProgramThatSpeaksWithoutAnEndHoldsUpNobodyElse) {
  // Its sixteen processes wait for room in the socket, which has ten places, so that it is hardly ever empty.
  node.define({script("flood",
                      "s = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)\n"
                      "s.connect(os.environ['NOTIFY_SOCKET'])\n"
                      "for i in range(4): os.fork()\n"
                      "while True: s.send(b'STATUS=still here')\n"),
               "app;/bin/sh;" + node.path("app.sh") + ";0;0;"});
  node.writeFile("app.sh", "until [ -e " + node.path("go") + " ]; do sleep 0.01; done\nseq 1000000\n");
  const auto daemon = node.startedDaemon({"-v"});
  EXPECT_EQ(statusOf("flood"), "still here");
  node.writeFile("go", "");
  // Its pipe takes a hundredth of what it writes.
  EXPECT_EQ(node.waitForFinishedEu("app").waitStatus, 0);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonReadiness, WhatIsSaidAgainAndAgainWhileTheStoreIsLockedIsRecordedOnce) {
  node.define({script("app",
                      "import array\n"
                      "while not os.path.exists('" +
                          node.path("go") +
                          "'): time.sleep(0.01)\n"
                          "for i in range(200): notify('READY=1')\n"
                          "reading, writing = os.pipe()\n"
                          "notify('BARRIER=1', [(socket.SOL_SOCKET, socket.SCM_RIGHTS, array.array('i', [writing]))])\n"
                          "os.close(writing)\n"
                          "os.read(reading, 1)\n"
                          "print('barrier passed', flush=True)\n" +
                          std::string(STAY))});
  const auto daemon = node.startedDaemon({"-v"});
  node.waitForEu("app", orv::EuState::RUNNING);
  {
    const HeldStore held(node.nodeDirectory());
    node.writeFile("go", "");
    daemon->waitForOutputLineWith("barrier passed");
  }
  EXPECT_EQ(readyTag("app").setter.euName, "app");
  expectGracefulEnd(*daemon);
  unsigned times = 0;
  for (const orv::Event &event : node.events())
    times += event.kind == orv::EventKind::TAG_SET && event.text.starts_with("eu.app.ready") ? 1 : 0;
  // The first may have been on its way when the others came.
  EXPECT_TRUE(times == 1 || times == 2) << times;
}

TEST_F(DaemonReadiness, WhatTheStoreHasNoRoomForIsThereOnceItHas) {
  node.define({script("app", "while not os.path.exists('" + node.path("go") +
                                 "'): time.sleep(0.01)\n"
                                 "print('a line', flush=True)\n"
                                 "notify('READY=1\\nSTATUS=up')\n" +
                                 std::string(STAY))});
  ProcessStart start;
  start.ignoredSignals = {SIGXFSZ};
  const auto daemon = node.startedDaemon({"-v"}, start);
  node.waitForEu("app", orv::EuState::RUNNING);
  rlimit before{};
  // Less than the store's file has already: no page of it can be written.
  const rlimit none = {4096, RLIM_INFINITY};
  ASSERT_EQ(prlimit(daemon->pid(), RLIMIT_FSIZE, &none, &before), 0);
  node.writeFile("go", "");
  for (const char *refused : {"cannot set tag eu.app.ready", "cannot append output of EU", "cannot record the status"})
    daemon->waitForErrorLineWith(refused);
  EXPECT_FALSE(node.tag("eu.app.ready").has_value());
  ASSERT_EQ(prlimit(daemon->pid(), RLIMIT_FSIZE, &before, nullptr), 0);
  EXPECT_EQ(readyTag("app").setter.euName, "app");
  EXPECT_EQ(statusOf("app"), "up");
  const orv::ProgramOutput output = node.output(node.waitForEu("app", orv::EuState::RUNNING).id);
  ASSERT_EQ(output.first.size(), 1U);
  EXPECT_EQ(output.first[0].text, "a line");
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonReadiness, MessageOfAStrangerIsRefusedWithAWarning) {
  node.define({"app;" + node.program() + ";stay;0;0;"});
  const auto daemon = node.startedDaemon({"-v"});
  node.waitForEu("app", orv::EuState::RUNNING);
  const int stranger = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string path = node.nodeDirectory() + "/notify";
  ASSERT_LT(path.size(), sizeof address.sun_path);
  std::memcpy(address.sun_path, path.data(), path.size());
  ASSERT_EQ(sendto(stranger, "READY=1", 7, 0, reinterpret_cast<const sockaddr *>(&address), sizeof address), 7);
  EXPECT_EQ(node.waitForEvent(orv::EventKind::LOG, "readiness message of pid " + std::to_string(getpid()) +
                                                       " refused: it is no program of this node")
                .code,
            3U);
  EXPECT_FALSE(node.tag("eu.app.ready").has_value());
  close(stranger);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonReadiness, NodeDirectoryTooLongForASocketHasAnAbstractOne) {
  const std::string longDirectory = node.path(std::string(120, 'n'));
  node.define(
      {script("app", std::string("notify('READY=1')\nprint(os.environ['NOTIFY_SOCKET'], flush=True)\n") + STAY)});
  ProcessStart start;
  start.environment = {"ORV_NODE_DIR=" + longDirectory};
  const auto daemon = node.startedDaemon({"-v"}, start);
  EXPECT_EQ(daemon->waitForOutputLineWith("@orv-notify-"), "@orv-notify-" + std::to_string(daemon->pid()));
  const CommandResult waited =
      node.orvctl({"--node-dir", longDirectory, "tag", "wait", "eu.app.ready", "--timeout", "30"});
  EXPECT_EQ(waited.waitStatus, 0);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonReadiness, UnmodifiedRedisServerComesOnline) {
  ASSERT_EQ(access("/usr/bin/redis-server", X_OK), 0) << "scripts/setup installs it";
  node.define({"redis;/usr/bin/redis-server;--supervised systemd --port 0 --unixsocket " + node.path("redis.socket") +
                   " --save '' --dir " + node.path("") + ";0;0;eu.redis.ready",
               "client;/usr/bin/redis-cli;-s " + node.path("redis.socket") + " PING;0;0;"});
  const auto daemon = node.startedDaemon({"-v"});
  EXPECT_TRUE(readyTag("redis").setter.executable.starts_with("/usr/bin/redis-"))
      << readyTag("redis").setter.executable;
  // The next application was started when redis said that it was ready, and finds it there.
  EXPECT_EQ(daemon->waitForOutputLineWith("PONG"), "PONG");
  EXPECT_EQ(statusOf("redis"), "Ready to accept connections");
  expectGracefulEnd(*daemon);
}
