// The print port: where the start-up record says so, each line of the node's log goes there as a datagram of its own.
//
// The daemon opens it at its CE start-up, when the record is complete, and tells its programs by ORV_PRINT_PORT in the
// environment (address:port), so that what they log goes there too.
#ifndef ORV_LINUX_PRINTPORT_H
#define ORV_LINUX_PRINTPORT_H

#include <cstdint>
#include <optional>
#include <string>

#include "LogLine.h"
#include "Status.h"

namespace orv {

struct PrintPortAddress {
  uint32_t ip = 0;  // host byte order
  uint16_t port = 0;
};

// "127.0.0.1:51005" and back; nothing for anything else, and for port 0.
std::string printPortText(const PrintPortAddress &address);
std::optional<PrintPortAddress> parsePrintPort(const std::string &text);

// The early start-up of a daemon: what the environment says was meant for a program of another node.
void closePrintPort();

// The CE start-up: opens the port of the start-up record; port 0 opens none. Fails with EINVAL where it is no UDP port.
Status openPrintPort(uint32_t ip, uint32_t port);

// Sends one line, where the port is open. Never waits.
void printLine(const LogLine &line);

}  // namespace orv

#endif
