#include "ListeningSockets.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>

namespace orv {
namespace {

template <typename Number>
std::optional<Number> parsed(std::string_view text, int base) {
  Number number = 0;
  const auto [last, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return error == std::errc() && last == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::vector<std::string> fieldsOf(const std::string &line) {
  std::istringstream fields(line);
  return {std::istream_iterator<std::string>(fields), std::istream_iterator<std::string>()};
}

// "0100007F:0050": words of 32 bits in the machine's order, and the port.
std::optional<std::string> addressText(const std::string &field) {
  constexpr size_t WORD_DIGITS = 8;
  const size_t colon = field.find(':');
  if (colon == std::string::npos || colon % WORD_DIGITS != 0) return std::nullopt;
  const std::optional<uint32_t> port = parsed<uint32_t>(std::string_view(field).substr(colon + 1), 16);
  unsigned char address[16] = {};
  if (!port || (colon != WORD_DIGITS && colon != 4 * WORD_DIGITS)) return std::nullopt;
  for (size_t i = 0; i < colon / WORD_DIGITS; ++i) {
    const auto word = parsed<uint32_t>(std::string_view(field).substr(i * WORD_DIGITS, WORD_DIGITS), 16);
    if (!word) return std::nullopt;
    std::memcpy(address + 4 * i, &*word, sizeof *word);
  }
  char text[INET6_ADDRSTRLEN] = "";
  const bool isFour = colon == WORD_DIGITS;
  inet_ntop(isFour ? AF_INET : AF_INET6, address, text, sizeof text);
  return (isFour ? std::string(text) : "[" + std::string(text) + "]") + ":" + std::to_string(*port);
}

std::string readFile(const std::string &path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::set<uint64_t> socketInodes(uint32_t pid) {
  constexpr std::string_view PREFIX = "socket:[";
  std::set<uint64_t> inodes;
  std::error_code failed;  // of a process that is gone, or somebody else's
  for (const auto &entry : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd", failed)) {
    const std::string target = std::filesystem::read_symlink(entry.path(), failed).string();
    if (!target.starts_with(PREFIX) || !target.ends_with("]")) continue;
    const auto inode =
        parsed<uint64_t>(std::string_view(target).substr(PREFIX.size(), target.size() - PREFIX.size() - 1), 10);
    if (inode) inodes.insert(*inode);
  }
  return inodes;
}

}  // namespace

std::map<uint64_t, std::string> listenersInTcp(const std::string &text) {
  constexpr size_t ADDRESS = 1;
  constexpr size_t STATE = 3;
  constexpr size_t INODE = 9;
  std::map<uint64_t, std::string> listeners;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::vector<std::string> fields = fieldsOf(line);
    if (fields.size() <= INODE || fields[STATE] != "0A") continue;
    const std::optional<std::string> address = addressText(fields[ADDRESS]);
    const std::optional<uint64_t> inode = parsed<uint64_t>(fields[INODE], 10);
    if (address && inode) listeners[*inode] = "tcp " + *address;
  }
  return listeners;
}

std::map<uint64_t, std::string> listenersInUnix(const std::string &text) {
  constexpr size_t FLAGS = 3;
  constexpr size_t INODE = 6;
  constexpr size_t PATH = 7;
  constexpr uint32_t ACCEPTS_CONNECTIONS = 0x10000;
  std::map<uint64_t, std::string> listeners;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::vector<std::string> fields = fieldsOf(line);
    if (fields.size() <= PATH) continue;
    const std::optional<uint32_t> flags = parsed<uint32_t>(fields[FLAGS], 16);
    const std::optional<uint64_t> inode = parsed<uint64_t>(fields[INODE], 10);
    if (flags && inode && (*flags & ACCEPTS_CONNECTIONS) != 0) listeners[*inode] = "unix " + fields[PATH];
  }
  return listeners;
}

std::vector<std::string> listeningSockets(uint32_t pid) {
  const std::set<uint64_t> inodes = socketInodes(pid);
  if (inodes.empty()) return {};
  const std::string net = "/proc/" + std::to_string(pid) + "/net/";
  std::vector<std::string> found;
  for (const auto &listeners : {listenersInTcp(readFile(net + "tcp")), listenersInTcp(readFile(net + "tcp6")),
                                listenersInUnix(readFile(net + "unix"))}) {
    for (const auto &[inode, text] : listeners) {
      if (inodes.contains(inode)) found.push_back(text);
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace orv
