// orvctl check: what the daemon will make of an application definition file, a string of executables, a start-up string
// and a list of tags, and everything in them that it would accept in silence though it is most likely not meant.
//
// What is shown as read comes from the daemon's own parsers. They report nothing, so where a finding stands is found by
// a second walk over the text; tests hold the two together. Nothing is changed, started or sent; the programs that the
// texts name are looked at and not run.
//
// Not for two threads at once: the daemon's parsers keep what they read in global records, as in the daemon.
#ifndef ORV_TOOLS_CHECK_H
#define ORV_TOOLS_CHECK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orv {

enum class CheckSeverity {
  WARNING,  // accepted in silence, and most likely not meant
  ERROR     // an application will not start, or will not come online
};

// One thing that is wrong, and where.
struct Finding {
  CheckSeverity severity = CheckSeverity::WARNING;
  std::string kind;      // a word that stays, for programs: "cut-field", "program-missing"
  std::string file;      // the input: name of the file, or the option ("--executable")
  size_t line = 0;       // from 1; 0: the input as a whole, and then there are no column and text
  size_t column = 0;     // in bytes, from 1
  size_t length = 0;     // in bytes; 0: the place before the column
  std::string lineText;  // the whole line without its line feed
  std::string what;      // what is wrong
  std::string why;       // what the daemon does with it
  std::string instead;   // what to write
};

// One column of a table of records.
struct RecordColumn {
  std::string title;  // for people
  std::string key;    // for programs
  bool isNumber = false;
};

enum class CheckInputKind { DEFINITIONS, EXECUTABLES, STARTUP, TAGS };

// One input, as the daemon's parser has read it.
struct CheckedInput {
  CheckInputKind kind = CheckInputKind::DEFINITIONS;
  std::string name;     // as in Finding::file
  std::string problem;  // why it could not be read; empty: it was
  std::vector<RecordColumn> columns;
  std::vector<std::vector<std::string>> records;  // a cell for each column
};

struct CheckResult {
  std::vector<CheckedInput> inputs;
  std::vector<Finding> findings;  // by input, then by place
  size_t awaitedTags = 0;         // online tags that the start-up waits for
  uint64_t longestStartMs = 0;    // how long it waits when none of them is set
};

struct CheckOptions {
  std::string root;        // root of the file system in which programs are looked for; empty: this machine's
  bool programs = true;    // look at the programs at all
  std::string searchPath;  // where programs without a "/" are looked up, as in PATH
};

struct CheckRequest {
  std::vector<std::string> files;  // application definition files; "-": standard input
  std::vector<std::string> executables;
  std::vector<std::string> startups;
  std::vector<std::string> tagLists;       // of the daemon's option -c
  std::vector<std::string> shortTagLists;  // of its option -s
};

// Exit codes of orvctl check; the first three are those of a result.
constexpr int EXIT_CHECK_CLEAN = 0;
constexpr int EXIT_CHECK_WARNINGS = 1;  // where warnings count
constexpr int EXIT_CHECK_ERRORS = 2;
constexpr int EXIT_CHECK_UNREADABLE = 3;
constexpr int EXIT_CHECK_BAD_USE = 64;

// All inputs as parts of one start-up: what one of them says about another counts too.
CheckResult check(const CheckRequest &request, const CheckOptions &options);

// One application definition file, by its name and by its text.
CheckResult checkDefinitionFile(const std::string &path, const CheckOptions &options);
CheckResult checkDefinitionText(std::string_view text, const std::string &name, const CheckOptions &options);

int checkExitCode(const CheckResult &result, bool strict);

// For people: the records as tables, the findings with their lines, and a summary. In colours where the output has
// them.
std::string checkText(const CheckResult &result);

// For programs: one object, described in docs/orvctl-json.md.
std::string checkJson(const CheckResult &result);

}  // namespace orv

#endif
