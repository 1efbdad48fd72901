// One executable definition string.
#include "Executables.h"
#include "FuzzNode.h"

using orvfuzz::require;

namespace {

void checkRecord(const ExeDef &definition) {
  require(orvfuzz::isClearedBehindText(definition.path));
  require(orvfuzz::isClearedBehindText(definition.args));
  require(orvfuzz::isClearedBehindText(definition.onlineTag));
  require(definition.path[0] != '\0');
  require(std::strpbrk(definition.path, " |") == nullptr);
  require(std::strchr(definition.args, '|') == nullptr);
  require(std::strpbrk(definition.onlineTag, "#|") == nullptr);
  require(definition.supervisionFlags == 0 || definition.supervisionFlags == 2);
  if (definition.supervisionFlags == 0) {
    require(definition.onlineTag[0] == '\0');
    require(std::strchr(definition.path, '#') == nullptr && std::strchr(definition.args, '#') == nullptr);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text = orvfuzz::textOf(data, size);
  std::vector<char> argument = orvfuzz::writable(text);
  ExeDefTable table;
  std::memset(&table, 0x5a, sizeof table);
  const int result = parseExeDefs(argument.data(), table);
  require(result == 0 || result == 1);
  require(table.count <= MAX_EXE_DEFS);
  const size_t definitions = orvfuzz::withoutEmpty(orvfuzz::split(text, "|")).size();
  require(table.count <= definitions);
  if (result == 0) require(definitions > MAX_EXE_DEFS && table.count == MAX_EXE_DEFS);
  for (unsigned i = 0; i < table.count; ++i)
    checkRecord(table.definitions[i]);
  return 0;
}
