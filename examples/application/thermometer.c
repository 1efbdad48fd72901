// A small application of a node: says that it is online by setting its tag, then waits for its end.
#include <AaConfig.h>
#include <AaSysLog.h>
#include <signal.h>
#include <stddef.h>

int main(void) {
  // SIGTERM is how the node ends its programs: blocked and waited for, so that none is missed.
  sigset_t end;
  sigemptyset(&end);
  sigaddset(&end, SIGTERM);
  sigprocmask(SIG_BLOCK, &end, NULL);

  const int32_t result = AaConfigTagSetU32("app.thermometer.online", 1);
  if (result != 0) {
    AaSysLogPrint(4, "thermometer: the online tag cannot be set (%d)", (int)result);
    return 1;
  }
  int signal = 0;
  sigwait(&end, &signal);
  return 0;
}
