#include "Spawn.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>

#include "Descriptor.h"

#if defined(__SANITIZE_THREAD__)
// ThreadSanitizer takes every clone for a fork and marks this process as the child of one; the C library's other name
// for the function passes it by.
extern "C" int __clone(int (*function)(void *), void *stack, int flags, void *argument, ...);
#define ORV_CLONE __clone
#else
#define ORV_CLONE clone
#endif

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define ORV_UNINSTRUMENTED __attribute__((no_sanitize("address", "thread", "undefined")))
#else
#define ORV_UNINSTRUMENTED
#endif

namespace orv {
namespace {

constexpr size_t KERNEL_SIGNAL_SET_BYTES = 8;
constexpr int SIGNAL_COUNT = 64;

// The child's frames: a few hundred bytes where no sanitizer adds to them. It lies in the caller's own stack.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr size_t CHILD_STACK_BYTES = 32 * 1024;
#else
constexpr size_t CHILD_STACK_BYTES = 4 * 1024;
#endif

struct ChildStart {
  const SpawnRequest *request;
  pid_t parent;
  int nullDescriptor;
  int passedOn[2];
  int error;  // out: of the call that failed
};

// The child makes bare system calls. It runs in the parent's memory until it executes the file, so that a library
// function's state, and above all a sanitizer's, would be the parent's own.
template <class... Arguments>
ORV_UNINSTRUMENTED long systemCall(long number, Arguments... arguments) {
  return syscall(number, arguments...);
}

ORV_UNINSTRUMENTED void resetSignals() {
  // The kernel's form of "default disposition" is all zero on every architecture; larger than any of them needs.
  const unsigned long defaultAction[8] = {};
  for (int number = 1; number <= SIGNAL_COUNT; ++number) {
    systemCall(SYS_rt_sigaction, number, defaultAction, nullptr, KERNEL_SIGNAL_SET_BYTES);
  }
}

ORV_UNINSTRUMENTED void unblockSignals() {
  const unsigned char none[KERNEL_SIGNAL_SET_BYTES] = {};
  systemCall(SYS_rt_sigprocmask, SIG_SETMASK, none, nullptr, KERNEL_SIGNAL_SET_BYTES);
}

ORV_UNINSTRUMENTED bool redirect(int descriptor, int standardDescriptor) {
  return systemCall(SYS_dup3, descriptor, standardDescriptor, 0) >= 0;
}

// Moves the descriptors that are passed on to 3 and 4, first out of each other's way. Returns the first one that is not
// kept, or 0 for a failure.
ORV_UNINSTRUMENTED unsigned passOn(const int *descriptors, size_t count) {
  constexpr unsigned FIRST = 3;
  constexpr int OUT_OF_THE_WAY = 16;
  long copies[2] = {-1, -1};
  for (size_t i = 0; i < count; ++i) {
    if (descriptors[i] < 0) continue;
    copies[i] = systemCall(SYS_fcntl, descriptors[i], F_DUPFD, OUT_OF_THE_WAY);
    if (copies[i] < 0) return 0;
  }
  unsigned next = FIRST;
  for (size_t i = 0; i < count; ++i) {
    if (copies[i] >= 0 && !redirect(static_cast<int>(copies[i]), static_cast<int>(next++))) return 0;
  }
  return next;
}

ORV_UNINSTRUMENTED void closeDescriptorsFrom(unsigned first) {
  if (systemCall(SYS_close_range, first, ~0U, 0) == 0) return;
  // Before Linux 5.9. The platform opens all of its descriptors to be closed at this point; this is for inherited ones.
  constexpr unsigned HIGHEST_LIKELY = 1024;
  for (unsigned descriptor = first; descriptor < HIGHEST_LIKELY; ++descriptor) {
    systemCall(SYS_close, descriptor);
  }
}

// The child's steps up to the execution of the file, from which it does not return.
ORV_UNINSTRUMENTED void becomeProgram(const ChildStart &start) {
  const SpawnRequest &request = *start.request;
  if (systemCall(SYS_setpgid, 0, 0) != 0) return;
  if (!request.outlivesParent) {
    if (systemCall(SYS_prctl, PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) != 0) return;
    if (systemCall(SYS_getppid) != start.parent) return;  // it died before the request was made
  }
  if (!redirect(start.nullDescriptor, STDIN_FILENO)) return;
  if (request.outputDescriptor >= 0) {
    if (!redirect(request.outputDescriptor, STDOUT_FILENO) || !redirect(request.outputDescriptor, STDERR_FILENO)) {
      return;
    }
  }
  const unsigned firstUnused = passOn(start.passedOn, 2);
  if (firstUnused == 0) return;
  closeDescriptorsFrom(firstUnused);
  resetSignals();
  unblockSignals();
  systemCall(SYS_execve, request.file, request.arguments, request.environment);
}

ORV_UNINSTRUMENTED int runChild(void *argument) {
  auto *start = static_cast<ChildStart *>(argument);
  becomeProgram(*start);
  start->error = errno;
  systemCall(SYS_exit_group, 127);
  return 127;
}

// The descriptor of /dev/null, kept open from the first program on; -1 with errno where there is none.
int nullDevice() {
  static std::atomic<int> kept{-1};
  if (const int descriptor = kept.load(); descriptor >= 0) return descriptor;
  Descriptor opened(open("/dev/null", O_RDWR | O_CLOEXEC));
  int none = -1;
  if (opened.get() >= 0 && kept.compare_exchange_strong(none, opened.get())) return opened.release();
  return none;
}

}  // namespace

int spawnProgram(const SpawnRequest &request, pid_t &pid) {
  const int standardInput = nullDevice();
  if (standardInput < 0) return errno;
  ChildStart start{&request, getpid(), standardInput, {request.passedOn[0], request.passedOn[1]}, 0};

  // A handler of this process must not run in the child, on this process's memory.
  sigset_t all;
  sigset_t previous;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &previous);
  alignas(16) std::byte stack[CHILD_STACK_BYTES];
  // The calling thread stands still until the child executes the file or ends, so `start` and the stack outlive its use
  // of them.
  const pid_t child = ORV_CLONE(runChild, stack + CHILD_STACK_BYTES, CLONE_VM | CLONE_VFORK | SIGCHLD, &start);
  int error = child < 0 ? errno : start.error;
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);

  if (child >= 0 && error != 0) {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  pid = child;
  return error;
}

}  // namespace orv
