// The start-up record: its layout is what the daemon and a platform library built elsewhere agree on. Needs no
// platform.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "AaStartup.h"

// PlatformHeadersCompileAsC.c
extern "C" {
extern const size_t orvRecordOffsetsInC[];
extern const size_t orvRecordSizeInC;
}

namespace {

constexpr size_t POINTER_SIZE = sizeof(void *);

}  // namespace

TEST(StartupRecord, MembersStandAtTheInterfacesOffsets) {
  EXPECT_EQ(offsetof(OrvStartupConfig, nid), 0u);
  EXPECT_EQ(offsetof(OrvStartupConfig, masterNid), 2u);
  EXPECT_EQ(offsetof(OrvStartupConfig, masterIp), 4u);
  EXPECT_EQ(offsetof(OrvStartupConfig, testerPort), 20u);
  EXPECT_EQ(offsetof(OrvStartupConfig, printPort), 24u);
  EXPECT_EQ(offsetof(OrvStartupConfig, printIp), 28u);
  EXPECT_EQ(offsetof(OrvStartupConfig, platformPrivate1), 32u);
  EXPECT_EQ(offsetof(OrvStartupConfig, btsLogPort), 48u);
  EXPECT_EQ(offsetof(OrvStartupConfig, testerMultiplicity), 52u);
  EXPECT_EQ(offsetof(OrvStartupConfig, platformPrivate2), 56u);
  EXPECT_EQ(offsetof(OrvStartupConfig, sysComGwProtocol), 64u);
  // 68 on the 32-bit target.
  EXPECT_EQ(offsetof(OrvStartupConfig, rtConfigFile), 64 + POINTER_SIZE);
}

TEST(StartupRecord, MembersHaveTheInterfacesTypes) {
  EXPECT_TRUE((std::is_same_v<decltype(OrvStartupConfig::nid), uint16_t>));
  EXPECT_TRUE((std::is_same_v<decltype(OrvStartupConfig::masterNid), uint16_t>));
  EXPECT_TRUE((std::is_same_v<decltype(OrvStartupConfig::masterIp), char[16]>));
  EXPECT_TRUE((std::is_same_v<decltype(OrvStartupConfig::testerPort), uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(OrvStartupConfig::printPort), uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(OrvStartupConfig::printIp), uint32_t>));
  EXPECT_EQ(sizeof(OrvStartupConfig::platformPrivate1), 16u);
  EXPECT_TRUE((std::is_same_v<decltype(OrvStartupConfig::btsLogPort), uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(OrvStartupConfig::testerMultiplicity), uint32_t>));
  EXPECT_EQ(sizeof(OrvStartupConfig::platformPrivate2), 8u);
  EXPECT_TRUE((std::is_same_v<decltype(OrvStartupConfig::sysComGwProtocol), const char *>));
  EXPECT_TRUE((std::is_same_v<decltype(OrvStartupConfig::rtConfigFile), char[4096]>));
}

TEST(StartupRecord, NothingFollowsTheLastMember) {
  EXPECT_EQ(sizeof(OrvStartupConfig), 64 + POINTER_SIZE + 4096);
}

TEST(StartupRecord, CAndCppAgree) {
  const size_t offsets[] = {
      offsetof(OrvStartupConfig, nid),
      offsetof(OrvStartupConfig, masterNid),
      offsetof(OrvStartupConfig, masterIp),
      offsetof(OrvStartupConfig, testerPort),
      offsetof(OrvStartupConfig, printPort),
      offsetof(OrvStartupConfig, printIp),
      offsetof(OrvStartupConfig, platformPrivate1),
      offsetof(OrvStartupConfig, btsLogPort),
      offsetof(OrvStartupConfig, testerMultiplicity),
      offsetof(OrvStartupConfig, platformPrivate2),
      offsetof(OrvStartupConfig, sysComGwProtocol),
      offsetof(OrvStartupConfig, rtConfigFile),
  };
  for (size_t i = 0; i < std::size(offsets); ++i)
    EXPECT_EQ(orvRecordOffsetsInC[i], offsets[i]) << "member " << i;
  EXPECT_EQ(orvRecordSizeInC, sizeof(OrvStartupConfig));
}
