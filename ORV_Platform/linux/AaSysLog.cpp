#include "AaSysLog.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "AaStartup.h"
#include "Clock.h"
#include "Datagrams.h"
#include "ExecutionUnits.h"
#include "FlightRecord.h"
#include "LogSink.h"
#include "Platform.h"
#include "PrintPort.h"
#include "StartupStage.h"
#include "StoreWriter.h"
#include "SystemLog.h"

namespace orv {
namespace {

constexpr const char *JOURNAL_SOCKET = "/run/systemd/journal/socket";
constexpr const char *SYSLOG_SOCKET = "/dev/log";

std::string environmentOr(const char *name, const char *fallback) {
  const char *value = std::getenv(name);
  return value == nullptr || *value == '\0' ? fallback : value;
}

// A sink by its own protocol and not by sd_journal_send or syslog, which wait for a receiver that does not read. Like
// all that is kept here it is never destroyed: EUs may still log while the process exits.
LogSink *makeSink(const char *name, const LogSink::Format &format, const std::string &path) {
  return new LogSink(
      name, format, [path](std::string_view datagram) { return sendToPath(path, datagram); }, monotonicNs);
}

LogSink &journal() {
  static auto *sink = makeSink("the journal", journalDatagram, environmentOr("ORV_JOURNAL_SOCKET", JOURNAL_SOCKET));
  return *sink;
}

LogSink &syslogDaemon() {
  static auto *sink = makeSink("the syslog daemon", syslogDatagram, environmentOr("ORV_SYSLOG_SOCKET", SYSLOG_SOCKET));
  return *sink;
}

// The node's id as far as it is known: in the daemon from its start-up record, elsewhere from the store, once the CE is
// up.
std::optional<uint16_t> nodeId() {
  static std::atomic<int32_t> known{-1};
  if (gOrvStartupConfig.nid != 0) return gOrvStartupConfig.nid;
  if (known < 0) {
    const NodeStore *store = openNodeStore();
    const std::optional<RunInfo> run = store == nullptr ? std::nullopt : store->run();
    if (!run || run->state != RunState::UP) return std::nullopt;
    known = run->nid;
  }
  return static_cast<uint16_t>(known);
}

// Whose line it is: the EU of this thread and its program; in a program of the node the EU that runs it, and itself.
void takeOrigin(LogLine &line) {
  static const auto *ownEu = new std::string(environmentOr("ORV_EU_NAME", ""));
  if (const EuRecord *eu = currentEuRecord()) {
    line.eu = eu->name;
    line.application = eu->path;
  } else if (!ownEu->empty()) {
    line.eu = *ownEu;
    line.application = program_invocation_name;
  }
}

LogLine lineOf(uint32_t severity, std::string &&text) {
  LogLine line;
  line.severity = severity;
  line.text = std::move(text);
  line.identifier = program_invocation_short_name;
  line.pid = static_cast<uint32_t>(getpid());
  line.realtimeNs = realtimeNs();
  line.nid = nodeId();
  takeOrigin(line);
  return line;
}

}  // namespace

void writeToLogSinks(const LogLine &line) {
  if (!journal().write(line)) static_cast<void>(syslogDaemon().write(line));
  printLine(line);
}

void writeSystemLog(uint32_t severity, std::string text) {
  recordLogLine(lineOf(severity, std::move(text)), currentEu());
}

}  // namespace orv

extern "C" int32_t AaSysLogPrint(uint32_t severity, const char *format, ...) {
  if (format == nullptr) return EINVAL;
  // Most lines fit, and a thread that waits for days keeps no memory for having logged one.
  std::array<char, 512> shortText;
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(shortText.data(), shortText.size(), format, arguments);
  va_end(arguments);
  int32_t result = 0;
  try {
    std::string text;
    if (length < 0) {
      text = format;
    } else if (static_cast<size_t>(length) < shortText.size()) {
      text.assign(shortText.data(), static_cast<size_t>(length));
    } else {
      text.resize(static_cast<size_t>(length));
      va_list again;
      va_start(again, format);
      std::vsnprintf(text.data(), text.size() + 1, format, again);
      va_end(again);
    }
    // A program that only logs is one of the node as well: its first line opens the store.
    orv::nodeStore();
    if (orv::inStartupEu()) {
      orv::writeSystemLog(severity, text);
      orv::noteLogLine(text);
    } else {
      orv::writeSystemLog(severity, std::move(text));
    }
  } catch (const std::exception &) {
    result = ENOMEM;
  }
  // The node's start-up has been deep in its stack, with a table of 64 definitions; its last word is a line of the log,
  // and then it waits for as long as the node is up. Not at every line: giving memory back stops all threads of the
  // process for a moment, of which many are starting their programs.
  if (orv::inStartupEu()) orv::releaseReturnedStack();
  return result;
}
