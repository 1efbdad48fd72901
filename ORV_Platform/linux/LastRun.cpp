#include "LastRun.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace orv {
namespace {

// The kernel's records that were not there at the start before: what the last run left.
std::vector<KernelRecord> newKernelRecords(const StartFindings &findings) {
  const std::vector<FlightEntry> &entries = findings.flight.entries;
  const auto start = std::find_if(entries.rbegin(), entries.rend(),
                                  [](const FlightEntry &entry) { return entry.kind == FlightKind::STARTED; });
  std::vector<KernelRecord> records;
  for (const KernelRecord &record : findings.word.kernelRecords) {
    const bool isOld = start != entries.rend() && std::find(start->kernelRecords.begin(), start->kernelRecords.end(),
                                                            record.identity) != start->kernelRecords.end();
    if (!isOld) records.push_back(record);
  }
  return records;
}

bool hasPanic(const std::vector<KernelRecord> &records) {
  return std::any_of(records.begin(), records.end(),
                     [](const KernelRecord &record) { return record.headline.starts_with("Panic"); });
}

LastEnd endOf(const StartFindings &findings, const std::vector<KernelRecord> &records) {
  const RunRecord &before = findings.before;
  if (!findings.runKnown || before.bootId.empty()) return LastEnd::UNKNOWN;
  if (!before.up) return LastEnd::STOPPED;
  const FlightEntry *request = lastRequestBefore(findings.flight, findings.flight.entries.size());
  const bool requested = request != nullptr && request->bootId == before.bootId;
  if (before.bootId == findings.bootId) return requested ? LastEnd::RESET_NOT_MADE : LastEnd::DAEMON_DIED;
  if (requested) return LastEnd::RESET_MADE;
  if (hasPanic(records)) return LastEnd::PANIC;
  return findings.word.watchdogReset ? LastEnd::WATCHDOG : LastEnd::OUTSIDE;
}

std::string endText(int32_t waitStatus) {
  if (WIFEXITED(waitStatus)) return "exited with " + std::to_string(WEXITSTATUS(waitStatus));
  if (!WIFSIGNALED(waitStatus)) return "ended with wait status " + std::to_string(waitStatus);
  const int signal = WTERMSIG(waitStatus);
  const char *name = sigabbrev_np(signal);
  return "was killed by signal " + std::to_string(signal) + (name == nullptr ? "" : std::string(" (SIG") + name + ")");
}

std::string causeText(const FlightEntry &entry) {
  switch (entry.cause) {
    case ResetCause::PROGRAM_ENDED:
      return ", which " + endText(entry.waitStatus);
    case ResetCause::LAUNCH_FAILED:
      return ", which could not be started: " + std::generic_category().message(std::abs(entry.result));
    case ResetCause::NOT_ONLINE:
      return ", which did not set its tag " + entry.tag + " in time";
    case ResetCause::UNKNOWN:
      break;
  }
  return "";
}

}  // namespace

const char *lastEndText(LastEnd end) {
  switch (end) {
    case LastEnd::STOPPED:
      return "it was shut down";
    case LastEnd::DAEMON_DIED:
      return "its daemon ended without a shutdown, and the machine stayed up";
    case LastEnd::RESET_MADE:
      return "the board was reset, as the node had requested";
    case LastEnd::RESET_NOT_MADE:
      return "the node requested a board reset that never came, and its daemon ended without a shutdown";
    case LastEnd::PANIC:
      return "the kernel panicked";
    case LastEnd::WATCHDOG:
      return "a watchdog reset the board, and not at the node's request";
    case LastEnd::OUTSIDE:
      return "the power was cut, or the board was reset from outside";
    case LastEnd::UNKNOWN:
      break;
  }
  return "nothing is known of it";
}

std::string requesterText(const FlightEntry &entry) {
  const std::string name = entry.euName.empty() ? "somebody unknown" : entry.euName;
  // An executable's EU has the name of its program.
  if (entry.path.empty() || (entry.path == entry.euName && entry.args.empty())) return name + causeText(entry);
  return name + " (" + entry.path + (entry.args.empty() ? "" : " " + entry.args) + ")" + causeText(entry);
}

const FlightEntry *lastRequestBefore(const FlightRecord &record, size_t start) {
  for (size_t i = start; i > 0; --i) {
    const FlightEntry &entry = record.entries[i - 1];
    if (entry.kind == FlightKind::RESET_REQUESTED) return &entry;
    // A request that was held off says nothing of one that was made before it.
    if (entry.kind != FlightKind::RESET_HELD) return nullptr;
  }
  return nullptr;
}

FlightEntry judgeLastRun(const StartFindings &findings) {
  const std::vector<KernelRecord> records = newKernelRecords(findings);
  FlightEntry entry;
  entry.kind = FlightKind::STARTED;
  entry.bootId = findings.bootId;
  entry.lastEnd = endOf(findings, records);
  entry.damagedEntries = findings.flight.damagedEntries;
  // The boot status is that of the last reset of the board; within one boot it has been told already.
  if (findings.before.bootId != findings.bootId) entry.boardWords = findings.word.watchdogs;
  for (const KernelRecord &record : records)
    entry.boardWords.push_back("pstore has " + record.name +
                               (record.headline.empty() ? "" : " (" + record.headline + ")"));
  for (const KernelRecord &record : findings.word.kernelRecords)
    entry.kernelRecords.push_back(record.identity);
  return entry;
}

}  // namespace orv
