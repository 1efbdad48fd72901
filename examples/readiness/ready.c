// Says that it is ready through the C interface: it sets its online tag.
#include <AaConfig.h>
#include <stdio.h>
#include <unistd.h>

int main(void) {
  // What takes its time comes here: opening devices, reading files.
  if (AaConfigTagSetU32("app.c.online", 1) != 0) {
    fputs("cannot set app.c.online\n", stderr);
    return 1;
  }
  for (;;)
    pause();
}
