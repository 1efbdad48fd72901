#include "Search.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "NodeMaker.h"
#include "Oracle.h"
#include "Report.h"
#include "SimulatedBoot.h"

namespace boots {
namespace {

// A boot takes a few milliseconds; under a sanitizer and on a busy machine a second.
constexpr unsigned LONGEST_BOOT_S = 120;

// A fault in the daemon shows in many boots; a few tell as much.
constexpr uint32_t MOST_FAILURES = 5;

constexpr size_t END_KINDS = 6;
constexpr const char *END_NAMES[END_KINDS] = {"exits", "resets", "killed", "stuck", "out of time", "loops"};

// What a job tells of itself, shared with the process that started it.
struct Job {
  uint64_t seed = 0;  // of the boot under way; 0: none
  uint64_t boots = 0;
  uint64_t lines = 0;
  uint32_t failures = 0;
  uint64_t ends[END_KINDS] = {};
};

struct Child {
  pid_t pid = 0;
  int output = -1;
};

void writeWhole(int descriptor, const std::string &text) {
  for (size_t at = 0; at < text.size();) {
    const ssize_t written = write(descriptor, text.data() + at, text.size() - at);
    if (written <= 0) _exit(1);
    at += static_cast<size_t>(written);
  }
}

std::string replayText(const SearchRange &range, uint64_t seed) {
  return "  replay: " + range.program + " --seed " + std::to_string(seed) + "\n";
}

void bootOne(const SearchRange &range, uint64_t seed, Job &job, int output) {
  job.seed = seed;
  alarm(LONGEST_BOOT_S);
  const Node node = makeNode(seed);
  const SimulatedBoot booted = boot(node.scenario, node.arguments);
  const Violations violations = judge(node, booted);
  ++job.boots;
  job.lines += booted.trace.size();
  ++job.ends[static_cast<size_t>(booted.outcome.end)];
  if (range.verbose) {
    writeWhole(output, "seed " + std::to_string(seed) + ": " + std::to_string(booted.trace.size()) + " lines, " +
                           booted.trace.back() + "\n");
  }
  if (!violations.empty()) {
    ++job.failures;
    writeWhole(output,
               "seed " + std::to_string(seed) + ":\n" + violationsText(violations, booted) + replayText(range, seed));
  }
  job.seed = 0;
}

[[noreturn]] void work(const SearchRange &range, uint32_t index, Job &job, int output) {
  for (uint64_t i = index; i < range.count && job.failures < MOST_FAILURES; i += range.jobs)
    bootOne(range, range.first + i, job, output);
  _exit(0);
}

Child start(const SearchRange &range, uint32_t index, Job &job) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error(std::string("no pipe: ") + std::strerror(errno));
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error(std::string("no process: ") + std::strerror(errno));
  if (pid == 0) {
    close(ends[0]);
    work(range, index, job, ends[1]);
  }
  close(ends[1]);
  return {pid, ends[0]};
}

// Passes on what the jobs write until all are done.
void passOn(const std::vector<Child> &children) {
  std::vector<pollfd> waits;
  waits.reserve(children.size());
  for (const Child &child : children)
    waits.push_back({child.output, POLLIN, 0});
  size_t open = waits.size();
  while (open > 0) {
    if (poll(waits.data(), waits.size(), -1) < 0) continue;
    for (pollfd &wait : waits) {
      if (wait.revents == 0) continue;
      char text[65536];
      const ssize_t length = read(wait.fd, text, sizeof text);
      if (length > 0) {
        std::fwrite(text, 1, static_cast<size_t>(length), stdout);
      } else {
        close(wait.fd);
        wait.fd = -1;
        --open;
      }
    }
    std::fflush(stdout);
  }
}

// Whether a job came to its end.
bool ended(const SearchRange &range, const Child &child, const Job &job) {
  int status = 0;
  waitpid(child.pid, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
  std::string how = "ended with status " + std::to_string(WEXITSTATUS(status));
  if (WIFSIGNALED(status)) how = std::string("killed by SIG") + sigabbrev_np(WTERMSIG(status));
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)
    how = "not over after " + std::to_string(LONGEST_BOOT_S) + " s";
  std::printf("seed %llu:\n  broken: a boot comes to its end\n  its process was %s\n%s",
              static_cast<unsigned long long>(job.seed), how.c_str(), replayText(range, job.seed).c_str());
  return false;
}

void summary(const std::vector<Job> &jobs, double seconds, uint32_t failures) {
  Job all;
  for (const Job &job : jobs) {
    all.boots += job.boots;
    all.lines += job.lines;
    for (size_t i = 0; i < END_KINDS; ++i)
      all.ends[i] += job.ends[i];
  }
  std::printf("%llu boots, %llu trace lines, %u failures, %.1f s, %.0f boots a second and job\n ",
              static_cast<unsigned long long>(all.boots), static_cast<unsigned long long>(all.lines), failures, seconds,
              static_cast<double>(all.boots) / seconds / static_cast<double>(jobs.size()));
  for (size_t i = 0; i < END_KINDS; ++i)
    std::printf(" %s %llu", END_NAMES[i], static_cast<unsigned long long>(all.ends[i]));
  std::printf("\n");
}

}  // namespace

bool search(const SearchRange &range) {
  const auto begin = std::chrono::steady_clock::now();
  void *shared = mmap(nullptr, sizeof(Job) * range.jobs, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw std::runtime_error(std::string("no shared memory: ") + std::strerror(errno));
  Job *jobs = new (shared) Job[range.jobs];
  std::vector<Child> children;
  for (uint32_t i = 0; i < range.jobs; ++i)
    children.push_back(start(range, i, jobs[i]));
  passOn(children);
  uint32_t failures = 0;
  for (uint32_t i = 0; i < range.jobs; ++i)
    failures += jobs[i].failures + (ended(range, children[i], jobs[i]) ? 0 : 1);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  summary({jobs, jobs + range.jobs}, seconds.count(), failures);
  munmap(shared, sizeof(Job) * range.jobs);
  return failures == 0;
}

}  // namespace boots
