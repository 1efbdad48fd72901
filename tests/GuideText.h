// A guide of docs/ as the steps that its reader takes. Every fenced block is one of these, and one that nothing runs is
// refused, so that a guide can show nothing that is not so:
//
//   ```console             commands ("$ ", continued on lines that begin with "> ") and below each what it prints;
//                          "^C" alone presses Ctrl-C; output at the beginning is what a command that still runs in this
//                          terminal goes on to print
//   ```console terminal=2  the same in a second terminal
//   ```LANGUAGE file=NAME  a file that the reader writes, in the folder in which he works
//   ```c file=NAME source=PATH  the same; the file stands in the project as well, at that path
//   ```console by=PATH     commands that a script of the project runs, as it reads them in the guide: what takes too
//   long
//                          or changes the machine
//   <!-- guide: COMMAND --> a line of its own: something to do that the reader does not see, and that has to succeed
//
// In what a command prints these stand for what varies:
//
//   <pid> <n>   a process's number; any number, also one with a fraction
//   <time>      a time of day;  <date> a date with a time of day, as orvctl prints them
//   <here>      the folder in which the reader works
//   …           anything within a line, also nothing; alone on a line: any number of lines, also none
//
// In an output that has one of them within a line, blanks may be more or fewer, so that columns may have other widths.
#ifndef ORV_TESTS_GUIDETEXT_H
#define ORV_TESTS_GUIDETEXT_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

struct GuideStep {
  enum class Kind {
    COMMAND,       // `text`, and `output` is what is shown below it
    INTERRUPT,     // Ctrl-C; `output` is what is shown below it
    MORE_OUTPUT,   // `output` of the command that still runs
    WRITTEN_FILE,  // `name` with the content `text`
    HIDDEN,        // `text`
    ELSEWHERE      // `source` is the script that runs the block
  };
  Kind kind = Kind::COMMAND;
  size_t lineNumber = 0;
  unsigned terminal = 1;
  std::string name;
  std::string source;
  std::string text;
  std::vector<std::string> output;
};

// The steps of a guide. Throws std::runtime_error, with the line's number, for a block that is none of these.
std::vector<GuideStep> readGuide(const std::string &fileName);
std::vector<GuideStep> parseGuide(const std::string &text);

// Whether `lines` are what is shown. `here` is the folder in which the reader works.
bool matchesShown(const std::vector<std::string> &shown, const std::vector<std::string> &lines,
                  const std::string &here);
// How many of `lines` are what is shown, where they begin with it; nothing where they do not.
std::optional<size_t> beginsAsShown(const std::vector<std::string> &shown, const std::vector<std::string> &lines,
                                    const std::string &here);

#endif
