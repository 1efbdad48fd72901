#include "DefinitionTable.h"

namespace orv {
namespace {

bool nextCharacter(void *source, char &character) {
  auto &text = *static_cast<std::string_view *>(source);
  if (text.empty()) return false;
  character = text[0];
  text.remove_prefix(1);
  return true;
}

}  // namespace

std::unique_ptr<AppExeDefTable> readDefinitions(std::string_view text) {
  auto table = std::make_unique<AppExeDefTable>();
  parseAppExeDefs(nextCharacter, &text, *table);
  return table;
}

}  // namespace orv
