// An application that goes online through the C interface, and reads what the configuration says.
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "AaConfig.h"
#include "AaMem.h"

int main() {
  char *greeting = nullptr;
  uint32_t length = 0;
  AaConfigTagGetString("example.greeting", &greeting, &length);
  std::printf("controller: %s, online\n", greeting == nullptr ? "no greeting configured" : greeting);
  std::fflush(stdout);
  if (greeting != nullptr) AaMemUnRefDbg(&greeting, __FILE__, __LINE__);
  if (AaConfigTagSetU32("example.controller.online", 1) != 0) return 1;
  for (;;)
    pause();
}
