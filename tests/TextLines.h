// Texts line by line, as programs print them.
#ifndef ORV_TESTS_TEXTLINES_H
#define ORV_TESTS_TEXTLINES_H

#include <string>
#include <vector>

inline std::string joined(const std::vector<std::string> &lines) {
  std::string text;
  for (const std::string &line : lines)
    text += line + "\n";
  return text;
}

inline bool contains(const std::string &whole, const std::string &part) {
  return whole.find(part) != std::string::npos;
}

#endif
