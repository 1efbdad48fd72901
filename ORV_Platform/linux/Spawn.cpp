#include "Spawn.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

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

// The child's frames and those of the kernel calls it makes.
constexpr size_t CHILD_STACK_BYTES = 16 * 1024;

struct ChildStart {
  const SpawnRequest *request;
  pid_t parent;
  int nullDescriptor;
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

ORV_UNINSTRUMENTED void closeOtherDescriptors() {
  constexpr unsigned FIRST = 3;
  if (systemCall(SYS_close_range, FIRST, ~0U, 0) == 0) return;
  // Before Linux 5.9. The platform opens all of its descriptors to be closed at this point; this is for inherited ones.
  constexpr unsigned HIGHEST_LIKELY = 1024;
  for (unsigned descriptor = FIRST; descriptor < HIGHEST_LIKELY; ++descriptor) {
    systemCall(SYS_close, descriptor);
  }
}

// The child's steps up to the execution of the file, from which it does not return.
ORV_UNINSTRUMENTED void becomeProgram(const ChildStart &start) {
  const SpawnRequest &request = *start.request;
  if (systemCall(SYS_setpgid, 0, 0) != 0) return;
  if (systemCall(SYS_prctl, PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) != 0) return;
  if (systemCall(SYS_getppid) != start.parent) return;  // it died before the request was made
  if (!redirect(start.nullDescriptor, STDIN_FILENO)) return;
  if (request.outputDescriptor >= 0) {
    if (!redirect(request.outputDescriptor, STDOUT_FILENO) || !redirect(request.outputDescriptor, STDERR_FILENO)) {
      return;
    }
  }
  closeOtherDescriptors();
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

}  // namespace

int spawnProgram(const SpawnRequest &request, pid_t &pid) {
  const Descriptor nullDevice(open("/dev/null", O_RDWR | O_CLOEXEC));
  if (nullDevice.get() < 0) return errno;
  ChildStart start{&request, getpid(), nullDevice.get(), 0};

  // A handler of this process must not run in the child, on this process's memory.
  sigset_t all;
  sigset_t previous;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &previous);
  alignas(16) static thread_local std::byte stack[CHILD_STACK_BYTES];
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
