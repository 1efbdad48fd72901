// What orvctl says to programs of tags, RAD parameters, the run record and resets, to the letter where no clock is in
// it.
#include <gtest/gtest.h>

#include "OrvctlFixture.h"

using namespace orvctltest;

namespace {

using OrvctlJson = Orvctl;

TEST_F(OrvctlJson, TagThatIsNotSet) {
  store();
  EXPECT_EQ(output(NO, {"tag", "get", "a\"b", "--json"}), "{\"name\": \"a\\\"b\", \"set\": false}\n");
  const std::string waited = output(NO, {"tag", "wait", "x", "--timeout", "0", "--json"});
  EXPECT_TRUE(waited.starts_with("{\"name\": \"x\", \"set\": false, \"waited_ms\": ")) << waited;
}

TEST_F(OrvctlJson, TagThatIsSetHasWhatTheListHasOfIt) {
  store();
  output(DONE, {"tag", "set", "pump.online", "5"});
  const std::string list = output(DONE, {"tag", "list", "--json"});
  const std::string get = output(DONE, {"tag", "get", "pump.online", "--json"});
  EXPECT_TRUE(get.starts_with("{\"name\": \"pump.online\", \"type\": \"u32\", \"value\": 5, \"pid\": ")) << get;
  EXPECT_TRUE(get.ends_with(", \"set\": true}\n")) << get;
  const std::string fields = get.substr(0, get.size() - std::string(", \"set\": true}\n").size());
  EXPECT_TRUE(contains(list, fields + "}")) << list << get;
  const std::string waited = output(DONE, {"tag", "wait", "pump.online", "--json"});
  EXPECT_TRUE(waited.starts_with(fields + ", \"set\": true, \"waited_ms\": ")) << waited;
}

TEST_F(OrvctlJson, RadParameters) {
  store();
  EXPECT_EQ(output(DONE, {"rad", "list", "--json"}), "{\"rad\": []}\n");
  EXPECT_EQ(output(NO, {"rad", "get", "0x10063", "--json"}), "{\"number\": 65635, \"set\": false, \"value\": 0}\n");
  output(DONE, {"rad", "set", "0x10063", "1"});
  ASSERT_TRUE(store()->setRad(7, 8, orv::RadOrigin::CONFIGURATION).ok());
  EXPECT_EQ(output(DONE, {"rad", "get", "0x10063", "--json"}),
            "{\"number\": 65635, \"set\": true, \"value\": 1, \"origin\": \"operator\"}\n");
  EXPECT_EQ(output(DONE, {"rad", "list", "--json"}),
            "{\"rad\": [\n"
            "{\"number\": 7, \"set\": true, \"value\": 8, \"origin\": \"configuration\"},\n"
            "{\"number\": 65635, \"set\": true, \"value\": 1, \"origin\": \"operator\"}\n"
            "]}\n");
}

TEST_F(OrvctlJson, UngracefulShutdowns) {
  EXPECT_EQ(output(DONE, {"ungraceful", "--json"}),
            "{\"count\": 0, \"resets_in_a_row\": 0, \"next_start_counts_one_more\": false}\n");
  orv::RunRecord record;
  ASSERT_TRUE(orv::recordStart(state(), {}, record).ok());
  ASSERT_TRUE(orv::recordStart(state(), {}, record).ok());
  beginRun(0);
  EXPECT_EQ(output(DONE, {"ungraceful", "--json"}),
            "{\"count\": 1, \"resets_in_a_row\": 0, \"next_start_counts_one_more\": true}\n");
  EXPECT_TRUE(contains(complaint(USAGE, {"ungraceful", "--json", "--clear"}), "--clear excludes --json"));
}

TEST_F(OrvctlJson, HeldResets) {
  std::filesystem::create_directory(state());
  EXPECT_EQ(output(NO, {"reset", "status", "--json"}), "{\"held\": false, \"left_ms\": 0}\n");
  output(DONE, {"reset", "hold", "5"});
  const std::string held = output(DONE, {"reset", "status", "--json"});
  EXPECT_TRUE(held.starts_with("{\"held\": true, \"left_ms\": ")) << held;
}

TEST_F(OrvctlJson, NodeWithoutARun) {
  store();
  EXPECT_EQ(output(DONE, {"status", "--json"}), "{\"run\": null}\n");
  EXPECT_EQ(output(DONE, {"errors", "--json"}), "{\"errors\": []}\n");
  EXPECT_EQ(output(DONE, {"why", "--json"}), "null\n");
}

}  // namespace
