#include "ProcessGroups.h"

#include <dirent.h>

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>

namespace orv {
namespace {

// From /proc/<pid>/stat: "pid (name) state ppid pgrp ...", where the name may hold anything.
bool isLivingMember(const char *pid, pid_t group) {
  std::ifstream file(std::string("/proc/") + pid + "/stat");
  std::string text;
  std::getline(file, text, '\0');
  const size_t nameEnd = text.rfind(')');
  if (nameEnd == std::string::npos) return false;
  char state = 0;
  int parent = 0;
  int processGroup = 0;
  if (std::sscanf(text.c_str() + nameEnd + 1, " %c %d %d", &state, &parent, &processGroup) != 3) return false;
  return processGroup == group && state != 'Z' && state != 'X';
}

}  // namespace

bool groupExists(pid_t group) {
  return kill(-group, 0) == 0 || errno == EPERM;
}

bool groupHasLivingMember(pid_t group) {
  if (!groupExists(group)) return false;
  DIR *processes = opendir("/proc");
  if (processes == nullptr) return true;
  bool found = false;
  while (const dirent *entry = readdir(processes)) {
    if (std::isdigit(static_cast<unsigned char>(entry->d_name[0])) == 0) continue;
    found = isLivingMember(entry->d_name, group);
    if (found) break;
  }
  closedir(processes);
  return found;
}

}  // namespace orv
