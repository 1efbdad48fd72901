// The operations that several EUs have in common.
#ifndef ORV_BOOTS_EXPECTEDOPERATIONS_H
#define ORV_BOOTS_EXPECTEDOPERATIONS_H

#include <cstdint>
#include <string>

#include "EuWalk.h"

namespace boots {

// The wait for a tag; returns whether it was set in time.
//   remainingMs  in: the budget; out: what is left of it
bool walkOnlineWait(EuWalk &walk, const std::string &tag, uint32_t &remainingMs);

// The request for a board reset, which need not come back.
void walkBoardReset(EuWalk &walk);

// The run of a program; returns whether it was a success.
bool walkRun(EuWalk &walk, uint32_t flags, const std::string &path, const std::string &args);

// A raised error.
void walkRaise(EuWalk &walk, Rule rule, const std::string &kindAndCode, const std::string &text, uint32_t line);

// The file name that the daemon gives where the platform asks for one.
inline constexpr const char *SOURCE_PATH = "\"ORV_Daemon/src/OrvDaemon\"";

}  // namespace boots

#endif
