#include "FakeBoard.h"

#include "Pattern.h"

FakeBoard::Lines FakeBoard::story() const {
  const CommandResult result = orvctl({"why-reset"});
  EXPECT_EQ(WEXITSTATUS(result.waitStatus), 0);
  EXPECT_EQ(result.errors, Lines());
  const Pattern time("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} \\+0000");
  const Pattern age("[0-9]+ s after");
  const Pattern stage("start-up, (starting|running)\\)");
  Lines lines;
  for (const std::string &line : result.output) {
    std::string text = time.replacedIn(line, "TIME");
    text = age.replacedIn(text, "AGE after");
    // Whether an application that fails at once is faster than the rest of the start-up is nobody's business.
    lines.push_back(stage.replacedIn(text, "start-up)"));
  }
  return lines;
}
