// libTARNDDAL.so: tells of each call.
#include <stdio.h>

#include "ddal.h"

int32_t ddal_system_notify_ready(void) {
  fputs(NAME ": ready\n", stderr);
  return 0;
}

int32_t ddal_watchdog_reboot(void) {
  fputs(NAME ": reset\n", stderr);
  return 0;
}
