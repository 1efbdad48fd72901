#include "FlightRecord.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Descriptor.h"
#include "FlightCodec.h"
#include "NodePaths.h"
#include "StateFile.h"

namespace orv {
namespace {

constexpr mode_t FILE_MODE = 0640;
constexpr off_t FILE_SIZE = static_cast<off_t>(FLIGHT_SLOT_COUNT * FLIGHT_SLOT_SIZE);

std::string pathIn(const std::string &stateDirectory) {
  return stateDirectory + "/" + FLIGHT_RECORD_NAME;
}

Status cannot(const char *what, const std::string &stateDirectory, int error) {
  return systemFailure(error, std::string("cannot ") + what + " the flight record " + pathIn(stateDirectory));
}

// Waits for whoever has the lock: it is held for as long as a slot takes to be written.
int lock(int descriptor, int operation) {
  while (flock(descriptor, operation) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

bool isRegularFile(int descriptor, off_t &size) {
  struct stat file {};
  if (fstat(descriptor, &file) != 0 || !S_ISREG(file.st_mode)) return false;
  size = file.st_size;
  return true;
}

// Opens the file for a change, locked, with all its space.
Status openForChange(const std::string &stateDirectory, Descriptor &file) {
  if (file.get() < 0) return cannot("open", stateDirectory, errno);
  off_t size = 0;
  if (!isRegularFile(file.get(), size)) return cannot("use", stateDirectory, EINVAL);
  if (const int error = lock(file.get(), LOCK_EX); error != 0) return cannot("lock", stateDirectory, error);
  if (size >= FILE_SIZE) return Status::success();
  const int error = posix_fallocate(file.get(), 0, FILE_SIZE);
  if (error != 0) return cannot("make room for", stateDirectory, error);
  if (fsync(file.get()) != 0) return cannot("sync", stateDirectory, errno);
  return Status::success();
}

int openFlags() {
  // O_NONBLOCK: whatever has taken the file's place, opening it must not wait.
  return O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
}

// Returns 0 or the errno; `length` tells how much there was.
int readSlot(int descriptor, size_t index, std::string &slot) {
  slot.resize(FLIGHT_SLOT_SIZE);
  size_t length = 0;
  while (length < slot.size()) {
    const auto offset = static_cast<off_t>(index * FLIGHT_SLOT_SIZE + length);
    const ssize_t got = pread(descriptor, slot.data() + length, slot.size() - length, offset);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) break;
    length += static_cast<size_t>(got);
  }
  slot.resize(length);
  return 0;
}

int writeSlot(int descriptor, size_t index, std::string_view slot) {
  size_t length = 0;
  while (length < slot.size()) {
    const auto offset = static_cast<off_t>(index * FLIGHT_SLOT_SIZE + length);
    const ssize_t written = pwrite(descriptor, slot.data() + length, slot.size() - length, offset);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    length += static_cast<size_t>(written);
  }
  return fdatasync(descriptor) == 0 ? 0 : errno;
}

// Returns 0 or the errno.
int readSlots(int descriptor, FlightRecord &record) {
  std::string slot;
  for (size_t index = 0; index < FLIGHT_SLOT_COUNT; ++index) {
    // A sector that cannot be read is a damaged entry like any other.
    if (const int error = readSlot(descriptor, index, slot); error != 0 && error != EIO) return error;
    FlightEntry entry;
    const SlotState state = decodeFlightSlot(slot, entry);
    const bool isInPlace = entry.sequence % FLIGHT_SLOT_COUNT == index;
    if (state == SlotState::GOOD && isInPlace) {
      record.entries.push_back(std::move(entry));
    } else if (state != SlotState::EMPTY) {
      ++record.damagedEntries;
    }
  }
  std::sort(record.entries.begin(), record.entries.end(),
            [](const FlightEntry &a, const FlightEntry &b) { return a.sequence < b.sequence; });
  return 0;
}

}  // namespace

Status readFlightRecord(const std::string &stateDirectory, FlightRecord &record) {
  record = FlightRecord{};
  const std::string path = pathIn(stateDirectory);
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (file.get() < 0 && errno == ENOENT) return Status::success();
  if (file.get() < 0) return cannot("read", stateDirectory, errno);
  off_t size = 0;
  if (!isRegularFile(file.get(), size)) return cannot("read", stateDirectory, EINVAL);
  if (const int error = lock(file.get(), LOCK_SH); error != 0) return cannot("lock", stateDirectory, error);
  const int error = readSlots(file.get(), record);
  return error == 0 ? Status::success() : cannot("read", stateDirectory, error);
}

Status appendFlightEntry(const std::string &stateDirectory, FlightEntry &entry) {
  if (Status status = ensurePrivateDirectory(stateDirectory); !status.ok()) return status;
  Descriptor file(open(pathIn(stateDirectory).c_str(), openFlags(), FILE_MODE));
  if (Status status = openForChange(stateDirectory, file); !status.ok()) return status;
  FlightRecord record;
  if (const int error = readSlots(file.get(), record); error != 0) return cannot("read", stateDirectory, error);
  entry.sequence = record.entries.empty() ? 1 : record.entries.back().sequence + 1;
  const int error = writeSlot(file.get(), entry.sequence % FLIGHT_SLOT_COUNT, encodeFlightSlot(entry));
  return error == 0 ? Status::success() : cannot("write", stateDirectory, error);
}

}  // namespace orv
