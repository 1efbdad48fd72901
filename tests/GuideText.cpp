#include "GuideText.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>

namespace {

using Lines = std::vector<std::string>;

constexpr const char *FENCE = "```";
constexpr const char *HIDDEN_BEGIN = "<!-- guide: ";
constexpr const char *HIDDEN_END = " -->";
constexpr const char *ANYTHING = "…";
const std::set<std::string> ATTRIBUTES = {"by", "file", "source", "terminal"};

[[noreturn]] void refuse(size_t lineNumber, const std::string &what) {
  throw std::runtime_error("line " + std::to_string(lineNumber) + ": " + what);
}

// The words behind the three backquotes: the language, and attributes.
struct Fence {
  std::string language;
  std::map<std::string, std::string> attributes;
};

Fence fenceOf(const std::string &line, size_t lineNumber) {
  std::istringstream words(line.substr(3));
  Fence fence;
  words >> fence.language;
  for (std::string word; words >> word;) {
    const size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    if (equals == std::string::npos || !ATTRIBUTES.contains(name)) {
      refuse(lineNumber, "\"" + word + "\" is none of by=, file=, source=, terminal=");
    }
    fence.attributes[name] = word.substr(equals + 1);
  }
  return fence;
}

class Parser {
 public:
  explicit Parser(const std::string &text) : text_(text) {}

  std::vector<GuideStep> run() {
    for (std::string line; next(line);) {
      if (line.starts_with(FENCE)) {
        takeBlock(fenceOf(line, lineNumber_));
      } else if (line.starts_with(HIDDEN_BEGIN)) {
        takeHidden(line);
      }
    }
    return steps_;
  }

 private:
  bool next(std::string &line) {
    ++lineNumber_;
    return static_cast<bool>(std::getline(text_, line));
  }

  GuideStep &add(GuideStep::Kind kind, unsigned terminal) {
    GuideStep step;
    step.kind = kind;
    step.lineNumber = lineNumber_;
    step.terminal = terminal;
    return steps_.emplace_back(step);
  }

  void takeHidden(const std::string &line) {
    const std::string begin = HIDDEN_BEGIN;
    if (!line.ends_with(HIDDEN_END)) refuse(lineNumber_, "the comment does not end in its line");
    add(GuideStep::Kind::HIDDEN, 1).text =
        line.substr(begin.size(), line.size() - begin.size() - std::string(HIDDEN_END).size());
  }

  void takeBlock(const Fence &fence) {
    const auto file = fence.attributes.find("file");
    const auto terminal = fence.attributes.find("terminal");
    if (file != fence.attributes.end()) {
      GuideStep &step = add(GuideStep::Kind::WRITTEN_FILE, 1);
      step.name = file->second;
      if (const auto source = fence.attributes.find("source"); source != fence.attributes.end())
        step.source = source->second;
      for (std::string line; nextOfBlock(line);)
        step.text += line + "\n";
    } else if (const auto script = fence.attributes.find("by"); script != fence.attributes.end()) {
      add(GuideStep::Kind::ELSEWHERE, 0).source = script->second;
      for (std::string line; nextOfBlock(line);) {
      }
    } else if (fence.language == "console") {
      takeConsole(terminal == fence.attributes.end() ? 1U : static_cast<unsigned>(std::stoul(terminal->second)));
    } else {
      refuse(lineNumber_, "nothing runs this block (it is neither ```console nor a file=)");
    }
  }

  bool nextOfBlock(std::string &line) {
    const size_t begin = lineNumber_;
    if (!next(line)) refuse(begin, "the block does not end");
    return line != FENCE;
  }

  bool hasCommand(unsigned terminal) const {
    return std::any_of(steps_.begin(), steps_.end(), [&](const GuideStep &step) {
      return step.kind == GuideStep::Kind::COMMAND && step.terminal == terminal;
    });
  }

  void takeConsole(unsigned terminal) {
    const size_t first = steps_.size();
    for (std::string line; nextOfBlock(line);) {
      if (line.starts_with("$ ")) {
        add(GuideStep::Kind::COMMAND, terminal).text = line.substr(2);
      } else if (line == "^C") {
        add(GuideStep::Kind::INTERRUPT, terminal);
      } else if (steps_.size() == first) {
        if (!hasCommand(terminal)) refuse(lineNumber_, "output without a command above it");
        add(GuideStep::Kind::MORE_OUTPUT, terminal).output.push_back(line);
      } else if (line.starts_with("> ") && steps_.back().output.empty()) {
        steps_.back().text += "\n" + line.substr(2);
      } else {
        steps_.back().output.push_back(line);
      }
    }
    if (steps_.size() == first) refuse(lineNumber_, "a console without a command");
  }

  std::istringstream text_;
  size_t lineNumber_ = 0;
  std::vector<GuideStep> steps_;
};

struct Wildcard {
  const char *text;
  const char *expression;
};

constexpr Wildcard WILDCARDS[] = {
    {"<pid>", "[0-9]+"},
    {"<n>", "[0-9]+(\\.[0-9]+)?"},
    {"<time>", "[0-9]{2}:[0-9]{2}:[0-9]{2}(\\.[0-9]+)?"},
    {"<date>", "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}(\\.[0-9]+)?( [+-][0-9]{4})?"},
    {ANYTHING, ".*"},
};

std::string replaced(std::string text, const std::string &part, const std::string &by) {
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + by.size()))
    text.replace(at, part.size(), by);
  return text;
}

std::string quotedForExpression(const std::string &text) {
  std::string quoted;
  for (const char letter : text) {
    if (std::string("\\^$.|?*+()[]{}").find(letter) != std::string::npos) quoted += '\\';
    quoted += letter;
  }
  return quoted;
}

// `shown` as a regular expression, and whether it has wildcards.
std::string expressionOf(const std::string &shown, bool &hasWildcard) {
  const std::string plain = quotedForExpression(shown);
  std::string expression = plain;
  for (const Wildcard &wildcard : WILDCARDS)
    expression = replaced(expression, wildcard.text, wildcard.expression);
  hasWildcard = expression != plain;
  return expression;
}

class Comparison {
 public:
  Comparison(const Lines &shown, const Lines &lines, const std::string &here, bool beginningIsEnough)
      : lines_(lines), beginningIsEnough_(beginningIsEnough) {
    for (const std::string &line : shown) {
      bool hasWildcard = false;
      shown_.push_back(replaced(line, "<here>", here));
      expressions_.push_back(expressionOf(shown_.back(), hasWildcard));
      isLoose_ |= hasWildcard && line != ANYTHING;
    }
  }

  // From line `i` of what is shown and line `j` of what there is.
  bool matchesFrom(size_t i, size_t j) {
    for (; i < shown_.size(); ++i, ++j) {
      if (shown_[i] == ANYTHING) {
        for (size_t next = j; next <= lines_.size(); ++next) {
          if (matchesFrom(i + 1, next)) return true;
        }
        return false;
      }
      if (j >= lines_.size() || !lineMatches(i, lines_[j])) return false;
    }
    matched_ = j;
    return beginningIsEnough_ || j == lines_.size();
  }
  size_t matched() const {
    return matched_;
  }

 private:
  bool lineMatches(size_t i, const std::string &line) const {
    if (!isLoose_) return shown_[i] == line;
    return std::regex_match(line, std::regex(std::regex_replace(expressions_[i], std::regex(" +"), " +")));
  }

  Lines shown_;
  Lines expressions_;
  const Lines &lines_;
  bool beginningIsEnough_;
  bool isLoose_ = false;
  size_t matched_ = 0;
};

}  // namespace

std::vector<GuideStep> parseGuide(const std::string &text) {
  return Parser(text).run();
}

std::vector<GuideStep> readGuide(const std::string &fileName) {
  std::ostringstream text;
  std::ifstream file(fileName);
  text << file.rdbuf();
  if (!file) throw std::runtime_error("cannot read " + fileName);
  return parseGuide(text.str());
}

bool matchesShown(const Lines &shown, const Lines &lines, const std::string &here) {
  return Comparison(shown, lines, here, false).matchesFrom(0, 0);
}

std::optional<size_t> beginsAsShown(const Lines &shown, const Lines &lines, const std::string &here) {
  Comparison comparison(shown, lines, here, true);
  return comparison.matchesFrom(0, 0) ? std::optional(comparison.matched()) : std::nullopt;
}
