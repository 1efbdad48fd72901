// The gateway's key files: what they hold, and when they are refused.
#include "KeyFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <vector>

#include "FreshDirectory.h"

namespace {

using namespace orv;

Key keyOfByte(uint8_t byte) {
  Key key;
  key.fill(byte);
  return key;
}

class KeyFiles : public testing::Test {
 protected:
  std::string keys() const {
    return directory_.path("keys");
  }
  mode_t modeOf(const std::string &name) const {
    struct stat file {};
    EXPECT_EQ(stat((keys() + "/" + name).c_str(), &file), 0) << name;
    return file.st_mode & 07777;
  }
  void trust(uint16_t nid, uint8_t byte) const {
    const Status status = trustKey(keys(), {nid, keyOfByte(byte)});
    EXPECT_TRUE(status.ok()) << status.message;
  }
  // "2011=11.. 3011=22.." with the first byte of each key.
  std::string trusted() const {
    std::vector<TrustedKey> found;
    const Status status = readTrustedKeys(keys(), found);
    EXPECT_TRUE(status.ok()) << status.message;
    std::string text;
    for (const TrustedKey &each : found)
      text += std::to_string(each.nid) + "=" + hexOf(each.key).substr(0, 2) + " ";
    return text;
  }
  Status refusal(const std::string &text) const {
    std::filesystem::create_directory(keys());
    directory_.write("keys/trusted-keys", text);
    std::vector<TrustedKey> found;
    Status status = readTrustedKeys(keys(), found);
    EXPECT_TRUE(found.empty());
    return status;
  }

  FreshDirectory directory_;
};

}  // namespace

TEST(Keys, AreWrittenAsHexadecimalDigitsAndReadInBothCases) {
  Key key = keyOfByte(0xa5);
  key[0] = 0x01;
  const std::string text = hexOf(key);
  EXPECT_EQ(text.substr(0, 6), "01a5a5");
  EXPECT_EQ(keyOf(text), key);
  std::string upper = text;
  for (char &digit : upper)
    digit = static_cast<char>(toupper(digit));
  EXPECT_EQ(keyOf(upper), key);
}

TEST(Keys, OtherTextsAreNone) {
  const std::string good(64, 'a');
  EXPECT_TRUE(keyOf(good).has_value());
  for (const std::string &text : {std::string(), good.substr(1), good + "a", std::string(63, 'a') + "g",
                                  "+" + std::string(63, 'a'), "0x" + std::string(62, 'a')}) {
    EXPECT_FALSE(keyOf(text).has_value()) << text;
  }
}

TEST_F(KeyFiles, PairReadsBackAndItsFileIsTheOwnersAlone) {
  KeyPair pair;
  EXPECT_EQ(readKeyPair(keys(), pair).code, ENOENT);
  pair = {keyOfByte(1), keyOfByte(2)};
  ASSERT_TRUE(writeKeyPair(keys(), pair, false).ok());
  KeyPair found;
  ASSERT_TRUE(readKeyPair(keys(), found).ok());
  EXPECT_EQ(found.publicKey, pair.publicKey);
  EXPECT_EQ(found.secretKey, pair.secretKey);
  EXPECT_EQ(modeOf("own-key"), 0600U);
  EXPECT_FALSE(std::filesystem::exists(keys() + "/own-key.new"));
}

TEST_F(KeyFiles, PairIsReplacedOnlyWhereThatIsWanted) {
  ASSERT_TRUE(writeKeyPair(keys(), {keyOfByte(1), keyOfByte(2)}, false).ok());
  const Status refused = writeKeyPair(keys(), {keyOfByte(3), keyOfByte(4)}, false);
  EXPECT_EQ(refused.code, EEXIST);
  EXPECT_EQ(refused.message, "this node has keys already, in " + keys() +
                                 "/own-key (--force replaces them; every other node then has to trust the new one)");
  ASSERT_TRUE(writeKeyPair(keys(), {keyOfByte(3), keyOfByte(4)}, true).ok());
  KeyPair found;
  ASSERT_TRUE(readKeyPair(keys(), found).ok());
  EXPECT_EQ(found.publicKey, keyOfByte(3));
}

TEST_F(KeyFiles, SecretThatOthersCanReadIsRefused) {
  ASSERT_TRUE(writeKeyPair(keys(), {keyOfByte(1), keyOfByte(2)}, false).ok());
  for (const mode_t mode : {0640, 0604, 0620}) {
    ASSERT_EQ(chmod((keys() + "/own-key").c_str(), mode), 0);
    KeyPair found;
    EXPECT_EQ(readKeyPair(keys(), found).code, EPERM) << mode;
  }
}

TEST_F(KeyFiles, PairThatIsNoneIsRefused) {
  ASSERT_TRUE(writeKeyPair(keys(), {keyOfByte(1), keyOfByte(2)}, false).ok());
  const std::string good = directory_.read("keys/own-key");
  for (const std::string &text : {std::string(), good + "\n", good.substr(0, good.size() - 1), "x" + good}) {
    directory_.write("keys/own-key", text);
    KeyPair found;
    const Status status = readKeyPair(keys(), found);
    EXPECT_EQ(status.code, EINVAL);
    EXPECT_EQ(status.message,
              keys() + "/own-key is no file of keys (make new ones with `orvctl keys generate --force`)");
  }
}

TEST_F(KeyFiles, NobodyIsTrustedWhereThereIsNoFile) {
  EXPECT_EQ(trusted(), "");
}

TEST_F(KeyFiles, TrustedKeysAreKeptByNodeId) {
  trust(0x3011, 0x33);
  trust(0x2011, 0x22);
  EXPECT_EQ(trusted(), "8209=22 12305=33 ");
  EXPECT_EQ(directory_.read("keys/trusted-keys"),
            "0x2011 " + hexOf(keyOfByte(0x22)) + "\n0x3011 " + hexOf(keyOfByte(0x33)) + "\n");
  EXPECT_EQ(modeOf("trusted-keys"), 0640U);
}

TEST_F(KeyFiles, NodeHasOneKey) {
  trust(0x2011, 0x22);
  trust(0x2011, 0x23);
  EXPECT_EQ(trusted(), "8209=23 ");
  trust(0x2011, 0x23);
  EXPECT_EQ(trusted(), "8209=23 ");
}

TEST_F(KeyFiles, KeyBelongsToOneNode) {
  trust(0x2011, 0x22);
  const Status refused = trustKey(keys(), {0x3011, keyOfByte(0x22)});
  EXPECT_EQ(refused.code, EEXIST);
  EXPECT_EQ(refused.message,
            "this is the key of node 0x2011 already (a key belongs to one node; `orvctl keys untrust 0x2011` takes it "
            "back)");
  EXPECT_EQ(trusted(), "8209=22 ");
}

TEST_F(KeyFiles, TrustCanBeTakenBack) {
  trust(0x2011, 0x22);
  bool wasTrusted = false;
  ASSERT_TRUE(untrustKey(keys(), 0x2011, wasTrusted).ok());
  EXPECT_TRUE(wasTrusted);
  EXPECT_EQ(trusted(), "");
  ASSERT_TRUE(untrustKey(keys(), 0x2011, wasTrusted).ok());
  EXPECT_FALSE(wasTrusted);
}

TEST_F(KeyFiles, FileThatOthersCanChangeIsRefused) {
  trust(0x2011, 0x22);
  ASSERT_EQ(chmod((keys() + "/trusted-keys").c_str(), 0660), 0);
  std::vector<TrustedKey> found;
  const Status status = readTrustedKeys(keys(), found);
  EXPECT_EQ(status.code, EPERM);
  EXPECT_EQ(status.message, keys() + "/trusted-keys can be changed by others (chmod 640 " + keys() +
                                "/trusted-keys, and make new keys if somebody else may have had it)");
  EXPECT_TRUE(found.empty());
}

TEST_F(KeyFiles, MalformedFileTrustsNobodyAndNamesTheLine) {
  const std::string good = "0x2011 " + hexOf(keyOfByte(0x22)) + "\n";
  const Status status = refusal(good + "0x3011 short\n");
  EXPECT_EQ(status.code, EINVAL);
  EXPECT_EQ(status.message, keys() +
                                "/trusted-keys:2: expected a node id such as 0x2011, a blank and a key of 64 "
                                "hexadecimal digits (use `orvctl keys trust`)");
  for (const std::string &text :
       {good.substr(0, good.size() - 1), "2011" + good.substr(6), "0x0" + good.substr(6), "0x12011" + good.substr(6),
        "0x" + good.substr(6), "0x2011" + good.substr(7), "\n" + good}) {
    EXPECT_EQ(refusal(text).code, EINVAL) << text;
  }
}
