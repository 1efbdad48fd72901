// Makes a pair of keys for a gateway.
#ifndef ORV_TOOLS_KEYGENERATION_H
#define ORV_TOOLS_KEYGENERATION_H

#include "KeyFiles.h"
#include "Status.h"

namespace orv::keys {

// Fails with a sentence where ZeroMQ, which makes the keys, is not installed or cannot encrypt. It is loaded for this
// alone: the tool has no other use for it.
Status generateKeyPair(KeyPair &pair);

}  // namespace orv::keys

#endif
