// One application definition file, NULs and all.
#include <memory>

#include "Applications.h"
#include "FuzzNode.h"

using orvfuzz::require;

namespace {

struct Source {
  const uint8_t *next;
  const uint8_t *end;
};

bool readCharacter(void *source, char &character) {
  auto *bytes = static_cast<Source *>(source);
  if (bytes->next == bytes->end) return false;
  character = static_cast<char>(*bytes->next++);
  return true;
}

void checkRecord(const AppExeDef &definition) {
  require(orvfuzz::isClearedBehindText(definition.name));
  require(orvfuzz::isClearedBehindText(definition.path));
  require(orvfuzz::isClearedBehindText(definition.args));
  require(orvfuzz::isClearedBehindText(definition.onlineTag));
  require(std::strpbrk(definition.name, ";\r\n") == nullptr);
  require(std::strpbrk(definition.path, ";\r\n") == nullptr);
  require(std::strpbrk(definition.args, ";\r\n") == nullptr);
  require(std::strpbrk(definition.onlineTag, "\r\n") == nullptr);
  require(definition.name[0] != '#');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Source source{data, data + size};
  const auto table = std::make_unique<AppExeDefTable>();
  std::memset(table.get(), 0x5a, sizeof *table);
  parseAppExeDefs(readCharacter, &source, *table);
  require(table->count <= MAX_APP_EXE_DEFS);
  // Each record took a character of the input at least, and only a full table leaves something unread.
  require(table->count <= size);
  if (table->count < MAX_APP_EXE_DEFS) require(source.next == source.end);
  for (unsigned i = 0; i < table->count; ++i)
    checkRecord(table->definitions[i]);
  return 0;
}
