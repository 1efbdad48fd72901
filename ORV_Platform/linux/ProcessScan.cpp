#include "ProcessScan.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace orv {

// "pid (name) state ppid pgrp session ...", where the name may hold anything.
bool parseProcessStat(const char *text, size_t length, ProcessFacts &facts) {
  const auto *nameEnd = static_cast<const char *>(memrchr(text, ')', length));
  if (nameEnd == nullptr) return false;
  char state = 0;
  int pid = 0;
  int parent = 0;
  int group = 0;
  int session = 0;
  if (std::sscanf(text, "%d", &pid) != 1) return false;
  unsigned long long startTicks = 0;  // the 22nd field
  if (std::sscanf(nameEnd + 1, " %c %d %d %d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %*d %*d %llu", &state,
                  &parent, &group, &session, &startTicks) != 5) {
    return false;
  }
  facts = {pid, parent, group, session, state == 'Z' || state == 'X', startTicks};
  return true;
}

bool startedWith(pid_t pid, const char *entry, bool prefix) {
  char path[32];
  std::snprintf(path, sizeof path, "/proc/%d/environ", pid);
  FILE *file = std::fopen(path, "re");
  if (file == nullptr) return false;
  char *variable = nullptr;
  size_t capacity = 0;
  const size_t length = std::strlen(entry);
  bool found = false;
  for (;;) {
    const ssize_t read = getdelim(&variable, &capacity, '\0', file);
    if (read < 0) break;
    found = prefix ? std::strncmp(variable, entry, length) == 0 : std::strcmp(variable, entry) == 0;
    if (found) break;
  }
  std::free(variable);
  std::fclose(file);
  return found;
}

bool forEachProcess(void (*visit)(const ProcessFacts &facts, void *context), void *context) {
  DIR *processes = opendir("/proc");
  if (processes == nullptr) return false;
  while (const dirent *entry = readdir(processes)) {
    if (entry->d_name[0] < '0' || entry->d_name[0] > '9') continue;
    char path[sizeof entry->d_name + 16];
    std::snprintf(path, sizeof path, "/proc/%s/stat", entry->d_name);
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) continue;  // it has ended meanwhile
    char text[512];          // the fields that count stand at the beginning
    const ssize_t length = read(file, text, sizeof text - 1);
    close(file);
    if (length <= 0) continue;
    text[length] = '\0';
    ProcessFacts facts;
    if (parseProcessStat(text, static_cast<size_t>(length), facts)) visit(facts, context);
  }
  closedir(processes);
  return true;
}

}  // namespace orv
