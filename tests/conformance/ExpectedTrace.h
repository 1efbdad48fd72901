// Exact comparison of a boot's trace with what a test says in a few lines.
//
// An expected trace is text, one line of the trace a line; leading blanks and empty lines do not count. Four short
// forms stand for the lines that would hide the story (T: the time, A: the actor):
//   T A Info: TEXT              a log line, on the console and in the system log; also Warning: and Error:
//   T A polls "TAG" N times     N tests of a tag that is not set, each followed by the sleep of a poll interval
//   T A reads file N: "TEXT"    the characters of the file one by one (\n and \xNN escaped), then its end
//   BANNER                      anywhere in a line: the daemon's build banner
#ifndef ORV_TESTS_EXPECTEDTRACE_H
#define ORV_TESTS_EXPECTEDTRACE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SimulatedBoot.h"

using TraceLines = std::vector<std::string>;

// The lines that an expected text stands for.
TraceLines expandTrace(const std::string &expected);

// Parts of a trace: the lines of one actor (as the trace names it); those from the first that ends with `first` to the
// first behind it that ends with `last`, both included; those whose text contains `part`.
TraceLines linesOf(const TraceLines &trace, const std::string &actor);
TraceLines linesBetween(const TraceLines &trace, const std::string &first, const std::string &last);
TraceLines linesWith(const TraceLines &trace, const std::string &part);

// Whether the lines are exactly the expected ones; shows the first difference with what is around it.
testing::AssertionResult isTrace(const TraceLines &lines, const std::string &expected);

#endif
