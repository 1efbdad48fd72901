// A node on a board whose resets and boots the test makes: see programs/fake-board.cpp.
#ifndef ORV_TESTS_FAKEBOARD_H
#define ORV_TESTS_FAKEBOARD_H

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "FlightRecord.h"
#include "ProcessTable.h"
#include "TestNode.h"

class FakeBoard : public DaemonTest {
 protected:
  using Lines = std::vector<std::string>;

  FakeBoard() {
    node.writeFile("watchdog", "");
    std::filesystem::create_directories(watchdog());
    std::filesystem::create_directories(node.path("pstore"));
    boot(1);
    bootStatus("0");
    setUp();
  }

  // The configuration: resets by the watchdog, allowed; the board's word where the test writes it; `attributes` for
  // <board>, and more tags.
  void setUp(const std::string &attributes = "", const std::string &tags = "") const {
    node.configure(
        "<tags><tag name=\"orv.service.aapro.watchdog_enabled\">1</tag><tag name=\"orv.board.watchdogclass\">" +
        node.path("watchdogs") + "</tag><tag name=\"orv.board.pstore\">" + node.path("pstore") + "</tag>" + tags +
        "</tags><board reset=\"watchdog\" watchdogDevice=\"" + node.path("watchdog") + "\" " + attributes + "/>");
  }

  // The machine boots: the boot id of that number.
  void boot(unsigned number) const {
    node.writeFile("boot-id", "00000000-0000-4000-8000-00000000000" + std::to_string(number) + "\n");
  }
  // What the board's watchdog says of the last reset.
  void bootStatus(const std::string &flags) const {
    node.writeFile("watchdogs/watchdog0/bootstatus", flags + "\n");
    node.writeFile("watchdogs/watchdog0/identity", "Board Dog\n");
  }
  std::string fileText(const std::string &name) const {
    std::ostringstream text;
    text << std::ifstream(node.path(name)).rdbuf();
    return text.str();
  }
  // A program that writes `words`, one a line, and exits with `code`.
  std::string failingProgram(const Lines &words, int code) const {
    std::string text = "#!/bin/sh\n";
    for (const std::string &word : words)
      text += "echo '" + word + "'\n";
    node.writeFile("pump", text + "exit " + std::to_string(code) + "\n");
    chmod(node.path("pump").c_str(), 0755);
    return node.path("pump");
  }

  std::vector<std::string> environment(const Lines &more = {}) const {
    // The sanitizer's own library is not the first then, which it would take for a mistake.
    const char *options = std::getenv("ASAN_OPTIONS");
    std::vector<std::string> variables = node.environment();
    variables.insert(
        variables.end(),
        {"LD_PRELOAD=" ORV_FAKE_BOARD, "FAKE_BOARD_BOOT_ID=" + node.path("boot-id"),
         "FAKE_BOARD_WATCHDOG=" + node.path("watchdog"),
         "ASAN_OPTIONS=" + std::string(options == nullptr ? "" : options) + ":verify_asan_link_order=0", "TZ=UTC"});
    variables.insert(variables.end(), more.begin(), more.end());
    return variables;
  }
  std::unique_ptr<DaemonProcess> start(const Lines &more = {}) const {
    ProcessStart start;
    start.environment = environment(more);
    return node.daemon({"-v"}, start);
  }
  // Starts the daemon and waits for the reset of the board that it requests.
  void startUntilReset(const Lines &more = {}) const {
    const auto daemon = start(more);
    const int waitStatus = daemon->waitForExit();
    EXPECT_TRUE(WIFSIGNALED(waitStatus) && WTERMSIG(waitStatus) == SIGKILL) << waitStatus;
    waitForNoDescendants();  // a board's reset leaves nobody behind; here it is the daemon's guard who sees to that
  }
  // Starts the daemon, waits until its start-up is complete and ends it.
  Lines startAndStop(const Lines &more = {}) const {
    const auto daemon = start(more);
    daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
    expectGracefulEnd(*daemon);
    return daemon->errorLines();
  }
  // Starts the daemon and kills it once its start-up is complete and on record.
  void startAndKill() const {
    const uint64_t before = lastEntry();
    const auto daemon = start();
    daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (lastEntry() == before && std::chrono::steady_clock::now() < limit)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    daemon->signal(SIGKILL);
    daemon->waitForExit();
    waitForNoDescendants();
  }

  CommandResult orvctl(const Lines &arguments) const {
    ProcessStart start;
    start.arguments = {ORV_ORVCTL_EXE};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    start.environment = environment();
    return runCommand(start);
  }
  // The five lines of the story, times replaced by TIME and ages by AGE; the stages of a start-up without a wait left
  // out.
  Lines story() const;
  orv::FlightRecord flight() const {
    orv::FlightRecord record;
    const orv::Status status = orv::readFlightRecord(node.path("state"), record);
    EXPECT_TRUE(status.ok()) << status.message;
    return record;
  }

 private:
  uint64_t lastEntry() const {
    const orv::FlightRecord record = flight();
    return record.entries.empty() ? 0 : record.entries.back().sequence;
  }
  std::string watchdog() const {
    return node.path("watchdogs/watchdog0");
  }
};

#endif
