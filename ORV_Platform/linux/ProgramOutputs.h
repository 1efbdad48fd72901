// The outputs of the programs that run, on their way to the store and to where the daemon's own output goes. For the
// caretaker's thread alone.
#ifndef ORV_LINUX_PROGRAMOUTPUTS_H
#define ORV_LINUX_PROGRAMOUTPUTS_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Descriptor.h"
#include "OutputLines.h"

namespace orv {

class ProgramOutputs {
 public:
  ProgramOutputs();

  void add(int pipe, pid_t program, uint32_t euId, const std::string &euName);

  // Takes what waits in the pipe `program`'s output comes through, a bounded amount at once.
  void read(pid_t program);

  // The program has ended; takes what it left in the pipe. Who inherited the pipe may go on writing.
  void programEnded(pid_t program, bool failed);

  // Takes what is left in all pipes, at the end of the CE shutdown.
  void finishAll();

  // Whether a line without an end has been waiting; and what makes it a line of its own.
  bool hasUnfinishedLines() const;
  void flushUnfinishedLines();

 private:
  struct Output {
    Descriptor pipe;
    Descriptor journal;
    uint32_t euId;
    OutputLines lines;
    bool programEnded = false;
  };

  bool readOnce(Output &output);
  void readToTheEnd(Output &output);
  void show(const Output &output, const char *bytes, size_t count);
  void showOnStandardOutput(const char *bytes, size_t count);
  void finish(Output &output);
  void forget(pid_t program);

  std::map<pid_t, Output> outputs_;
  std::unique_ptr<char[]> buffer_;  // not touched before there is something to read
  Descriptor standardOutput_;       // as it is opened for this; none where it cannot be
  std::vector<OutputLine> lines_;
  bool leftOutReported_ = false;
};

}  // namespace orv

#endif
