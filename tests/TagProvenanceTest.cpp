// Whose a tag is, where a daemon runs the programs that set it.
#include <gtest/gtest.h>

#include <string>

#include "TestNode.h"

namespace {

using TagProvenance = DaemonTest;

TEST_F(TagProvenance, OfAProgramIsItsEuAndItself) {
  node.define({"radio;" + node.program() + ";online radio.online;0;0;radio.online"});
  const auto daemon = node.startedDaemon({"-v"});
  node.waitForTag("radio.online");
  const orv::Tag tag = node.tag("radio.online").value();
  const orv::EuRecord eu = node.waitForEu("radio", orv::EuState::RUNNING);
  EXPECT_EQ(tag.setter.pid, eu.pid);
  EXPECT_EQ(tag.setter.euName, "radio");
  // A program may be quicker than the record of its EU; its name is known all the same.
  EXPECT_TRUE(tag.setter.euId == eu.id || tag.setter.euId == 0) << tag.setter.euId;
  EXPECT_TRUE(tag.setter.executable.ends_with("/test-program")) << tag.setter.executable;
  EXPECT_EQ(tag.run, 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(TagProvenance, OfAScriptsToolIsTheScriptsEu) {
  node.writeFile("script", "#!/bin/sh\n" + std::string(ORVCTL_PATH) + " tag set script.online\nexec sleep 1000\n");
  node.define({"script;/bin/sh;" + node.path("script") + ";0;0;script.online"});
  const auto daemon = node.startedDaemon({"-v"});
  node.waitForTag("script.online");
  const orv::Tag tag = node.tag("script.online").value();
  EXPECT_EQ(tag.setter.euName, "script");
  EXPECT_TRUE(tag.setter.executable.ends_with("/orvctl")) << tag.setter.executable;
  expectGracefulEnd(*daemon);
}

TEST_F(TagProvenance, OfTheDaemonHasNoEu) {
  node.define({});
  const auto daemon = node.startedDaemon({"-c", "app.mode=test"});
  const orv::Tag tag = node.tag("app.mode").value();
  EXPECT_EQ(tag.setter.euName, "");
  EXPECT_TRUE(tag.setter.executable.ends_with("/ORVDaemonExe")) << tag.setter.executable;
  EXPECT_EQ(tag.run, 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(TagProvenance, CountsTheRunsOfTheNode) {
  node.define({});
  for (const uint64_t run : {1U, 2U}) {
    const auto daemon = node.startedDaemon({"-c", "app.mode=test"});
    EXPECT_EQ(node.tag("app.mode").value().run, run);
    expectGracefulEnd(*daemon);
  }
}

}  // namespace
