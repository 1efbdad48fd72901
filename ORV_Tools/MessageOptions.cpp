#include "MessageOptions.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>

#include "Commands.h"
#include "ParsedOption.h"

namespace orv {
namespace {

std::optional<uint32_t> parseUpTo(uint32_t smallest, uint32_t largest, const std::string &text) {
  const std::optional<uint32_t> number = parseNumber(text);
  return number && *number >= smallest && *number <= largest ? number : std::nullopt;
}

// NID:CPID, or both in one number as the daemon's notifreceiver has them.
std::optional<uint32_t> parseAddress(const std::string &text) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return parseNumber(text);
  const std::optional<uint32_t> node = parseUpTo(0, UINT16_MAX, text.substr(0, colon));
  const std::optional<uint32_t> cpid = parseUpTo(0, UINT16_MAX, text.substr(colon + 1));
  if (!node || !cpid) return std::nullopt;
  return *node << 16 | *cpid;
}

// Two hexadecimal digits a byte.
std::optional<std::string> parseBytes(const std::string &text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  for (size_t i = 0; i < text.size(); i += 2) {
    unsigned char byte = 0;
    const char *const end = text.data() + i + 2;
    const auto [last, error] = std::from_chars(text.data() + i, end, byte, 16);
    if (error != std::errc() || last != end) return std::nullopt;
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

constexpr const char *ADDRESS = "an address (NID:CPID such as 0x1011:0x04e7, or both in one number: 0x101104e7)";
constexpr const char *NUMBER = "a number from 0 to 4294967295";

}  // namespace

void addSendOptions(CLI::App &command, MessageArguments &arguments) {
  addParsedValue(command, "--to", "Receiver; the node ids 0x0f01 and 0x0ff0 mean this node", ADDRESS,
                 arguments.receiver, parseAddress)
      ->required()
      ->type_name("NID:CPID");
  addParsedValue(command, "--id", "Message id, also as 0x...", NUMBER, arguments.messageId, parseNumber)
      ->required()
      ->type_name("NUMBER");
  addParsedValue(command, "--from", "Sender, whom the receiver may answer (else 0: nobody)", ADDRESS, arguments.sender,
                 parseAddress)
      ->type_name("NID:CPID");
  CLI::Option *payload = addParsedValue(command, "--payload", "Payload in hexadecimal digits, two a byte (else empty)",
                                        "a text of hexadecimal digits, two a byte", arguments.payload, parseBytes)
                             ->type_name("HEX");
  CLI::Option *text = command.add_option("--text", arguments.payload, "Payload as text")->type_name("TEXT");
  CLI::Option *file = command.add_option("--file", arguments.payloadFile, "Payload from a file")->type_name("FILE");
  payload->excludes(text)->excludes(file);
  text->excludes(file);
}

void addListenOptions(CLI::App &command, MessageArguments &arguments) {
  command.footer(
      "A message is one line, with the process that handed it over, and its payload as text where it is one,\n"
      "else in hexadecimal digits. Ends after --count messages, after --timeout, or by SIGINT or SIGTERM.\n"
      "\n"
      "Exit codes:\n"
      "  0  as many messages as asked for have come; without --count: at least one, or a signal ended it\n"
      "  1  they have not\n"
      "  2  the command makes no sense\n"
      "  3  the system failed: no node there, somebody else has the CPID");
  addParsedValue(command, "--cpid", "CPID to receive under, also as 0x...", "a number from 1 to 65535", arguments.cpid,
                 [](const std::string &text) { return parseUpTo(1, UINT16_MAX, text); })
      ->required()
      ->type_name("NUMBER");
  addParsedValue(command, "--count", "End after so many messages", "a number from 1 to 4294967295", arguments.count,
                 [](const std::string &text) { return parseUpTo(1, UINT32_MAX, text); })
      ->type_name("NUMBER");
  addParsedValue(command, "--timeout", "End after so long (else never)", "a number of seconds", arguments.timeoutS,
                 parseSeconds)
      ->type_name("SECONDS");
  command.add_flag("--json", arguments.json, "Print an object of JSON a line instead");
}

}  // namespace orv
