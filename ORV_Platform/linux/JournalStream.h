// A program's way to the journal.
#ifndef ORV_LINUX_JOURNALSTREAM_H
#define ORV_LINUX_JOURNALSTREAM_H

#include <string>

namespace orv {

// Where this process's own standard error goes to the journal (as systemd says by JOURNAL_STREAM), a stream into it
// under `identifier`, open for as long as the object lives.
class JournalStream {
 public:
  explicit JournalStream(const std::string &identifier);
  ~JournalStream();
  JournalStream(const JournalStream &) = delete;
  JournalStream &operator=(const JournalStream &) = delete;
  // The stream's descriptor, -1 where there is none.
  int descriptor() const {
    return descriptor_;
  }

 private:
  int descriptor_ = -1;
};

}  // namespace orv

#endif
