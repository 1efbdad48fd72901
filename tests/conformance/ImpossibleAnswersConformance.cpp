// What the daemon does with answers that it never gets: from its own early start-up, which always succeeds, and from
// the C library, which knows no failure of a conversion but that of the range. The linker puts the functions of this
// file before the real ones, in this program alone.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "ConfigTags.h"
#include "ExpectedTrace.h"

namespace {

bool gEarlyStartupFails = false;

struct ConversionAnswer {
  bool given = false;
  int error = 0;
  long long value = 0;
};
ConversionAnswer gConversion;

}  // namespace

extern "C" {
int __real__Z12earlyStartupj(uint32_t context);
int __wrap__Z12earlyStartupj(uint32_t context);
long long __real_strtoll(const char *text, char **end, int base);
long long __wrap_strtoll(const char *text, char **end, int base);

int __wrap__Z12earlyStartupj(uint32_t context) {
  const int result = __real__Z12earlyStartupj(context);
  return gEarlyStartupFails ? 0 : result;
}

long long __wrap_strtoll(const char *text, char **end, int base) {
  if (!gConversion.given) return __real_strtoll(text, end, base);
  *end = const_cast<char *>(text) + std::strlen(text);
  errno = gConversion.error;
  return gConversion.value;
}
}

namespace {

TraceLines tagSetWith(const ConversionAnswer &answer) {
  gConversion = answer;
  const SimulatedBoot result = simulate({}, [] {
    char list[] = "a=text";
    configTags(list, 0);
  });
  gConversion = {};
  return result.trace;
}

}  // namespace

TEST(ImpossibleAnswersConformance, FailedEarlyStartupEndsTheDaemonWithStatusOneAtOnce) {
  gEarlyStartupFails = true;
  const SimulatedBoot result = boot({}, {"-v"});
  gEarlyStartupFails = false;
  EXPECT_TRUE(isTrace(result.trace, R"(
      0.000 main err: RT-ORV build BANNER
      0.000 main AaStartupEarlyStartup() = 0
      0.000 main Info: systemdNotify: sending notification to systemd
      0.000 main ddal_system_notify_ready() = 0
      0.000 node end: exit status 1)"));
}

TEST(ImpossibleAnswersConformance, ConversionThatFailedWithoutAResultMakesATextOfTheValue) {
  EXPECT_TRUE(isTrace(tagSetWith({true, EINVAL, 0}), R"(
      0.000 main AaConfigTagSetString("a", "text") = 0
      0.000 node end: exit status 0)"));
}

TEST(ImpossibleAnswersConformance, ConversionThatFailedWithAResultOtherThanByItsRangeCounts) {
  EXPECT_TRUE(isTrace(tagSetWith({true, EINVAL, 5}), R"(
      0.000 main AaConfigTagSetU32("a", 5) = 0
      0.000 node end: exit status 0)"));
  EXPECT_TRUE(isTrace(tagSetWith({true, ERANGE, 5}), R"(
      0.000 main AaConfigTagSetString("a", "text") = 0
      0.000 node end: exit status 0)"));
}

TEST(ImpossibleAnswersConformance, ResultOfNoughtWithoutAnErrorCounts) {
  EXPECT_TRUE(isTrace(tagSetWith({true, 0, 0}), R"(
      0.000 main AaConfigTagSetU32("a", 0) = 0
      0.000 node end: exit status 0)"));
}
