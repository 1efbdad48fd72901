#include "ArgumentList.h"

#include <cerrno>
#include <cstddef>

namespace orv {
namespace {

class Splitter {
 public:
  explicit Splitter(std::string_view text) : text_(text) {}

  Status split(std::vector<std::string> &arguments) {
    std::vector<std::string> found;
    while (skipBlanks()) {
      std::string word;
      Status status = readWord(word);
      if (!status.ok()) return status;
      found.push_back(std::move(word));
    }
    arguments = std::move(found);
    return Status::success();
  }

 private:
  static bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\n';
  }

  bool atEnd() const {
    return position_ == text_.size();
  }

  // False when nothing follows.
  bool skipBlanks() {
    while (!atEnd() && isBlank(text_[position_]))
      ++position_;
    return !atEnd();
  }

  Status readWord(std::string &word) {
    while (!atEnd() && !isBlank(text_[position_])) {
      const char character = text_[position_];
      Status status;
      if (character == '\'') {
        status = readSingleQuoted(word);
      } else if (character == '"') {
        status = readDoubleQuoted(word);
      } else if (character == '\\') {
        status = readEscaped(word);
      } else {
        word += character;
        ++position_;
      }
      if (!status.ok()) return status;
    }
    return Status::success();
  }

  Status readSingleQuoted(std::string &word) {
    const size_t open = position_;
    const size_t close = text_.find('\'', open + 1);
    if (close == std::string_view::npos) return missingPair('\'', open);
    word += text_.substr(open + 1, close - open - 1);
    position_ = close + 1;
    return Status::success();
  }

  Status readDoubleQuoted(std::string &word) {
    constexpr std::string_view ESCAPABLE = "\"\\$`";
    const size_t open = position_++;
    for (; !atEnd(); ++position_) {
      char character = text_[position_];
      if (character == '"') {
        ++position_;
        return Status::success();
      }
      const bool hasNext = position_ + 1 < text_.size();
      if (character == '\\' && hasNext && ESCAPABLE.find(text_[position_ + 1]) != std::string_view::npos) {
        character = text_[++position_];
      }
      word += character;
    }
    return missingPair('"', open);
  }

  Status readEscaped(std::string &word) {
    if (position_ + 1 == text_.size()) return failure("a backslash at the end", position_);
    word += text_[position_ + 1];
    position_ += 2;
    return Status::success();
  }

  Status missingPair(char quote, size_t position) const {
    return failure(std::string("a ") + quote + " without its pair", position);
  }

  Status failure(const std::string &what, size_t position) const {
    return Status::failure(EINVAL, "arguments not understood: " + what + " at character " +
                                       std::to_string(position + 1) + " of: " + std::string(text_));
  }

  std::string_view text_;
  size_t position_ = 0;
};

}  // namespace

Status splitArguments(std::string_view text, std::vector<std::string> &arguments) {
  return Splitter(text).split(arguments);
}

}  // namespace orv
