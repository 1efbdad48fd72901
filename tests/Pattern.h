// Extended regular expressions, those of POSIX: std::regex makes the sanitizers' builds warn of its own code.
#ifndef ORV_TESTS_PATTERN_H
#define ORV_TESTS_PATTERN_H

#include <regex.h>

#include <stdexcept>
#include <string>

class Pattern {
 public:
  explicit Pattern(const std::string &text) {
    if (regcomp(&compiled_, text.c_str(), REG_EXTENDED) != 0) throw std::runtime_error("no pattern: " + text);
  }
  ~Pattern() {
    regfree(&compiled_);
  }
  Pattern(const Pattern &) = delete;
  Pattern &operator=(const Pattern &) = delete;

  // Whether it is found in `text`: ^ and $ in the pattern mean the whole of it.
  bool isIn(const std::string &text) const {
    return regexec(&compiled_, text.c_str(), 0, nullptr, 0) == 0;
  }
  // `text` with each place replaced.
  std::string replacedIn(const std::string &text, const std::string &by) const {
    std::string result;
    size_t at = 0;
    regmatch_t match;
    while (regexec(&compiled_, text.c_str() + at, 1, &match, at == 0 ? 0 : REG_NOTBOL) == 0 && match.rm_eo > 0) {
      result += text.substr(at, static_cast<size_t>(match.rm_so)) + by;
      at += static_cast<size_t>(match.rm_eo);
    }
    return result + text.substr(at);
  }

 private:
  regex_t compiled_{};
};

#endif
