// A board for the daemon's process, put before the C library: its watchdog resets it, its boots are made by the test,
// and nobody waits for half a minute.
//
//   FAKE_BOARD_BOOT_ID  file that stands for the kernel's boot id
//   FAKE_BOARD_ERRNO    the watchdog refuses with it; without it the watchdog accepts, and its time-out resets the
//                       board at once: the process is killed in the middle of the request
//   FAKE_BOARD_WATCHDOG  the file that is the watchdog's device: it looks like one
//   FAKE_BOARD_ACCEPTS  the watchdog accepts, and its time-out is never over
//   FAKE_BOARD_CALLS    file for what resets the board and what comes with it, a line each: "timeout <s>", "sync",
//                       "reboot <command>"
//   FAKE_BOARD_BOOT_STATUS  what WDIOC_GETBOOTSTATUS answers
//   FAKE_BOARD_HURRIES  each sleep is over at once
//   FAKE_BOARD_HANGS    file whose storage hangs: who opens it comes back no more
//   FAKE_BOARD_GATE     FIFO: a long sleep is over when somebody opens it for writing
//
// A reboot is refused, or resets the board, as the watchdog. Nothing is synced.
//
// Long sleeps, of 10 s and more, are over at once otherwise. Everything else goes to the kernel as it is.
#include <errno.h>
#include <fcntl.h>
#include <linux/watchdog.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/reboot.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr const char *BOOT_ID = "/proc/sys/kernel/random/boot_id";
constexpr long LONG_SLEEP_S = 10;

#ifdef SYS_clock_nanosleep_time64
constexpr long SLEEP_CALL = SYS_clock_nanosleep_time64;
#else
constexpr long SLEEP_CALL = SYS_clock_nanosleep;
#endif

void note(const char *format, int value) {
  const char *calls = getenv("FAKE_BOARD_CALLS");
  if (calls == nullptr) return;
  const int file = open(calls, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  dprintf(file, format, value);
  close(file);
}

// The board is reset, or the reset refused.
int reset() {
  const char *refusal = getenv("FAKE_BOARD_ERRNO");
  if (refusal == nullptr) raise(SIGKILL);
  errno = atoi(refusal);
  return -1;
}

}  // namespace

extern "C" int open(const char *path, int flags, ...) {
  const char *bootId = getenv("FAKE_BOARD_BOOT_ID");
  if (bootId != nullptr && strcmp(path, BOOT_ID) == 0) path = bootId;
  for (const char *hangs = getenv("FAKE_BOARD_HANGS"); hangs != nullptr && strcmp(path, hangs) == 0;)
    pause();
  va_list arguments;
  va_start(arguments, flags);
  const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0;
  va_end(arguments);
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags | O_LARGEFILE, mode));
}

extern "C" int stat(const char *path, struct stat *file) noexcept {
  const int result = fstatat(AT_FDCWD, path, file, 0);
  const char *watchdog = getenv("FAKE_BOARD_WATCHDOG");
  if (result == 0 && watchdog != nullptr && strcmp(path, watchdog) == 0) file->st_mode = S_IFCHR | S_IRUSR | S_IWUSR;
  return result;
}

extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  const char *bootStatus = getenv("FAKE_BOARD_BOOT_STATUS");
  if (request == WDIOC_GETBOOTSTATUS && bootStatus != nullptr) {
    *static_cast<int *>(argument) = atoi(bootStatus);
    return 0;
  }
  if (request != WDIOC_SETTIMEOUT && request != WDIOC_GETTIMEOUT) {
    return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
  }
  if (request == WDIOC_SETTIMEOUT) note("timeout %d\n", *static_cast<int *>(argument));
  if (getenv("FAKE_BOARD_ACCEPTS") != nullptr) return 0;
  return reset();
}

extern "C" void sync() noexcept {
  note("sync\n", 0);
}

extern "C" int reboot(int command) noexcept {
  note("reboot %d\n", command);
  return reset();
}

extern "C" int clock_nanosleep(clockid_t clock, int flags, const timespec *time, timespec *left) {
  timespec now{};
  clock_gettime(clock, &now);
  const time_t seconds = (flags & TIMER_ABSTIME) != 0 ? time->tv_sec - now.tv_sec : time->tv_sec;
  const bool isLong = seconds >= LONG_SLEEP_S - 1;
  const char *gate = getenv("FAKE_BOARD_GATE");
  if (isLong && gate != nullptr) close(open(gate, O_RDONLY));
  if (isLong || getenv("FAKE_BOARD_HURRIES") != nullptr) return 0;
  return syscall(SLEEP_CALL, clock, flags, time, left) == 0 ? 0 : errno;
}
