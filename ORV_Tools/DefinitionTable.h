// The application definition file as the daemon reads it.
#ifndef ORV_TOOLS_DEFINITIONTABLE_H
#define ORV_TOOLS_DEFINITIONTABLE_H

#include <memory>
#include <string_view>

#include "ApplicationDefinitions.h"

namespace orv {

// The file that is read where no tag names one.
constexpr const char *DEFAULT_DEFINITION_FILE = "/rom/AppDef.txt";

// What the daemon's own parser makes of the text of a definition file.
std::unique_ptr<AppExeDefTable> readDefinitions(std::string_view text);

}  // namespace orv

#endif
