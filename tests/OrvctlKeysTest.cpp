// orvctl keys: the node's own pair, and whom it trusts.
#include <gtest/gtest.h>

#include <string>

#include "KeyFiles.h"
#include "OrvctlFixture.h"

using namespace orvctltest;

namespace {

using OrvctlKeys = Orvctl;

const std::string SOME_KEY(64, 'a');
const std::string OTHER_KEY(64, 'b');

}  // namespace

TEST_F(OrvctlKeys, GeneratePrintsThePublicKeyThatShowPrints) {
  const std::string printed = output(DONE, {"keys", "generate"});
  EXPECT_EQ(printed.size(), 65U);
  EXPECT_TRUE(orv::keyOf(printed.substr(0, 64)).has_value()) << printed;
  EXPECT_EQ(output(DONE, {"keys", "show"}), printed);
  EXPECT_EQ(output(DONE, {"keys", "show", "--json"}), "{\"public\": \"" + printed.substr(0, 64) + "\"}\n");
}

TEST_F(OrvctlKeys, GenerateKeepsTheKeysThatThereAreUnlessForced) {
  const std::string first = output(DONE, {"keys", "generate"});
  EXPECT_EQ(complaint(NO, {"keys", "generate"}),
            "orvctl: this node has keys already, in " + state() +
                "/gateway/own-key (--force replaces them; every other node then has to trust the new one)");
  EXPECT_EQ(output(DONE, {"keys", "show"}), first);
  const std::string second = output(DONE, {"keys", "generate", "--force"});
  EXPECT_NE(second, first);
  EXPECT_EQ(output(DONE, {"keys", "show"}), second);
}

TEST_F(OrvctlKeys, SecretKeyIsNeverPrinted) {
  const std::string printed = output(DONE, {"keys", "generate", "--json"});
  orv::KeyPair pair;
  ASSERT_TRUE(orv::readKeyPair(state() + "/gateway", pair).ok());
  EXPECT_EQ(printed, "{\"public\": \"" + orv::hexOf(pair.publicKey) + "\"}\n");
}

TEST_F(OrvctlKeys, ShowWithoutKeysIsNo) {
  EXPECT_EQ(complaint(NO, {"keys", "show"}),
            "orvctl: this node has no keys in " + state() + "/gateway (make them with orvctl keys generate)");
}

TEST_F(OrvctlKeys, TrustedNodesAreListed) {
  EXPECT_EQ(output(DONE, {"keys", "list"}), "NODE  KEY\n");
  EXPECT_EQ(output(DONE, {"keys", "list", "--json"}), "[]\n");
  EXPECT_EQ(output(DONE, {"keys", "trust", "0x3011", SOME_KEY}), "");
  EXPECT_EQ(output(DONE, {"keys", "trust", "8209", OTHER_KEY}), "");
  EXPECT_EQ(output(DONE, {"keys", "list"}), "NODE    KEY\n0x2011  " + OTHER_KEY + "\n0x3011  " + SOME_KEY + "\n");
  EXPECT_EQ(output(DONE, {"keys", "list", "--json"}), "[\n  {\"nid\": \"0x2011\", \"key\": \"" + OTHER_KEY +
                                                          "\"},\n  {\"nid\": \"0x3011\", \"key\": \"" + SOME_KEY +
                                                          "\"}\n]\n");
}

TEST_F(OrvctlKeys, KeyOfAnotherNodeIsRefused) {
  output(DONE, {"keys", "trust", "0x2011", SOME_KEY});
  EXPECT_EQ(complaint(NO, {"keys", "trust", "0x3011", SOME_KEY}),
            "orvctl: this is the key of node 0x2011 already (a key belongs to one node; `orvctl keys untrust 0x2011` "
            "takes it back)");
}

TEST_F(OrvctlKeys, UntrustTakesANodeOffTheList) {
  output(DONE, {"keys", "trust", "0x2011", SOME_KEY});
  EXPECT_EQ(output(DONE, {"keys", "untrust", "0x2011"}), "");
  EXPECT_EQ(output(DONE, {"keys", "list"}), "NODE  KEY\n");
  EXPECT_EQ(complaint(NO, {"keys", "untrust", "0x2011"}), "orvctl: node 0x2011 was not trusted");
}

TEST_F(OrvctlKeys, WhatMakesNoSenseIsRefused) {
  for (const std::string nid : {"0", "0x10000", "x", "-1", ""}) {
    EXPECT_TRUE(contains(complaint(USAGE, {"keys", "trust", "--", nid, SOME_KEY}),
                         "\"" + nid + "\" is not a node id from 1 to 0xffff"))
        << nid;
  }
  EXPECT_TRUE(
      contains(complaint(USAGE, {"keys", "trust", "1", "abc"}), "\"abc\" is not a key of 64 hexadecimal digits"));
  EXPECT_TRUE(contains(complaint(USAGE, {"keys", "trust", "1"}), "KEY is required"));
  EXPECT_TRUE(contains(complaint(USAGE, {"keys"}), "orvctl keys generate|show|trust|untrust|list"));
  EXPECT_TRUE(contains(complaint(USAGE, {"keys", "trsut"}), "did you mean \"keys trust\"?"));
}

TEST_F(OrvctlKeys, DirectoryIsTheNamedOneElseTheRunningNodesElseTheUsualOne) {
  const std::string usual = output(DONE, {"keys", "generate"});
  ASSERT_TRUE(store()->setTag("orv.gateway.keys", {TagType::STRING, 0, directory_.path("configured")}).ok());
  const std::string configured = output(DONE, {"keys", "generate"});
  const std::string named = output(DONE, {"keys", "generate", "--key-dir", directory_.path("named")});
  EXPECT_EQ(output(DONE, {"keys", "show"}), configured);
  EXPECT_EQ(output(DONE, {"keys", "show", "--key-dir", directory_.path("named")}), named);
  EXPECT_EQ(output(DONE, {"keys", "show", "--state-dir", state()}), usual);
}

TEST_F(OrvctlKeys, DirectoryThatCannotBeMadeIsAFailure) {
  directory_.write("file", "");
  EXPECT_TRUE(contains(complaint(FAILED, {"keys", "trust", "1", SOME_KEY, "--key-dir", directory_.path("file")}),
                       directory_.path("file")));
}
