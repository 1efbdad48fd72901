#include "TraceReader.h"

#include <charconv>

namespace boots {
namespace {

constexpr uint32_t MOST_EUS = 1000;  // a number beyond is no EU's

template <typename Number>
bool takeNumber(std::string_view &text, Number &number, int base = 10) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return true;
}

// "SECONDS.mmm "
bool takeTime(std::string_view &text, uint64_t &atMs) {
  uint64_t seconds = 0;
  if (!takeNumber(text, seconds) || !takeOff(text, ".") || text.size() < 4 || text[3] != ' ') return false;
  uint32_t thousandths = 0;
  std::string_view digits = text.substr(0, 3);
  if (!takeNumber(digits, thousandths) || !digits.empty()) return false;
  atMs = seconds * 1000 + thousandths;
  text.remove_prefix(4);
  return true;
}

// How long the quoted text at the front is, its quotes included; 0 where there is none.
size_t quotedLength(std::string_view text) {
  if (text.empty() || text.front() != '"') return 0;
  for (size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      return i + 1;
    }
  }
  return 0;
}

// "main ", "node ", "handler " or "NUMBER:NAME ", where a name that is not plain is quoted.
bool takeActor(std::string_view &text, TraceLine &line) {
  if (takeOff(text, "main ")) {
    line.who = Who::MAIN;
    return true;
  }
  if (takeOff(text, "node ")) {
    line.who = Who::NODE;
    return true;
  }
  if (takeOff(text, "handler ")) {
    line.who = Who::HANDLER;
    return true;
  }
  line.who = Who::EU;
  if (!takeNumber(text, line.eu) || line.eu == 0 || line.eu > MOST_EUS || !takeOff(text, ":")) return false;
  const size_t quoted = quotedLength(text);
  const size_t length = quoted != 0 ? quoted : text.find(' ');
  if (length >= text.size() || text[length] != ' ') return false;
  line.name = text.substr(0, length);
  text.remove_prefix(length + 1);
  return true;
}

}  // namespace

bool takeOff(std::string_view &text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

std::optional<std::string> takeQuoted(std::string_view &text) {
  const size_t length = quotedLength(text);
  if (length == 0) return std::nullopt;
  std::string result;
  for (size_t i = 1; i + 1 < length; ++i) {
    if (text[i] != '\\') {
      result += text[i];
    } else if (text[i + 1] == 'n') {
      result += '\n';
      ++i;
    } else if (text[i + 1] == 'x') {
      uint32_t byte = 0;
      std::string_view digits = text.substr(i + 2, 2);
      if (!takeNumber(digits, byte, 16)) return std::nullopt;
      result += static_cast<char>(byte);
      i += 3;
    } else {
      result += text[++i];
    }
  }
  text.remove_prefix(length);
  return result;
}

std::optional<int64_t> wholeNumber(std::string_view text) {
  int64_t number = 0;
  if (!takeNumber(text, number) || !text.empty()) return std::nullopt;
  return number;
}

std::optional<uint32_t> wholeHexadecimal(std::string_view text) {
  uint32_t number = 0;
  if (!takeOff(text, "0x") || !takeNumber(text, number, 16) || !text.empty()) return std::nullopt;
  return number;
}

ReadTrace readTrace(const std::vector<std::string> &lines) {
  ReadTrace result;
  result.lines.reserve(lines.size());
  for (const std::string &text : lines) {
    const auto number = static_cast<uint32_t>(result.lines.size());
    TraceLine &line = result.lines.emplace_back();
    line.text = text;
    if (!takeTime(line.text, line.atMs) || !takeActor(line.text, line)) {
      result.lines.pop_back();
      result.unreadable = number;
      break;
    }
    if (line.who == Who::MAIN) result.main.push_back(number);
    if (line.who != Who::EU) continue;
    if (result.eus.size() <= line.eu) result.eus.resize(size_t{line.eu} + 1);
    result.eus[line.eu].push_back(number);
  }
  return result;
}

}  // namespace boots
