// How large the storms of lines are that the log has to weather, and what memory it may take.
#ifndef ORV_TESTS_STORMSIZE_H
#define ORV_TESTS_STORMSIZE_H

#include <cstdlib>
#include <fstream>
#include <string>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// A sanitizer makes each line many times as slow, and keeps freed memory for itself.
constexpr unsigned long STORM_LINES = 50'000;
constexpr bool MEMORY_TELLS = false;
#elif defined(ORV_EMULATED)
// An emulator is slower still, and its memory grows with the code that it has translated.
constexpr unsigned long STORM_LINES = 20'000;
constexpr bool MEMORY_TELLS = false;
#else
constexpr unsigned long STORM_LINES = 1'000'000;
constexpr bool MEMORY_TELLS = true;
#endif

// The queues between the log and the store have some thousands of lines; nothing of it may grow with the storm.
constexpr unsigned long MAX_GROWTH_KIB = 8UL * 1024;

// The memory of a process that is its own, in KiB.
inline unsigned long anonymousKib(const std::string &pid) {
  std::ifstream status("/proc/" + pid + "/status");
  const std::string key = "RssAnon:";
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(key)) return std::strtoul(line.c_str() + key.size(), nullptr, 10);
  }
  return 0;
}

#endif
