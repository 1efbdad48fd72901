// The handler of the shutdown signals, called and sent in this process.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "Startup.h"

namespace {

std::string errorOf(void (*action)()) {
  testing::internal::CaptureStderr();
  action();
  return testing::internal::GetCapturedStderr();
}

struct sigaction dispositionOf(int signalNumber) {
  struct sigaction action = {};
  sigaction(signalNumber, nullptr, &action);
  return action;
}

// Every test arms the signals anew and leaves them as the process had them.
class ShutdownSignals : public testing::Test {
 protected:
  ~ShutdownSignals() override {
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
      std::signal(number, SIG_DFL);
  }
};

}  // namespace

TEST_F(ShutdownSignals, BeforeArmingTheDispositionsAreTheInherited) {
  EXPECT_EQ(dispositionOf(SIGINT).sa_handler, SIG_DFL);
  EXPECT_EQ(dispositionOf(SIGTERM).sa_handler, SIG_DFL);
  EXPECT_EQ(dispositionOf(SIGHUP).sa_handler, SIG_DFL);
}

TEST_F(ShutdownSignals, ArmingInstallsThePlainHandlerWithRestartAlone) {
  EXPECT_EQ(initCeShutdownSupport(0), 1);
  // The C library adds this flag by itself on some targets.
#ifdef SA_RESTORER
  constexpr int ADDED = SA_RESTORER;
#else
  constexpr int ADDED = 0x04000000;
#endif
  for (const int number : {SIGINT, SIGTERM}) {
    const struct sigaction action = dispositionOf(number);
    EXPECT_EQ(action.sa_handler, shutdownSignalHandler);
    EXPECT_EQ(action.sa_flags & ~ADDED, SA_RESTART);
    for (const int masked : {SIGINT, SIGTERM, SIGHUP, SIGCHLD})
      EXPECT_EQ(sigismember(&action.sa_mask, masked), 0);
  }
}

TEST_F(ShutdownSignals, ArmingIgnoresHangUp) {
  ASSERT_EQ(initCeShutdownSupport(0), 1);
  EXPECT_EQ(dispositionOf(SIGHUP).sa_handler, SIG_IGN);
  EXPECT_EQ(errorOf([] { std::raise(SIGHUP); }), "");
}

TEST_F(ShutdownSignals, OtherSignalsKeepTheirDisposition) {
  ASSERT_EQ(initCeShutdownSupport(0), 1);
  for (const int number : {SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM, SIGCHLD, SIGPIPE})
    EXPECT_EQ(dispositionOf(number).sa_handler, SIG_DFL) << number;
}

TEST_F(ShutdownSignals, InterruptIsAnsweredAndTriggersTheShutdown) {
  ASSERT_EQ(initCeShutdownSupport(0), 1);
  EXPECT_EQ(errorOf([] { std::raise(SIGINT); }), "OrvDaemon - Got SIGINT\nInitiated ORV-RT CE level shutdown\n");
}

TEST_F(ShutdownSignals, TerminationIsAnsweredAndTriggersTheShutdown) {
  ASSERT_EQ(initCeShutdownSupport(0), 1);
  EXPECT_EQ(errorOf([] { std::raise(SIGTERM); }), "OrvDaemon - Got SIGTERM\nInitiated ORV-RT CE level shutdown\n");
}

TEST_F(ShutdownSignals, AnyOtherNumberIsAnsweredAndTriggersNothing) {
  ASSERT_EQ(initCeShutdownSupport(0), 1);
  EXPECT_EQ(errorOf([] { shutdownSignalHandler(SIGUSR1); }), "OrvDaemon - Got unknown signal\n");
  EXPECT_EQ(errorOf([] { shutdownSignalHandler(0); }), "OrvDaemon - Got unknown signal\n");
}
