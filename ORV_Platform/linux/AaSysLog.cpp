#include "AaSysLog.h"

#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "ExecutionUnits.h"
#include "Platform.h"
#include "StoreWriter.h"
#include "SystemLog.h"

namespace orv {
namespace {

int syslogPriority(uint32_t severity) {
  switch (severity) {
    case SEVERITY_INFO:
      return LOG_INFO;
    case SEVERITY_WARNING:
      return LOG_WARNING;
    case SEVERITY_ERROR:
      return LOG_ERR;
    default:  // the daemon uses no other; applications may
      return severity < SEVERITY_INFO ? LOG_DEBUG : LOG_CRIT;
  }
}

// True when there was a journal to write to. libsystemd says nothing when there is none, so its socket is looked for.
bool writeJournal(uint32_t severity, const std::string &text) {
  if (access("/run/systemd/journal/socket", W_OK) != 0) return false;
  const std::string fields[] = {
      "MESSAGE=" + text,
      "PRIORITY=" + std::to_string(syslogPriority(severity)),
      std::string("SYSLOG_IDENTIFIER=") + program_invocation_short_name,
      "ORV_EU=" + currentEuName(),
  };
  std::vector<iovec> vectors;
  for (const std::string &field : fields) {
    vectors.push_back({const_cast<char *>(field.data()), field.size()});
  }
  return sd_journal_sendv(vectors.data(), static_cast<int>(vectors.size())) == 0;
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
  // Most lines fit, and a thread that waits for days keeps no memory for having logged one.
  std::array<char, 512> line;
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(line.data(), line.size(), format, arguments);
  std::string text;
  if (length < 0) {
    text = format;
  } else if (static_cast<size_t>(length) < line.size()) {
    text.assign(line.data(), static_cast<size_t>(length));
  } else {
    text.resize(static_cast<size_t>(length));
    std::vsnprintf(text.data(), text.size() + 1, format, again);
  }
  va_end(again);
  return text;
}

}  // namespace

void writeSystemLog(uint32_t severity, const std::string &text) {
  if (!writeJournal(severity, text) && access("/dev/log", W_OK) == 0) {
    syslog(LOG_DAEMON | syslogPriority(severity), "%s", text.c_str());
  }
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
    orv::writeSystemLog(severity, orv::formatText(format, arguments));
  } catch (const std::exception &) {
    result = ENOMEM;
  }
  va_end(arguments);
  // The node's start-up has been deep in its stack, with a table of 64 definitions; its last word is a line of the log,
  // and then it waits for as long as the node is up.
  if (orv::currentEuIsJoinable()) orv::releaseUnusedStack();
  return result;
}
