// Boots that are about the command line: what its options print and call, and what they leave in the start-up record.
#ifndef ORV_TESTS_OPTIONBOOTS_H
#define ORV_TESTS_OPTIONBOOTS_H

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "ExpectedTrace.h"

struct OptionCase {
  std::string name;                    // the behaviour, as the name of a test
  std::vector<std::string> arguments;  // the daemon's, its own name not among them
  // All that the main thread prints and calls while it reads them, "0.000 main " left out.
  std::string lines;
  // What the start-up record then has in place of the platform's defaults: "nid=0x1011 testerPort=15006".
  std::string record = {};
  std::vector<orv::sim::CallResult> calls = {};  // what the platform answers
};

// Whether the daemon does exactly that after its early start-up, and then comes up, lives and ends as without options.
testing::AssertionResult bootsAs(const OptionCase &expected);

// Lines of the main thread at the start of the process: "0.000 main " before each.
std::string byMain(const std::string &lines);

// The text of a start-up record that differs from the platform's defaults so.
std::string recordWith(const std::string &changes);

// What the main thread does around the options in a boot without failures, and the usage text, without "0.000 main ".
extern const char *const EARLY_STARTUP;
extern const char *const USAGE;
extern const char *const LIFE;

// For parameterised tests: the behaviour is the test's name.
void PrintTo(const OptionCase &optionCase, std::ostream *stream);
std::string nameOf(const testing::TestParamInfo<OptionCase> &info);

#endif
