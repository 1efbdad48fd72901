#include "JournalStream.h"

#include <sys/stat.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>

namespace orv {
namespace {

// JOURNAL_STREAM is inherited by programs whose output has been directed elsewhere since, so it counts only when it
// names the very stream: "<device>:<inode>".
bool standardErrorIsJournal() {
  const char *stream = std::getenv("JOURNAL_STREAM");
  if (stream == nullptr) return false;
  uint64_t device = 0;
  uint64_t inode = 0;
  struct stat status = {};
  return std::sscanf(stream, "%" SCNu64 ":%" SCNu64, &device, &inode) == 2 && fstat(STDERR_FILENO, &status) == 0 &&
         status.st_dev == device && status.st_ino == inode;
}

}  // namespace

Descriptor openJournalStream(const std::string &identifier) {
  // A journal that does not answer is no reason not to start the program: its output goes where the daemon's goes.
  return Descriptor(standardErrorIsJournal() ? sd_journal_stream_fd(identifier.c_str(), LOG_INFO, 0) : -1);
}

}  // namespace orv
