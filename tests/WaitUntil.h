// Waiting for what has to happen and tells nobody when it does.
#ifndef ORV_TESTS_WAITUNTIL_H
#define ORV_TESTS_WAITUNTIL_H

#include <chrono>
#include <thread>

#include "ProcessTable.h"

// Whether `holds()` comes true within WAIT_LIMIT. Looks at it now and then, so that the processes that are waited for
// have the processors.
template <typename Condition>
bool comesTrue(Condition holds) {
  constexpr std::chrono::milliseconds INTERVAL(2);
  const auto deadline = std::chrono::steady_clock::now() + WAIT_LIMIT;
  while (!holds()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(INTERVAL);
  }
  return true;
}

#endif
