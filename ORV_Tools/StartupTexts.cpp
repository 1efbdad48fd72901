#include "StartupTexts.h"

#include <charconv>
#include <system_error>

namespace orv {
namespace {

// A number at the front of `text`, which it is taken from.
template <typename Number>
std::optional<Number> takeNumber(std::string_view &text, int base = 10) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return number;
}

bool takeText(std::string_view &text, std::string_view expected) {
  if (!text.starts_with(expected)) return false;
  text.remove_prefix(expected.size());
  return true;
}

bool takeEnd(std::string_view &text, std::string_view expected) {
  if (!text.ends_with(expected)) return false;
  text.remove_suffix(expected.size());
  return true;
}

// What stands before and after `separator`: the first, or the last there is.
struct Halves {
  std::string_view before;
  std::string_view after;
};
std::optional<Halves> split(std::string_view text, std::string_view separator, size_t at) {
  if (at == std::string_view::npos) return std::nullopt;
  return Halves{text.substr(0, at), text.substr(at + separator.size())};
}
std::optional<Halves> splitFirst(std::string_view text, std::string_view separator) {
  return split(text, separator, text.find(separator));
}
std::optional<Halves> splitLast(std::string_view text, std::string_view separator) {
  return split(text, separator, text.rfind(separator));
}

}  // namespace

std::optional<PidText> parsePidText(std::string_view text) {
  if (!takeText(text, "pid ")) return std::nullopt;
  const std::optional<uint32_t> pid = takeNumber<uint32_t>(text);
  if (!pid || (!text.empty() && !takeText(text, ": "))) return std::nullopt;
  return PidText{*pid, std::string(text)};
}

std::optional<uint16_t> parseNodeId(std::string_view text) {
  if (!takeText(text, "node id ")) return std::nullopt;
  const std::optional<uint16_t> number = takeNumber<uint16_t>(text);
  return text.empty() ? number : std::nullopt;
}

std::optional<int32_t> parseWaitStatus(std::string_view text) {
  if (!takeText(text, "wait status ")) return std::nullopt;
  const std::optional<int32_t> status = takeNumber<int32_t>(text);
  return text.empty() ? status : std::nullopt;
}

std::optional<std::string> parseAwaitedTag(std::string_view text, std::string_view euName) {
  if (takeText(text, euName)) takeText(text, " ");
  if (!takeText(text, "(tag ") || !takeEnd(text, ")")) return std::nullopt;
  return std::string(text);
}

bool isAboutTag(std::string_view text, std::string_view tag) {
  return takeText(text, tag) && text.starts_with(" = ");
}

std::optional<std::string_view> daemonLine(std::string_view text) {
  if (!takeText(text, "ORV/OrvDaemon, ")) return std::nullopt;
  return text;
}

std::optional<AskedTag> parseAskedTag(std::string_view line) {
  if (!takeText(line, "readyWait: waiting ")) return std::nullopt;
  const std::optional<uint32_t> budgetMs = takeNumber<uint32_t>(line);
  if (!budgetMs || !takeText(line, " ms for ") || !takeEnd(line, " to be set")) return std::nullopt;
  return AskedTag{std::string(line), *budgetMs};
}

std::optional<std::string> parseTagSetInTime(std::string_view line) {
  if (!takeText(line, "readyWait: ") || !takeEnd(line, " tag set in time")) return std::nullopt;
  return std::string(line);
}

std::optional<ExecutableTag> parseExecutableTag(std::string_view line) {
  if (!takeText(line, "parseExeDefs: Executable '") || !takeEnd(line, "'")) return std::nullopt;
  const std::optional<Halves> path = splitFirst(line, "' has arguments '");
  if (!path) return std::nullopt;
  const std::optional<Halves> tag = splitLast(path->after, "' and online tag to wait '");
  if (!tag || tag->after.empty()) return std::nullopt;
  return ExecutableTag{std::string(path->before), std::string(tag->after)};
}

std::optional<SentinelText> parseSentinelText(std::string_view line) {
  if (!takeText(line, "exeRun: executable '")) return std::nullopt;
  const std::optional<Halves> flags = splitLast(line, " with supervision flags ");
  if (!flags) return std::nullopt;
  const std::optional<Halves> eu = splitLast(flags->before, ") starting under sentinel EU ");
  if (!eu) return std::nullopt;
  const std::optional<Halves> program = splitFirst(eu->before, "'(");
  std::string_view digits = flags->after;
  takeText(digits, "0x");  // which 0 is written without
  const std::optional<uint32_t> number = takeNumber<uint32_t>(digits, 16);
  if (!program || !number || !digits.empty()) return std::nullopt;
  return SentinelText{std::string(program->before), std::string(program->after), *number};
}

}  // namespace orv
