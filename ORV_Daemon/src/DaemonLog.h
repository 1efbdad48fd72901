// The daemon's log: every line goes to the console (standard error) and, once the platform's early start-up has
// returned, to the platform's system log.
//
// The lines' texts, their order and their severities are an interface: operators and scripts match on them.
// May be called from any EU. Nothing is locked; a failing write is neither detected nor reported.
#ifndef ORV_DAEMON_DAEMONLOG_H
#define ORV_DAEMON_DAEMONLOG_H

#include <cstdint>
#include <sstream>
#include <string>
#include <utility>

// What AaSysLogPrint takes; each goes with one label.
enum Severity : uint32_t { SEVERITY_INFO = 2, SEVERITY_WARNING = 3, SEVERITY_ERROR = 4 };

// Where a line goes. A value that is none of these counts as LOG_BOTH.
enum LogMode : int {
  LOG_CONSOLE_UNTIL_SYSTEM_LOG = 0,  // the console only while there is no system log yet
  LOG_CONSOLE_ONLY = 1,
  LOG_BOTH = 2,
};

// Writes one line. The label ("Info", "Warning", "Error") heads the console line only; the system log marks the line by
// its severity.
void daemonLog(uint32_t severity, const std::string &label, int mode, const std::string &message);

// A message as all are built: the reporting function's name, ": ", and the pieces with a string stream's formatting
// (manipulators among the pieces act on those after them).
template <class... Pieces>
std::string logMessage(const char *function, const Pieces &...pieces) {
  // Most messages fit into what the stream starts with, so that it need not grow.
  constexpr size_t USUAL_LENGTH = 191;
  std::string text;
  text.reserve(USUAL_LENGTH);
  std::ostringstream stream(std::move(text));
  stream << function << ": ";
  static_cast<void>((stream << ... << pieces));
  return std::move(stream).str();
}

template <class... Pieces>
void logInfo(const char *function, const Pieces &...pieces) {
  daemonLog(SEVERITY_INFO, "Info", LOG_BOTH, logMessage(function, pieces...));
}

template <class... Pieces>
void logWarning(const char *function, const Pieces &...pieces) {
  daemonLog(SEVERITY_WARNING, "Warning", LOG_BOTH, logMessage(function, pieces...));
}

template <class... Pieces>
void logError(const char *function, const Pieces &...pieces) {
  daemonLog(SEVERITY_ERROR, "Error", LOG_BOTH, logMessage(function, pieces...));
}

#endif
