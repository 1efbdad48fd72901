// The platform's operations as the daemon is compiled against them: a library that is built elsewhere relies on every
// type. Needs no platform.
#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

#include "AaConfig.h"
#include "AaError.h"
#include "AaFile.h"
#include "AaMem.h"
#include "AaPro.h"
#include "AaStartup.h"
#include "AaSysCom.h"
#include "AaSysLog.h"
#include "AaSysTime.h"
#include "ddal.h"

// A second declaration, which the compiler rejects unless it agrees: as a type, the first one's check of its format
// would be lost, which is a warning.
extern "C" int32_t AaSysLogPrint(uint32_t severity, const char *format, ...);

namespace {

// Whether `Declared` is the type of an operation that returns and takes exactly this.
template <class Declared, class Result, class... Arguments>
constexpr bool is() {
  return std::is_same_v<Declared, Result(Arguments...)>;
}

using Text = const char *;

}  // namespace

TEST(InterfaceTypes, StartUpAndShutdown) {
  EXPECT_TRUE((is<decltype(AaStartupEarlyStartup), int32_t>()));
  EXPECT_TRUE((is<decltype(AaStartupCeStartup), int32_t>()));
  EXPECT_TRUE((is<decltype(AaStartupCeShutdown), int32_t>()));
  EXPECT_TRUE((is<decltype(AaStartupCeUngracefulShutdownCount), uint32_t, uint32_t>()));
  EXPECT_TRUE((std::is_same_v<decltype(gOrvStartupConfig), struct OrvStartupConfig>));
}

TEST(InterfaceTypes, ExecutionUnitsAndPrograms) {
  EXPECT_TRUE((std::is_same_v<AaProEuEntry, void *(*)(void *)>));
  EXPECT_TRUE((is<decltype(AaProEuCreateAndStart), int32_t, uint32_t *, Text, AaProEuEntry, uint32_t, uint32_t,
                  const void *, uint32_t>()));
  EXPECT_TRUE((is<decltype(AaProEuCreateAndStartJoinable), int32_t, uint32_t *, Text, AaProEuEntry, uint32_t, uint32_t,
                  const void *, uint32_t, uint32_t>()));
  EXPECT_TRUE((is<decltype(AaProEuCurrent), uint32_t>()));
  EXPECT_TRUE((is<decltype(AaProCmdExec), int32_t, Text, Text, uint32_t, int32_t *>()));
}

TEST(InterfaceTypes, TagsParametersAndBuffers) {
  EXPECT_TRUE((is<decltype(AaConfigTagSetString), int32_t, Text, Text>()));
  EXPECT_TRUE((is<decltype(AaConfigTagSetU16), int32_t, Text, uint16_t>()));
  EXPECT_TRUE((is<decltype(AaConfigTagSetU32), int32_t, Text, uint32_t>()));
  EXPECT_TRUE((is<decltype(AaConfigTagReadFile), int32_t, Text>()));
  EXPECT_TRUE((is<decltype(AaConfigTagIsSet), int32_t, Text>()));
  EXPECT_TRUE((is<decltype(AaConfigTagGetString), int32_t, Text, char **, uint32_t *>()));
  EXPECT_TRUE((is<decltype(AaConfigRadGetValue), uint32_t, uint32_t>()));
  EXPECT_TRUE((is<decltype(AaMemUnRefDbg), void, char **, Text, uint32_t>()));
}

TEST(InterfaceTypes, Messages) {
  EXPECT_TRUE((is<decltype(AaSysComEuUserRegister), uint32_t, uint32_t>()));
  EXPECT_TRUE((is<decltype(AaSysComUserDeregister), int32_t, uint32_t>()));
  EXPECT_TRUE((is<decltype(AaSysComMsgCreate), void *, uint32_t, uint32_t, uint32_t>()));
  EXPECT_TRUE((is<decltype(AaSysComMsgSendWithPriority), int32_t, void **, uint32_t>()));
  EXPECT_TRUE((is<decltype(AaSysComGetOwnNid), uint16_t>()));
}

TEST(InterfaceTypes, FilesTimeAndErrors) {
  EXPECT_TRUE((is<decltype(AaFileOpen), void *, Text, Text>()));
  EXPECT_TRUE((is<decltype(AaFileRead), uint32_t, void *, uint32_t, uint32_t, void *>()));
  EXPECT_TRUE((is<decltype(AaFileClose), int32_t, void *>()));
  EXPECT_TRUE((is<decltype(AaSysTimeSleep), int32_t, uint32_t, uint32_t>()));
  EXPECT_TRUE(
      (is<decltype(AaErrorExceptionRaise), void, uint32_t, uint32_t, uint32_t, uint32_t, Text, Text, uint32_t>()));
}

TEST(InterfaceTypes, Board) {
  EXPECT_TRUE((is<decltype(ddal_system_notify_ready), int32_t>()));
  EXPECT_TRUE((is<decltype(ddal_watchdog_reboot), int32_t>()));
}
