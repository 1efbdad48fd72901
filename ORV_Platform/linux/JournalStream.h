// A program's way to the journal.
#ifndef ORV_LINUX_JOURNALSTREAM_H
#define ORV_LINUX_JOURNALSTREAM_H

#include <string>

#include "Descriptor.h"

namespace orv {

// Where this process's own standard error goes to the journal (as systemd says by JOURNAL_STREAM), a stream into it
// under `identifier`; elsewhere nothing (-1).
Descriptor openJournalStream(const std::string &identifier);

}  // namespace orv

#endif
