// What the daemon's modules share: the global records, the start-up context word, and the fixed source position.
//
// The way of the data is one way: command line to start-up record, tags and the globals below; then the full start-up,
// which only reads them. Every global is written by the option parser in the main thread before the first EU exists, so
// nothing here is locked.
//
// Start-up operations return 1 for success and 0 for failure. The operation that sees a failure logs it; the start-up
// goes on after every failure and always reaches the wait for the shutdown signal.
#ifndef ORV_DAEMON_ORVDAEMON_H
#define ORV_DAEMON_ORVDAEMON_H

#include <cstdint>
#include <cstring>

// Set to 1 by earlyStartup once the platform's early start-up has returned, and never cleared. Until then the system
// log must not be used.
extern uint8_t gEarlyStartupDone;

// SysCom address of the receiver of the initialisation-finished message; 0: none.
extern uint32_t gNotifyReceiver;

// The executable definitions of the command line (grammar: ExecutableDefinitions.h), NUL-terminated; empty: none.
// parseExeDefs cuts it in place.
constexpr size_t EXE_DEF_STRING_SIZE = 256;
extern char gExeDefString[EXE_DEF_STRING_SIZE];

// The source file that raised errors and buffer releases carry. Together with a line number it identifies the statement
// to field tools, which match on the text, so it stays as it is wherever the statement moves.
constexpr const char *SOURCE_FILE = "ORV_Daemon/src/OrvDaemon";

// Stack and priority of the EU that each supervised program gets.
constexpr uint32_t SENTINEL_STACK_BYTES = 0x1024;  // 4132 on purpose, not 4096
constexpr uint32_t SENTINEL_PRIORITY = 31;

// Writes the sender's address into a message that is about to be sent. It is the one header field that is open to the
// sender: a native 32-bit word at byte offset 8.
inline void setMessageSender(void *message, uint32_t sender) {
  constexpr size_t SENDER_OFFSET = 8;
  std::memcpy(static_cast<char *>(message) + SENDER_OFFSET, &sender, sizeof sender);
}

#endif
