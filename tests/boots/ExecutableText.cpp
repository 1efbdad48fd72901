#include "ExecutableText.h"

namespace boots {
namespace {

constexpr size_t MOST = 3;
constexpr size_t TEXT_LENGTH = 255;
constexpr size_t TAG_LENGTH = 80;
constexpr uint32_t FLAGS_WITH_TAG = 2;

// The text up to the next '|', taken off; pieces without a character are none.
bool takePiece(std::string_view &text, std::string_view &piece) {
  while (!text.empty() && text.front() == '|')
    text.remove_prefix(1);
  if (text.empty()) return false;
  piece = text.substr(0, text.find('|'));
  text.remove_prefix(piece.size());
  return true;
}

Executable readExecutable(std::string_view text) {
  Executable result;
  while (!text.empty() && text.front() == ' ')
    text.remove_prefix(1);
  if (const size_t marker = text.rfind('#'); marker != std::string_view::npos) {
    result.tag = text.substr(marker + 1).substr(0, TAG_LENGTH);
    result.flags = FLAGS_WITH_TAG;
    text = text.substr(0, marker);
  }
  if (const size_t blank = text.find(' '); blank != std::string_view::npos) {
    result.args = text.substr(blank + 1).substr(0, TEXT_LENGTH);
    text = text.substr(0, blank);
  }
  result.path = text.substr(0, TEXT_LENGTH);
  return result;
}

}  // namespace

Executables readExecutables(std::string_view text) {
  Executables result;
  std::string_view piece;
  while (takePiece(text, piece)) {
    if (result.known.size() == MOST) {
      result.tooMany = true;
      break;
    }
    Executable executable = readExecutable(piece);
    if (!executable.path.empty()) result.known.push_back(std::move(executable));
  }
  return result;
}

}  // namespace boots
