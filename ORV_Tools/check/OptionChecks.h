// The checks of strings that stand inside others: the executables and the slave nodes of a start-up string.
#ifndef ORV_TOOLS_CHECK_OPTIONCHECKS_H
#define ORV_TOOLS_CHECK_OPTIONCHECKS_H

#include <vector>

#include "Check.h"
#include "check/CheckRun.h"
#include "check/SourceText.h"

namespace orv::checking {

// Checks `part` of `source` as definitions of executables, and adds those that the daemon starts to `units`.
// `input`, where it is not null, gets the records.
void checkExecutablesPart(SourceText &source, Span part, const CheckOptions &options, std::vector<Unit> &units,
                          CheckedInput *input);

// Checks `part` as a list of slave nodes. `counter` counts the slaves of the whole start-up string, from 0.
void checkSlavesPart(SourceText &source, Span part, unsigned &counter);

}  // namespace orv::checking

#endif
