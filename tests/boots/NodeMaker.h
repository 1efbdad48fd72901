// Makes a random node from a seed. The same seed makes the same node on every machine.
//
// Most nodes are small and meet one or two misfortunes, so that many can be booted; large definition files, waits of
// four minutes and long lists come now and then.
#ifndef ORV_BOOTS_NODEMAKER_H
#define ORV_BOOTS_NODEMAKER_H

#include <cstdint>

#include "Node.h"

namespace boots {

Node makeNode(uint64_t seed);

}  // namespace boots

#endif
