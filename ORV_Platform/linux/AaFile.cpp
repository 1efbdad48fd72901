// Files are opened for reading only: the interface has no operation that writes, so any other mode is refused. Only
// regular files are opened (see RegularFile.h), so that no name can make the caller wait.

#include "AaFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "NoThrow.h"
#include "Platform.h"
#include "RegularFile.h"
#include "Status.h"

namespace {

using orv::Status;

bool isReadMode(const char *mode) {
  // Behind the 'r' fopen knows binary, close-on-exec and text, none of which makes a difference here.
  return mode[0] == 'r' && std::strspn(mode + 1, "bet") == std::strlen(mode + 1);
}

Status openForReading(const char *name, const char *mode, FILE *&file) {
  if (!isReadMode(mode)) {
    return Status::failure(EINVAL, std::string(name) + ": mode \"" + mode + "\" is not supported (open it with \"r\")");
  }
  int descriptor = -1;
  if (Status status = orv::openRegularFile(name, descriptor); !status.ok()) return status;
  file = fdopen(descriptor, "r");
  if (file != nullptr) return Status::success();
  const int error = errno;
  close(descriptor);
  return Status::failure(error, std::string(name) + ": " + std::strerror(error));
}

// Null says nothing about the reason, so that goes to the log, and to errno as fopen would have it.
void *openOrLog(const char *name, const char *mode) {
  FILE *file = nullptr;
  const Status status = openForReading(name, mode, file);
  if (!status.ok()) {
    orv::platformLog(orv::SEVERITY_WARNING, "cannot open " + status.message);
    errno = status.code;
  }
  return file;
}

}  // namespace

extern "C" {

void *AaFileOpen(const char *name, const char *mode) {
  if (name == nullptr || mode == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  return orv::withoutExceptions<void *>(nullptr, [&] { return openOrLog(name, mode); });
}

uint32_t AaFileRead(void *buffer, uint32_t itemSize, uint32_t itemCount, void *file) {
  if (buffer == nullptr || file == nullptr) return 0;
  // No buffer is as long as that on 32 bits, and the C library does not check the product.
  if (static_cast<uint64_t>(itemSize) * itemCount > PTRDIFF_MAX) return 0;
  return static_cast<uint32_t>(std::fread(buffer, itemSize, itemCount, static_cast<FILE *>(file)));
}

int32_t AaFileClose(void *file) {
  if (file == nullptr) return EINVAL;
  return std::fclose(static_cast<FILE *>(file)) == 0 ? 0 : errno;
}

}  // extern "C"
