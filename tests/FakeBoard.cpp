#include "FakeBoard.h"

#include <regex>

FakeBoard::Lines FakeBoard::story() const {
  const CommandResult result = orvctl({"why-reset"});
  EXPECT_EQ(WEXITSTATUS(result.waitStatus), 0);
  EXPECT_EQ(result.errors, Lines());
  Lines lines;
  for (const std::string &line : result.output) {
    std::string text =
        std::regex_replace(line, std::regex("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d \\+0000"), "TIME");
    text = std::regex_replace(text, std::regex("\\d+ s after"), "AGE after");
    // Whether an application that fails at once is faster than the rest of the start-up is nobody's business.
    lines.push_back(std::regex_replace(text, std::regex("start-up, (starting|running)\\)"), "start-up)"));
  }
  return lines;
}
