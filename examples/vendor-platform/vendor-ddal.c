// libTARNDDAL.so of the same board: no service manager, and a reset that is only told of.
#include <errno.h>
#include <stdio.h>

#include "ddal.h"

int32_t ddal_system_notify_ready(void) {
  return 0;
}

int32_t ddal_watchdog_reboot(void) {
  fputs("vendor: this board cannot be reset\n", stderr);
  return -EOPNOTSUPP;
}
