// The daemon's operations on a real node: what the tests share that call them against the Linux platform.
//
// All tests of one process share a node (see PlatformNode.h), with the platform's early start-up made. Each test begins
// with no tag set and with the start-up record, the daemon's globals and the option parser as they were loaded, so that
// a test means the same alone and among others. What the daemon prints is captured by the tests themselves.
#ifndef ORV_TESTS_NODEFIXTURE_H
#define ORV_TESTS_NODEFIXTURE_H

#include <getopt.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "AaStartup.h"
#include "OrvDaemon.h"
#include "PlatformNode.h"

namespace orvtest {

inline const testing::Environment *const NODE_ENVIRONMENT = testing::AddGlobalTestEnvironment(new PlatformNode);

using Lines = std::vector<std::string>;

class NodeTest : public testing::Test {
 protected:
  NodeTest() {
    std::memcpy(recordAsLoaded_.data(), record(), sizeof(OrvStartupConfig));
    gNotifyReceiver = 0;
    std::memset(gExeDefString, 0, sizeof gExeDefString);
    gEarlyStartupDone = 0;
    unsetenv("ORV_CE_NAME");
    optind = 0;  // what makes the option parser begin anew
    runNodeTags("--forget");
  }
  ~NodeTest() override {
    std::memcpy(record(), recordAsLoaded_.data(), sizeof(OrvStartupConfig));
  }

  // The start-up record as bytes.
  static char *record() {
    return reinterpret_cast<char *>(&PlatformNode::startupConfig());
  }

  // All tags of the node, by name: "<name> <type> <value>", the type being string, u16 or u32.
  static Lines tags() {
    return runNodeTags("");
  }

  // The texts that the system log has got from this test, each behind its severity: "4 ORV/OrvDaemon, main: ...".
  static Lines systemLog() {
    Lines lines;
    for (const NodeEvent &event : PlatformNode::events()) {
      if (event.kind == LOG_EVENT) lines.push_back(std::to_string(event.code) + " " + event.text);
    }
    return lines;
  }

 private:
  static Lines runNodeTags(const std::string &option) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "NodeTags";
    FILE *output = popen(("'" + program + "' '" + PlatformNode::nodeDirectory() + "' " + option).c_str(), "re");
    if (output == nullptr) std::abort();
    Lines lines;
    std::string line;
    for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output)) {
      if (c != '\n') {
        line += static_cast<char>(c);
        continue;
      }
      lines.push_back(line);
      line.clear();
    }
    EXPECT_EQ(pclose(output), 0) << "the tags of the node could not be read";
    return lines;
  }

  std::vector<char> recordAsLoaded_ = std::vector<char>(sizeof(OrvStartupConfig));
};

}  // namespace orvtest

#endif
