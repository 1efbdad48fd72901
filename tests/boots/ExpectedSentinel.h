// What a program's sentinel EU does.
#ifndef ORV_BOOTS_EXPECTEDSENTINEL_H
#define ORV_BOOTS_EXPECTEDSENTINEL_H

#include "EuWalk.h"
#include "ExpectedStartup.h"

namespace boots {

// Throws Cut or a Violation.
void walkSentinel(EuWalk &walk, const Sentinel &sentinel);

}  // namespace boots

#endif
