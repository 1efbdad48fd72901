#include "Startup.h"

#include <semaphore.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "AaPro.h"
#include "AaStartup.h"
#include "AaSysCom.h"
#include "Applications.h"
#include "DaemonLog.h"
#include "Executables.h"
#include "NodeActions.h"
#include "OrvDaemon.h"

namespace {

constexpr const char *STARTUP_EU_NAME = "ceInternalStartupEu";
constexpr uint32_t STARTUP_EU_STACK_BYTES = 0x1000;
constexpr uint32_t STARTUP_EU_PRIORITY = 10;

constexpr uint32_t ORVDAEMON_INIT_FINISH_NOTIF_MSG = 0x1B9D;
// The upper half of the sender's address is this node id on every node; receivers know the message by it.
constexpr uint32_t INIT_FINISH_SENDER_BASE = 0x0F010000;

// Each post is one shutdown request; ceInternalStartup consumes one.
sem_t gShutdownSem;

// Place for what a board needs first of all. Nothing today.
void startupHook() {}

// The EU's argument block holds the context word; the platform's copy of it is read here, since fullStartup may have
// returned by now.
void *ceInternalStartupEuEntry(void *argument) {
  uint32_t context = 0;
  std::memcpy(&context, argument, sizeof context);
  ceInternalStartup(context);
  return nullptr;
}

void startApplications(uint32_t context) {
  if (ceShutdownWasGraceful(context) == 0) {
    logInfo("ceInternalStartup", "ungraceful shutdown, application start-up disabled");
    return;
  }
  appStart(context);
}

// In the handler's context. The standard streams' functions may block on a lock that another thread holds, never on one
// of this thread's own: their locks are recursive.
void triggerCeShutdown() {
  std::fwrite("Initiated ORV-RT CE level shutdown\n", 1, 35, stderr);
  if (sem_post(&gShutdownSem) != 0) {
    std::fprintf(stderr, "Not able to trigger CE level shutdown (sem_post errno: %i)\n", errno);
  }
}

int installSignalHandlers() {
  struct sigaction action = {};
  action.sa_handler = shutdownSignalHandler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  std::signal(SIGHUP, SIG_IGN);
  return 1;
}

}  // namespace

int earlyStartup(uint32_t context) {
  AaStartupEarlyStartup();  // result not examined: without a system log there is still the console
  gEarlyStartupDone = 1;
  systemdNotify(context);
  return 1;
}

int fullStartup(uint32_t context) {
  logInfo("fullStartup", "CE start-up");
  if (AaStartupCeStartup() != 0) {
    logError("fullStartup", "CE AaStartup failed");
    return 0;
  }
  uint32_t euId = 0;
  const int32_t result =
      AaProEuCreateAndStartJoinable(&euId, STARTUP_EU_NAME, ceInternalStartupEuEntry, STARTUP_EU_STACK_BYTES,
                                    STARTUP_EU_PRIORITY, &context, sizeof context, 1);
  if (result != 0) {
    logError("fullStartup", "start-up EU creation failed");
    return 0;
  }
  return 1;
}

void ceInternalStartup(uint32_t context) {
  startupHook();
  if (exeStart(context) != 0) {
    startApplications(context);
  } else {
    logError("ceInternalStartup", "executable start-up failed, application start-up skipped");
  }
  if (gNotifyReceiver != 0) initFinishNotify(context);
  if (initCeShutdownSupport(context) == 0) {
    logError("ceInternalStartup", "Failed to init CE shutdown support");
  }
  logInfo("ceInternalStartup", "CE start-up complete");
  // Any failure is a reason to wait again, an interruption by a signal above all: only a post ends the wait.
  while (sem_wait(&gShutdownSem) != 0) {
  }
  logInfo("ceInternalStartup", "Daemon termination initiated");
}

int ceShutdownWasGraceful(uint32_t context) {
  return AaStartupCeUngracefulShutdownCount(context) == 0 ? 1 : 0;
}

void initFinishNotify(uint32_t) {
  const uint32_t cpid = AaSysComEuUserRegister(0);
  if (cpid == 0) {
    logError("initFinishNotify", "syscom registration failed");
    return;
  }
  void *message = AaSysComMsgCreate(ORVDAEMON_INIT_FINISH_NOTIF_MSG, 0, gNotifyReceiver);
  if (message == nullptr) {
    logError("initFinishNotify", "ORVDAEMON_INIT_FINISH_NOTIF_MSG creation failed");
  } else {
    setMessageSender(message, INIT_FINISH_SENDER_BASE | cpid);
    AaSysComMsgSendWithPriority(&message, 0);  // result not examined: the platform reports what it cannot deliver
    logInfo("initFinishNotify", "ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to ", std::hex, std::showbase, gNotifyReceiver);
  }
  AaSysComUserDeregister(cpid);
}

int initCeShutdownSupport(uint32_t) {
  if (sem_init(&gShutdownSem, 0, 0) != 0) return 0;
  return installSignalHandlers();
}

extern "C" void shutdownSignalHandler(int signalNumber) {
  switch (signalNumber) {
    case SIGINT:
      std::fwrite("OrvDaemon - Got SIGINT\n", 1, 23, stderr);
      triggerCeShutdown();
      break;
    case SIGTERM:
      std::fwrite("OrvDaemon - Got SIGTERM\n", 1, 24, stderr);
      triggerCeShutdown();
      break;
    default:
      std::fwrite("OrvDaemon - Got unknown signal\n", 1, 31, stderr);
      break;
  }
}
