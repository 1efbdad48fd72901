#include "RaisedError.h"

#include <algorithm>
#include <charconv>

#include "HexText.h"
#include "StoreRecords.h"

namespace orv {
namespace {

// Takes `word` from the front of `rest`.
bool take(std::string_view &rest, std::string_view word) {
  if (!rest.starts_with(word)) return false;
  rest.remove_prefix(word.size());
  return true;
}

bool takeNumber(std::string_view &rest, uint32_t &number, int base) {
  const auto [last, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number, base);
  if (error != std::errc()) return false;
  rest.remove_prefix(static_cast<size_t>(last - rest.data()));
  return true;
}

// " [file:line]" at the end of `rest`; the file's name may have colons.
bool takePosition(std::string_view &rest, RaisedError &error) {
  const size_t begin = rest.rfind(" [");
  if (begin == std::string_view::npos || !rest.ends_with("]")) return false;
  std::string_view position = rest.substr(begin + 2, rest.size() - begin - 3);
  const size_t colon = position.rfind(':');
  if (colon == std::string_view::npos) return false;
  error.file = position.substr(0, colon);
  position.remove_prefix(colon + 1);
  if (!takeNumber(position, error.line, 10) || !position.empty()) return false;
  rest = rest.substr(0, begin);
  return true;
}

}  // namespace

std::string encodeRaisedError(const RaisedError &error) {
  const std::string numbers = "kind " + std::to_string(error.kind) + ", code " + hexText(error.code) + ": ";
  const std::string position = " [" + error.file + ":" + std::to_string(error.line) + "]";
  const size_t taken = numbers.size() + position.size();
  const size_t room = MAX_EVENT_TEXT_LENGTH - std::min(taken, MAX_EVENT_TEXT_LENGTH);
  return numbers + error.text.substr(0, room) + position;
}

std::optional<RaisedError> decodeRaisedError(std::string_view text) {
  RaisedError error;
  if (!take(text, "kind ") || !takeNumber(text, error.kind, 10)) return std::nullopt;
  if (!take(text, ", code 0x") || !takeNumber(text, error.code, 16) || !take(text, ": ")) return std::nullopt;
  if (!takePosition(text, error)) return std::nullopt;
  error.text = text;
  return error;
}

}  // namespace orv
