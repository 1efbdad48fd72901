// The tag of a program's readiness, and what is none.
#include "ReadyTag.h"

#include <gtest/gtest.h>

namespace {

using orv::euOfReadyTag;
using orv::readyTagOf;

TEST(ReadyTag, TellsItsEu) {
  EXPECT_EQ(readyTagOf("radio"), "eu.radio.ready");
  EXPECT_EQ(euOfReadyTag("eu.radio.ready"), "radio");
  EXPECT_EQ(euOfReadyTag(readyTagOf("/opt/radio.ready")), "/opt/radio.ready");
  EXPECT_EQ(euOfReadyTag("eu.r.ready"), "r");
}

TEST(ReadyTag, OtherTagsAreOfNoEu) {
  for (const char *tag : {"", "eu.", "eu.ready", "eu..ready", "radio.ready", "eu.radio", "EU.radio.ready"})
    EXPECT_EQ(euOfReadyTag(tag), "") << tag;
}

}  // namespace
