// The sinks of the node's log: the journal where there is one (ORV_JOURNAL_SOCKET, else the usual place), else a syslog
// daemon (ORV_SYSLOG_SOCKET, else /dev/log), the print port where the start-up record names one, and always the node's
// events. None of them makes who logs wait: see LogSink.h and StoreWriter.h.
#ifndef ORV_LINUX_SYSTEMLOG_H
#define ORV_LINUX_SYSTEMLOG_H

#include <cstdint>
#include <string>

#include "LogLine.h"

namespace orv {

// Writes one line. May be called from any thread and at any time; what a sink cannot take is lost for that sink.
void writeSystemLog(uint32_t severity, std::string text);

// The sinks alone, the journal or else syslog, and the print port: the way of a line that is an event already.
void writeToLogSinks(const LogLine &line);

}  // namespace orv

#endif
