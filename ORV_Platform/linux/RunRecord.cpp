#include "RunRecord.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <limits>
#include <map>
#include <optional>
#include <string_view>
#include <system_error>

#include "Clock.h"
#include "NodePaths.h"
#include "StateFile.h"

namespace orv {
namespace {

constexpr const char *RECORD_NAME = "run-record";
constexpr const char *RECORD = "the run record";  // in messages
constexpr const char *NOTE_NAME = "run-shut-down";
constexpr const char *NOTE = "the note of the shutdown";  // in messages
constexpr size_t MAX_RECORD_SIZE = 4096;                  // bytes; a record has some 150
constexpr mode_t FILE_MODE = 0640;

std::string recordPath(const std::string &stateDirectory) {
  return stateDirectory + "/" + RECORD_NAME;
}

std::string format(const RunRecord &record) {
  const auto line = [](const char *key, const std::string &value) { return key + ("=" + value) + "\n"; };
  return line("bootId", record.bootId) + line("up", record.up ? "1" : "0") +
         line("ungracefulCount", std::to_string(record.ungracefulCount)) +
         line("resetsInARow", std::to_string(record.resetsInARow)) +
         line("resetRequested", record.resetRequested ? "1" : "0") +
         line("startedBoottimeNs", std::to_string(record.startedBoottimeNs));
}

using Fields = std::map<std::string_view, std::string_view>;

// Splits lines of the form key=value; false for anything else, and for a key that stands twice.
bool splitFields(std::string_view text, Fields &fields) {
  while (!text.empty()) {
    const size_t end = text.find('\n');
    if (end == std::string_view::npos) return false;  // a line that was not written whole
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) return false;
    if (!fields.emplace(line.substr(0, equals), line.substr(equals + 1)).second) return false;
  }
  return true;
}

template <typename Number>
bool takeNumber(const Fields &fields, std::string_view key, Number &number) {
  const auto found = fields.find(key);
  if (found == fields.end()) return false;
  const char *end = found->second.data() + found->second.size();
  const auto [last, error] = std::from_chars(found->second.data(), end, number);
  return error == std::errc() && last == end;
}

bool takeFlag(const Fields &fields, std::string_view key, bool &flag) {
  uint32_t number = 0;
  if (!takeNumber(fields, key, number) || number > 1) return false;
  flag = number == 1;
  return true;
}

bool parse(std::string_view text, RunRecord &record) {
  constexpr size_t FIELD_COUNT = 6;
  Fields fields;
  if (!splitFields(text, fields) || fields.size() != FIELD_COUNT || !fields.contains("bootId")) return false;
  record.bootId = fields["bootId"];
  return takeFlag(fields, "up", record.up) && takeNumber(fields, "ungracefulCount", record.ungracefulCount) &&
         takeNumber(fields, "resetsInARow", record.resetsInARow) &&
         takeFlag(fields, "resetRequested", record.resetRequested) &&
         takeNumber(fields, "startedBoottimeNs", record.startedBoottimeNs);
}

Status replaceRecord(const std::string &stateDirectory, const RunRecord &record) {
  return replaceStateFile(stateDirectory, RECORD_NAME, RECORD, format(record));
}

// The record of a state directory, locked against every other change for as long as the object lives.
class LockedRecord {
 public:
  explicit LockedRecord(const std::string &stateDirectory) : directory_(stateDirectory) {}
  ~LockedRecord() {
    if (descriptor_ >= 0) close(descriptor_);  // and with it the lock
  }
  LockedRecord(const LockedRecord &) = delete;
  LockedRecord &operator=(const LockedRecord &) = delete;

  // Waits for whoever has the lock: it is held for as long as a small file takes to be written.
  Status lock() {
    if (Status status = ensurePrivateDirectory(directory_); !status.ok()) return status;
    const std::string path = recordPath(directory_) + ".lock";
    descriptor_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, FILE_MODE);
    if (descriptor_ < 0) return systemFailure(errno, "cannot open the lock of the run record, " + path);
    while (flock(descriptor_, LOCK_EX) != 0) {
      if (errno != EINTR) return systemFailure(errno, "cannot lock the run record with " + path);
    }
    return Status::success();
  }

 private:
  std::string directory_;
  int descriptor_ = -1;
};

// Changes the record by `change`, which gets it as it is and fresh where it cannot be understood. `found` tells how
// reading went, the result how writing did.
template <typename Change>
Status changeRecord(const std::string &stateDirectory, Status &found, Change change) {
  RunRecord record;
  LockedRecord lock(stateDirectory);
  Status status = lock.lock();
  // Even where nothing can be locked or written: `change` may tell its caller what the record says.
  found = readRunRecord(stateDirectory, record);
  if (!change(record) || !status.ok()) return status;
  return replaceRecord(stateDirectory, record);
}

// True when there is no record, so that there is nothing to take back and nothing is to be made for it.
bool isAbsent(const std::string &stateDirectory) {
  return access(recordPath(stateDirectory).c_str(), F_OK) != 0 && errno == ENOENT;
}

void increment(uint32_t &count) {
  if (count != std::numeric_limits<uint32_t>::max()) ++count;
}

// What the end of the run that `record` tells of, which was not shut down, adds to the counts.
void countEnd(const std::string &bootId, const ResetLimits &limits, RunRecord &record) {
  const bool machineStayedUp = !bootId.empty() && record.bootId == bootId;
  if (machineStayedUp) {
    // A reset that was requested and not made is no reset: the daemon just died.
    increment(record.ungracefulCount);
    record.resetsInARow = 0;
  } else if (record.resetRequested) {
    increment(record.resetsInARow);
    if (record.resetsInARow > limits.resetBudget) increment(record.ungracefulCount);
  } else {
    record.resetsInARow = 0;
  }
}

}  // namespace

std::string currentBootId() {
  constexpr size_t MAX_BOOT_ID_SIZE = 64;
  std::optional<std::string> text;
  const Status found = readStateFile("/proc/sys/kernel/random", "boot_id", "the boot id", MAX_BOOT_ID_SIZE, text);
  return found.ok() && text ? text->substr(0, text->find('\n')) : "";
}

Status readRunRecord(const std::string &stateDirectory, RunRecord &record) {
  record = RunRecord{};
  std::optional<std::string> text;
  if (Status found = readStateFile(stateDirectory, RECORD_NAME, RECORD, MAX_RECORD_SIZE, text); !found.ok()) {
    return found;
  }
  if (!text) return Status::success();
  if (text->size() <= MAX_RECORD_SIZE && parse(*text, record)) return Status::success();
  record = RunRecord{};
  return Status::failure(EBADMSG, "the run record " + recordPath(stateDirectory) +
                                      " cannot be understood and counts as fresh: how the last runs ended is not known"
                                      " (the next change of it writes it anew)");
}

Status recordStart(const std::string &stateDirectory, const ResetLimits &limits, RunRecord &record,
                   bool lastWasShutDown) {
  Status found;
  Status written = changeRecord(stateDirectory, found, [&](RunRecord &current) {
    const std::string bootId = currentBootId();
    if (lastWasShutDown) current = asShutDown(current);
    if (current.up) {
      countEnd(bootId, limits, current);
    } else {
      current.resetsInARow = 0;
    }
    current.bootId = bootId;
    current.up = true;
    current.resetRequested = false;
    current.startedBoottimeNs = boottimeNs();
    record = current;
    return true;
  });
  return written.ok() ? found : written;
}

RunRecord asShutDown(const RunRecord &record) {
  RunRecord cleared;
  cleared.bootId = record.bootId;
  cleared.startedBoottimeNs = record.startedBoottimeNs;
  return cleared;
}

Status noteGracefulShutdown(const std::string &stateDirectory, const std::string &nodeDirectory) {
  RunRecord record;
  if (Status found = readRunRecord(stateDirectory, record); !found.ok()) return found;
  if (!record.up) return Status::success();
  return replaceStateFile(nodeDirectory, NOTE_NAME, NOTE, format(asShutDown(record)));
}

bool takeShutdownNote(const std::string &nodeDirectory, const RunRecord &record) {
  std::optional<std::string> text;
  const Status found = readStateFile(nodeDirectory, NOTE_NAME, NOTE, MAX_RECORD_SIZE, text);
  unlink((nodeDirectory + "/" + NOTE_NAME).c_str());
  RunRecord note;
  // One that cannot be read or understood is none: the run then counts as one that has died, as it would without it.
  return found.ok() && text && parse(*text, note) && record.up && note.bootId == record.bootId &&
         note.startedBoottimeNs == record.startedBoottimeNs;
}

// The three below overwrite what cannot be understood with what is to be there, so that there is nothing to report of
// it.

Status recordGracefulShutdown(const std::string &stateDirectory) {
  Status found;  // not reported: a record that could not be understood is cleared as any other
  return changeRecord(stateDirectory, found, [](RunRecord &record) {
    record = asShutDown(record);
    return true;
  });
}

Status recordResetRequest(const std::string &stateDirectory, const ResetLimits &limits) {
  Status found;
  Status written = changeRecord(stateDirectory, found, [&](RunRecord &record) {
    const uint64_t now = boottimeNs();
    const bool isThisBoot = record.up && record.bootId == currentBootId() && now >= record.startedBoottimeNs;
    if (!isThisBoot || now - record.startedBoottimeNs > limits.resetWindowS * NS_PER_S) return false;
    record.resetRequested = true;
    return true;
  });
  return written.ok() ? found : written;
}

Status withdrawResetRequest(const std::string &stateDirectory) {
  if (isAbsent(stateDirectory)) return Status::success();
  Status found;  // not reported, as above
  return changeRecord(stateDirectory, found, [](RunRecord &record) {
    const bool wasRequested = record.resetRequested;
    record.resetRequested = false;
    return wasRequested;
  });
}

Status clearUngraceful(const std::string &stateDirectory, bool runIsOver) {
  if (isAbsent(stateDirectory)) return Status::success();
  Status found;  // not reported, as above
  return changeRecord(stateDirectory, found, [&](RunRecord &record) {
    const bool forgives = runIsOver && record.up;
    const bool isClear = record.ungracefulCount == 0 && record.resetsInARow == 0 && !forgives && found.ok();
    record.ungracefulCount = 0;
    record.resetsInARow = 0;
    if (forgives) record.up = false;
    return !isClear;
  });
}

bool isUpInThisBoot(const RunRecord &record) {
  return record.up && record.bootId == currentBootId();
}

}  // namespace orv
