#include "AaSysLog.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "AaStartup.h"
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

// The sinks by their own protocols and not by sd_journal_send and syslog, which wait for a receiver that does not read.
// Never destroyed: EUs may still log while the process exits.

LogSink &journal() {
  static const std::string path = environmentOr("ORV_JOURNAL_SOCKET", JOURNAL_SOCKET);
  static auto *sink = new LogSink(
      "the journal", journalDatagram, [](std::string_view datagram) { return sendToPath(path, datagram); },
      monotonicNs);
  return *sink;
}

LogSink &syslogDaemon() {
  static const std::string path = environmentOr("ORV_SYSLOG_SOCKET", SYSLOG_SOCKET);
  static auto *sink = new LogSink(
      "the syslog daemon", syslogDatagram, [](std::string_view datagram) { return sendToPath(path, datagram); },
      monotonicNs);
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
  static const std::string ownEu = environmentOr("ORV_EU_NAME", "");
  if (const EuRecord *eu = currentEuRecord()) {
    line.eu = eu->name;
    line.application = eu->path;
  } else if (!ownEu.empty()) {
    line.eu = ownEu;
    line.application = program_invocation_name;
  }
}

LogLine lineOf(uint32_t severity, const std::string &text) {
  LogLine line;
  line.severity = severity;
  line.text = text;
  line.identifier = program_invocation_short_name;
  line.pid = static_cast<uint32_t>(getpid());
  line.realtimeNs = realtimeNs();
  line.nid = nodeId();
  takeOrigin(line);
  return line;
}

void appendLogEvent(uint32_t severity, const std::string &text) {
  Event event;
  event.kind = EventKind::LOG;
  event.code = severity;
  event.euId = currentEu();
  event.text = text;
  recordEvent(std::move(event));
}

// What `format` and `arguments` make, whatever its length.
std::string formatText(const char *format, va_list arguments) {
  char *text = nullptr;
  const int length = vasprintf(&text, format, arguments);
  if (length < 0) return format;
  const std::unique_ptr<char, decltype(&std::free)> owner(text, std::free);
  return std::string(text, static_cast<size_t>(length));
}

}  // namespace

void writeSystemLog(uint32_t severity, const std::string &text) {
  const LogLine line = lineOf(severity, text);
  if (!journal().write(line)) static_cast<void>(syslogDaemon().write(line));
  printLine(line);
  appendLogEvent(severity, text);
}

}  // namespace orv

extern "C" int32_t AaSysLogPrint(uint32_t severity, const char *format, ...) {
  if (format == nullptr) return EINVAL;
  va_list arguments;
  va_start(arguments, format);
  int32_t result = 0;
  try {
    // A program that only logs is one of the node as well: its first line opens the store.
    orv::nodeStore();
    const std::string text = orv::formatText(format, arguments);
    orv::writeSystemLog(severity, text);
    if (orv::inStartupEu()) orv::noteLogLine(text);
  } catch (const std::exception &) {
    result = ENOMEM;
  }
  va_end(arguments);
  return result;
}
