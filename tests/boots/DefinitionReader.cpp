#include "DefinitionReader.h"

#include "Numbers.h"

namespace boots {
namespace {

constexpr size_t MOST = 64;
constexpr size_t LINE_LENGTH = 859;
constexpr size_t NAME_LENGTH = 31;
constexpr size_t TEXT_LENGTH = 255;

std::string_view unquoted(std::string_view text) {
  if (text == "\"") return "";
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"') return text.substr(1, text.size() - 2);
  return text;
}

}  // namespace

Application readApplication(std::string_view line) {
  Application result;
  for (int field = 0; field < 5; ++field) {
    const size_t end = line.find(';');
    if (end == std::string_view::npos) return result;
    const std::string_view text = line.substr(0, end);
    line.remove_prefix(end + 1);
    if (field == 0) result.name = text.substr(0, NAME_LENGTH);
    if (field == 1) result.path = text.substr(0, TEXT_LENGTH);
    if (field == 2) result.args = unquoted(text).substr(0, TEXT_LENGTH);
    // The fourth has no effect.
    if (field == 4) result.flags = static_cast<uint32_t>(readSigned(text, 10).value);
  }
  result.tag = line.substr(0, TEXT_LENGTH);
  return result;
}

bool DefinitionReader::read(std::optional<char> character) {
  if (!character) return last_ != '\0' && endLine();
  last_ = *character;
  if (last_ == '\n' || last_ == '\r' || line_.size() == LINE_LENGTH) return endLine();
  line_ += last_;
  return true;
}

bool DefinitionReader::endLine() {
  if (applications_.size() == MOST) return false;
  const std::string_view text = std::string_view(line_).substr(0, line_.find('\0'));
  if (!text.empty() && text.front() != '#') applications_.push_back(readApplication(text));
  line_.clear();
  last_ = '\0';
  return true;
}

}  // namespace boots
