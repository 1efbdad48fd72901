// Files below a folder that stands for the root of another machine.
#ifndef ORV_TOOLS_CHECK_ROOTPATH_H
#define ORV_TOOLS_CHECK_ROOTPATH_H

#include <string>

namespace orv::checking {

// A path as it is there and here, with all symbolic links followed.
struct RootedPath {
  int error = 0;      // errno; 0: there is such a file
  std::string there;  // on the machine whose root it is
  std::string here;   // on this one
};

// Follows `path`, which begins with "/", below `root`. Links lead nowhere but below `root`, as they do there. An empty
// root is this machine's.
RootedPath followBelow(const std::string &root, const std::string &path);

}  // namespace orv::checking

#endif
