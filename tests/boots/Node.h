// A node to boot: all that the daemon's run depends on.
#ifndef ORV_BOOTS_NODE_H
#define ORV_BOOTS_NODE_H

#include <string>
#include <vector>

#include "Scenario.h"

namespace boots {

struct Node {
  orv::sim::Scenario scenario;
  std::vector<std::string> arguments;  // the daemon's, its name not among them
};

}  // namespace boots

#endif
