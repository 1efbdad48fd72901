// Which of the shared libraries that a program needs are not to be found, looked for as the dynamic linker does:
// DT_RPATH and DT_RUNPATH, the folders of ld.so.conf, the usual ones. LD_LIBRARY_PATH is the environment's and unknown.
#ifndef ORV_TOOLS_CHECK_LIBRARYSEARCH_H
#define ORV_TOOLS_CHECK_LIBRARYSEARCH_H

#include <string>
#include <vector>

#include "check/ElfHeader.h"
#include "check/RootPath.h"

namespace orv::checking {

struct MissingLibrary {
  std::string name;
  std::string neededBy;  // path of the library or program
};

// Of the program at `program`, below `root`.
std::vector<MissingLibrary> missingLibraries(const std::string &root, const RootedPath &program,
                                             const ElfHeader &header);

}  // namespace orv::checking

#endif
