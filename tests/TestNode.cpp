#include "TestNode.h"

#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <thread>

#include "ProcessTable.h"
#include "WaitUntil.h"

namespace {

constexpr auto POLL_INTERVAL = std::chrono::milliseconds(10);

std::string makeDirectory() {
  char name[] = "/tmp/orv-XXXXXX";
  if (mkdtemp(name) == nullptr) throw std::runtime_error("cannot make a directory in /tmp");
  return name;
}

// Looks until `find` finds something.
template <class Result>
Result waitUntilFound(const std::string &wanted, const std::function<std::optional<Result>()> &find) {
  const auto deadline = std::chrono::steady_clock::now() + WAIT_LIMIT;
  for (;;) {
    if (const std::optional<Result> found = find()) return *found;
    if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("no " + wanted + " in time");
    std::this_thread::sleep_for(POLL_INTERVAL);
  }
}

}  // namespace

std::string infoLine(const std::string &message) {
  return "Info/ORV/OrvDaemon, " + message;
}

std::string warningLine(const std::string &message) {
  return "Warning/ORV/OrvDaemon, " + message;
}

std::string errorLine(const std::string &message) {
  return "Error/ORV/OrvDaemon, " + message;
}

std::vector<std::string> withoutLinesOf(const std::vector<std::string> &functions,
                                        const std::vector<std::string> &lines) {
  std::vector<std::string> rest;
  std::copy_if(lines.begin(), lines.end(), std::back_inserter(rest), [&](const std::string &line) {
    return std::none_of(functions.begin(), functions.end(), [&](const std::string &function) {
      return line.find("/ORV/OrvDaemon, " + function + ": ") != std::string::npos;
    });
  });
  return rest;
}

unsigned countLinesWith(const std::string &part, const std::vector<std::string> &lines) {
  return static_cast<unsigned>(std::count_if(
      lines.begin(), lines.end(), [&](const std::string &line) { return line.find(part) != std::string::npos; }));
}

TestNode::TestNode() : directory_(makeDirectory()) {
  adoptOrphans();
  std::filesystem::create_symlink(ORV_TEST_PROGRAM, program());
  define({});
  configure("");
}

TestNode::~TestNode() {
  try {
    killDescendants();
    std::filesystem::remove_all(directory_);
  } catch (const std::exception &error) {
    ADD_FAILURE() << "cannot clean up " << directory_ << ": " << error.what();
  }
}

std::string TestNode::path(const std::string &name) const {
  return directory_ + "/" + name;
}

void TestNode::writeFile(const std::string &name, const std::string &text) const {
  std::ofstream file(path(name), std::ios::binary);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path(name));
}

void TestNode::configure(const std::string &elements) const {
  writeFile("platform.xml", "<orv>\n  <tags><tag name=\"app.hwapi.appcfg.filename\">" + path("AppDef.txt") +
                                "</tag></tags>\n  " + elements + "\n</orv>\n");
}

void TestNode::define(const std::vector<std::string> &lines) const {
  std::string text;
  for (const std::string &line : lines)
    text += line + "\n";
  writeFile("AppDef.txt", text);
}

std::vector<std::string> TestNode::environment() const {
  return {"ORV_NODE_DIR=" + nodeDirectory(), "ORV_STATE_DIR=" + path("state"), "ORV_CONFIG=" + path("platform.xml")};
}

std::unique_ptr<DaemonProcess> TestNode::daemon(const std::vector<std::string> &arguments, ProcessStart start) const {
  start.arguments.emplace_back(ORV_DAEMON_EXE);
  start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
  const std::vector<std::string> own = environment();
  start.environment.insert(start.environment.begin(), own.begin(), own.end());
  return std::make_unique<DaemonProcess>(start);
}

std::unique_ptr<DaemonProcess> TestNode::startedDaemon(const std::vector<std::string> &arguments,
                                                       const ProcessStart &start) const {
  auto started = daemon(arguments, start);
  started->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  return started;
}

CommandResult TestNode::orvctl(const std::vector<std::string> &arguments) const {
  ProcessStart start;
  start.arguments = {ORV_ORVCTL_EXE};
  start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
  start.environment = environment();
  return runCommand(start);
}

std::optional<orv::Tag> TestNode::tag(const std::string &name) const {
  return store()->tag(name);
}

std::string TestNode::tagText(const std::string &name) const {
  const std::optional<orv::Tag> found = tag(name);
  if (!found) return "not set";
  switch (found->value.type) {
    case orv::TagType::STRING:
      return "string " + found->value.text;
    case orv::TagType::U16:
      return "u16 " + std::to_string(found->value.number);
    case orv::TagType::U32:
      return "u32 " + std::to_string(found->value.number);
  }
  return "of an unknown type";
}

std::vector<orv::EuRecord> TestNode::eus() const {
  return store()->eus();
}

std::vector<orv::Event> TestNode::events() const {
  return store()->events();
}

orv::ProgramOutput TestNode::output(uint32_t euId) const {
  return store()->output(euId);
}

std::map<uint32_t, std::string> TestNode::euStatuses() const {
  return store()->euStatuses();
}

std::vector<std::string> TestNode::raisedErrors(size_t count) const {
  using Texts = std::vector<std::string>;
  return waitUntilFound<Texts>(std::to_string(count) + " raised errors", [&]() -> std::optional<Texts> {
    Texts texts;
    for (const orv::Event &event : events()) {
      if (event.kind == orv::EventKind::ERROR_RAISED) texts.push_back(event.text);
    }
    return texts.size() < count ? std::nullopt : std::optional(texts);
  });
}

void TestNode::waitForTag(const std::string &name) const {
  waitUntilFound<orv::Tag>("tag " + name, [&] { return tag(name); });
}

orv::EuRecord TestNode::waitForEu(const std::string &name, orv::EuState state) const {
  return waitUntilFound<orv::EuRecord>("EU " + name, [&]() -> std::optional<orv::EuRecord> {
    for (const orv::EuRecord &eu : eus()) {
      if (eu.name == name && eu.state == state) return eu;
    }
    return std::nullopt;
  });
}

orv::EuRecord TestNode::waitForFinishedEu(const std::string &name) const {
  return waitUntilFound<orv::EuRecord>("end of EU " + name, [&]() -> std::optional<orv::EuRecord> {
    for (const orv::EuRecord &eu : eus()) {
      if (eu.name == name && eu.finished) return eu;
    }
    return std::nullopt;
  });
}

orv::Event TestNode::waitForEvent(orv::EventKind kind, const std::string &part) const {
  return waitUntilFound<orv::Event>("event with \"" + part + "\"", [&]() -> std::optional<orv::Event> {
    for (const orv::Event &event : events()) {
      if (event.kind == kind && event.text.find(part) != std::string::npos) return event;
    }
    return std::nullopt;
  });
}

std::unique_ptr<orv::NodeStore> TestNode::store() const {
  std::unique_ptr<orv::NodeStore> opened;
  const orv::Status status = orv::NodeStore::open(nodeDirectory(), orv::NodeStore::Access::EXISTING, opened);
  if (!status.ok()) throw std::runtime_error(status.message);
  return opened;
}

void expectGracefulEnd(DaemonProcess &daemon) {
  daemon.signal(SIGTERM);
  const int waitStatus = daemon.waitForExit();
  EXPECT_TRUE(WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == 0) << "wait status " << waitStatus;
  const std::vector<std::string> lines = daemon.errorLines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "OrvDaemon: returned success");
  EXPECT_EQ(livingDescendants(), std::vector<pid_t>());
}
