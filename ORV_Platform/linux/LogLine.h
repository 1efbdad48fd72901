// One line of the node's log, and the forms in which its sinks take it. No effects.
#ifndef ORV_LINUX_LOGLINE_H
#define ORV_LINUX_LOGLINE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace orv {

struct LogLine {
  uint32_t severity = 2;   // as AaSysLogPrint takes it
  std::string text;        // any bytes
  std::string identifier;  // the process's short name
  uint32_t pid = 0;
  uint64_t realtimeNs = 0;
  std::string eu;               // the EU that logs; empty for none
  std::optional<uint16_t> nid;  // of the node, where it is known by now
  std::string application;      // the program that the EU runs, or that logs; empty for none
};

// The severity as syslog and the journal number it: 2 is info (6), 3 warning (4), 4 error (3); below that debug (7),
// above it critical (2).
int syslogSeverity(uint32_t severity);

// The journal's native protocol: MESSAGE, PRIORITY, SYSLOG_IDENTIFIER, ORV_EU, and ORV_NID and ORV_APPLICATION where
// they are known. Texts beyond 48 KiB (the journal's own limit of a line) are cut.
std::string journalDatagram(const LogLine &line);

// What a syslog daemon takes at /dev/log: facility daemon, local time, identifier and pid. Texts beyond 8 KiB are cut.
std::string syslogDatagram(const LogLine &line);

// One message of RFC 5424 for the print port, which has to be one line: control characters become blanks. Facility
// daemon, time in UTC with microseconds, the EU, the node id and the application as structured data. The text has the
// mark that says UTF-8 before it where it is that. At most 2048 bytes, which every receiver is asked to take: a longer
// text is cut.
std::string printPortDatagram(const LogLine &line, const std::string &hostName);

}  // namespace orv

#endif
