// Whether a program that a definition names can be started where it is to run.
#ifndef ORV_TOOLS_CHECK_PROGRAMCHECK_H
#define ORV_TOOLS_CHECK_PROGRAMCHECK_H

#include <string>
#include <vector>

#include "Check.h"
#include "check/SourceText.h"

namespace orv::checking {

// What is wrong with the program `path`: the file itself, the interpreter and the shared libraries that it needs, and
// whether it is for this processor. Looks, and runs nothing.
std::vector<Complaint> programComplaints(const std::string &path, const CheckOptions &options);

// What is wrong with the file `path` that somebody is to read.
std::vector<Complaint> fileComplaints(const std::string &path, const CheckOptions &options);

}  // namespace orv::checking

#endif
