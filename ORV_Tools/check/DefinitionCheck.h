// What can be wrong with one definition of an application definition file.
#ifndef ORV_TOOLS_CHECK_DEFINITIONCHECK_H
#define ORV_TOOLS_CHECK_DEFINITIONCHECK_H

#include "check/DefinitionWalk.h"
#include "check/SourceText.h"

namespace orv::checking {

// Checks the fields of `line`, a definition, of which the daemon has made `record`. Returns false where the line is
// none that was meant as a definition, and its fields say nothing.
bool checkDefinition(SourceText &source, const WalkedLine &line, const AppExeDef &record);

}  // namespace orv::checking

#endif
