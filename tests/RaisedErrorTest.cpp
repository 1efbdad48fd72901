// The text of a raised error's event: to the letter, and what is read back of it.
#include <gtest/gtest.h>

#include "RaisedError.h"
#include "StoreRecords.h"

namespace {

using orv::decodeRaisedError;
using orv::encodeRaisedError;
using orv::RaisedError;

void expectReadBack(const RaisedError &error) {
  const auto found = decodeRaisedError(encodeRaisedError(error));
  ASSERT_TRUE(found) << encodeRaisedError(error);
  EXPECT_EQ(found->kind, error.kind);
  EXPECT_EQ(found->code, error.code);
  EXPECT_EQ(found->text, error.text);
  EXPECT_EQ(found->file, error.file);
  EXPECT_EQ(found->line, error.line);
}

TEST(RaisedError, TextIsAnInterface) {
  EXPECT_EQ(encodeRaisedError({0, 0x12345678, "failure of application pump", "ORV_Daemon/src/OrvDaemon", 900}),
            "kind 0, code 0x12345678: failure of application pump [ORV_Daemon/src/OrvDaemon:900]");
  EXPECT_EQ(encodeRaisedError({}), "kind 0, code 0x0:  [:0]");
}

TEST(RaisedError, IsReadBackAsItWas) {
  expectReadBack({});
  expectReadBack({1, 0x1004b, "failure of executable /bin/x", "ORV_Daemon/src/OrvDaemon", 1186});
  expectReadBack({UINT32_MAX, UINT32_MAX, "kind 1, code 0x2: x [y:1] z: ", "c:/a b:c.cpp", UINT32_MAX});
}

TEST(RaisedError, LongTextIsCutAndThePositionKept) {
  const std::string longText(2 * orv::MAX_EVENT_TEXT_LENGTH, 'x');
  const std::string text = encodeRaisedError({0, 1, longText, "file.cpp", 7});
  EXPECT_EQ(text.size(), orv::MAX_EVENT_TEXT_LENGTH);
  const auto found = decodeRaisedError(text);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->text,
            longText.substr(0, orv::MAX_EVENT_TEXT_LENGTH - std::string("kind 0, code 0x1:  [file.cpp:7]").size()));
  EXPECT_EQ(found->line, 7U);
}

TEST(RaisedError, OtherTextsAreNone) {
  for (const char *text :
       {"", "kind", "kind 1", "kind x, code 0x1: a [f:1]", "kind 1, code 1: a [f:1]", "kind 1, code 0x: a [f:1]",
        "kind 1, code 0x1: a", "kind 1, code 0x1: a [f]", "kind 1, code 0x1: a [f:]", "kind 1, code 0x1: a [f:1",
        "kind 1, code 0x1: a [f:1x]", "kind 4294967296, code 0x1: a [f:1]", "kind 1, code 0x100000000: a [f:1]"}) {
    EXPECT_FALSE(decodeRaisedError(text)) << text;
  }
}

}  // namespace
