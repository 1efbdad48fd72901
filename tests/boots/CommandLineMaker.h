// Makes a command line of options of all kinds, wrong ones included.
#ifndef ORV_BOOTS_COMMANDLINEMAKER_H
#define ORV_BOOTS_COMMANDLINEMAKER_H

#include <string>
#include <vector>

#include "Random.h"

namespace boots {

//   executables  the value of the start-up key for them; empty: without the key
std::vector<std::string> makeArguments(Random &random, const std::string &executables);

}  // namespace boots

#endif
