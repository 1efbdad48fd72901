#include "PrintPort.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <limits>

#include "Clock.h"
#include "Datagrams.h"
#include "LogSink.h"
#include "NodeStore.h"

namespace orv {
namespace {

constexpr const char *VARIABLE = "ORV_PRINT_PORT";
constexpr unsigned PORT_BITS = 16;

// Address and port in one word, so that a change of them is one; 0 is closed.
std::atomic<uint64_t> &openPort() {
  static std::atomic<uint64_t> theOpenPort = [] {
    const char *text = std::getenv(VARIABLE);
    const std::optional<PrintPortAddress> address = parsePrintPort(text == nullptr ? "" : text);
    return address ? uint64_t{address->ip} << PORT_BITS | address->port : 0;
  }();
  return theOpenPort;
}

std::string hostName() {
  char name[256] = "";
  if (gethostname(name, sizeof name - 1) != 0) return "";
  return name;
}

LogSink &sink() {
  // Never destroyed: EUs may still log while the process exits.
  static auto *theSink = new LogSink(
      "the print port", [host = hostName()](const LogLine &line) { return printPortDatagram(line, host); },
      [](std::string_view datagram) {
        const uint64_t port = openPort();
        return sendToPort(static_cast<uint32_t>(port >> PORT_BITS), static_cast<uint16_t>(port & 0xFFFF), datagram);
      },
      monotonicNs);
  return *theSink;
}

}  // namespace

std::string printPortText(const PrintPortAddress &address) {
  const in_addr ip{htonl(address.ip)};
  char text[INET_ADDRSTRLEN];
  return std::string(inet_ntop(AF_INET, &ip, text, sizeof text)) + ":" + std::to_string(address.port);
}

std::optional<PrintPortAddress> parsePrintPort(const std::string &text) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return std::nullopt;
  in_addr ip{};
  if (inet_pton(AF_INET, text.substr(0, colon).c_str(), &ip) != 1) return std::nullopt;
  PrintPortAddress address;
  address.ip = ntohl(ip.s_addr);
  const char *begin = text.data() + colon + 1;
  const char *end = text.data() + text.size();
  const auto [last, error] = std::from_chars(begin, end, address.port);
  if (error != std::errc() || last != end || address.port == 0) return std::nullopt;
  return address;
}

void closePrintPort() {
  unsetenv(VARIABLE);
  openPort() = 0;
}

Status openPrintPort(uint32_t ip, uint32_t port) {
  if (port > std::numeric_limits<uint16_t>::max()) {
    return Status::failure(EINVAL, "the print port " + std::to_string(port) +
                                       " is no UDP port, so that nothing is printed (choose from 1 to 65535)");
  }
  if (port == 0) return Status::success();
  const PrintPortAddress address{ip, static_cast<uint16_t>(port)};
  setenv(VARIABLE, printPortText(address).c_str(), 1);
  openPort() = uint64_t{address.ip} << PORT_BITS | address.port;
  return Status::success();
}

void printLine(const LogLine &line) {
  // Result not examined: who does not listen has nothing to be told.
  if (openPort() != 0) static_cast<void>(sink().write(line));
}

}  // namespace orv
