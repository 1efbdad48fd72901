// Whether a test can act as another user than the one who runs it.
#ifndef ORV_TESTS_OTHERUSER_H
#define ORV_TESTS_OTHERUSER_H

#include <unistd.h>

#include <fstream>

// True for root where there are other users at all: in a user namespace there may be root alone.
inline bool canActAsAnotherUser() {
  constexpr long NOBODY = 65534;
  long first = 0;
  long outside = 0;
  long count = 0;
  std::ifstream("/proc/self/uid_map") >> first >> outside >> count;
  return geteuid() == 0 && first == 0 && count > NOBODY;
}

#endif
