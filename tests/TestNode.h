// One node of a test's own: its directories, its files, and what it says of itself.
//
// Everything lies in a fresh directory, removed at the end together with every process that the test has caused.
#ifndef ORV_TESTS_TESTNODE_H
#define ORV_TESTS_TESTNODE_H

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DaemonProcess.h"
#include "NodeStore.h"

// The daemon's log lines as they stand on standard error.
std::string infoLine(const std::string &message);
std::string warningLine(const std::string &message);
std::string errorLine(const std::string &message);

// The lines that do not come from one of the daemon's `functions`: what runs beside the start-up puts its lines
// anywhere between the others.
std::vector<std::string> withoutLinesOf(const std::vector<std::string> &functions,
                                        const std::vector<std::string> &lines);

// How many lines hold `part`.
unsigned countLinesWith(const std::string &part, const std::vector<std::string> &lines);

class TestNode {
 public:
  TestNode();
  ~TestNode();
  TestNode(const TestNode &) = delete;
  TestNode &operator=(const TestNode &) = delete;

  // A name in the test's directory, which is short: the fields that hold paths are not long.
  std::string path(const std::string &name) const;
  std::string nodeDirectory() const {
    return path("node");
  }
  // The program that does whatever its arguments say.
  std::string program() const {
    return path("program");
  }

  void writeFile(const std::string &name, const std::string &text) const;
  // Writes the configuration file: the name of the application definition file, and `elements` beside it.
  void configure(const std::string &elements) const;
  // Writes the application definition file, which has no definition before.
  void define(const std::vector<std::string> &lines) const;

  // The variables that make a process one of this node.
  std::vector<std::string> environment() const;

  // Starts the daemon; `start` holds what is not as usual, its arguments a command that executes what follows it.
  std::unique_ptr<DaemonProcess> daemon(const std::vector<std::string> &arguments, ProcessStart start = {}) const;
  // Starts the daemon and waits until its start-up is complete, and its signals armed with it.
  std::unique_ptr<DaemonProcess> startedDaemon(const std::vector<std::string> &arguments,
                                               const ProcessStart &start = {}) const;
  // Runs the operator's tool to its end.
  CommandResult orvctl(const std::vector<std::string> &arguments) const;

  std::optional<orv::Tag> tag(const std::string &name) const;
  // The tag as text: "u16 4", "u32 65540", "string hello", "not set".
  std::string tagText(const std::string &name) const;
  std::vector<orv::EuRecord> eus() const;
  std::vector<orv::Event> events() const;
  orv::ProgramOutput output(uint32_t euId) const;
  std::map<uint32_t, std::string> euStatuses() const;
  // The texts of the raised errors, oldest first; waits until there are `count` of them.
  std::vector<std::string> raisedErrors(size_t count = 0) const;

  // Each throws after the limit.
  void waitForTag(const std::string &name) const;
  orv::EuRecord waitForEu(const std::string &name, orv::EuState state) const;
  orv::EuRecord waitForFinishedEu(const std::string &name) const;
  orv::Event waitForEvent(orv::EventKind kind, const std::string &part) const;

 private:
  std::unique_ptr<orv::NodeStore> store() const;

  std::string directory_;
};

class DaemonTest : public testing::Test {
 protected:
  TestNode node;
};

// Ends the daemon with SIGTERM and checks that this is a graceful end which leaves nothing behind.
void expectGracefulEnd(DaemonProcess &daemon);

#endif
