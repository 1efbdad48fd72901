// orvctl check over arbitrary bytes: the walks stay within the text, expect what the daemon's parsers make of it, and
// what is found can be shown. The first byte chooses the kind of text.
#include <cstring>
#include <string>
#include <vector>

#include "Check.h"
#include "DefinitionTable.h"
#include "Require.h"
#include "Utf8.h"
#include "check/DaemonParsers.h"
#include "check/DefinitionWalk.h"

namespace {

using orvfuzz::require;

void checkWalk(const std::string &text) {
  const auto table = orv::readDefinitions(text);
  unsigned index = 0;
  for (const orv::checking::WalkedLine &line : orv::checking::walkDefinitions(text)) {
    require(line.span.end() <= text.size());
    if (!line.isRead || line.kind != orv::checking::WalkedLine::Kind::DEFINITION) continue;
    require(index < table->count);
    require(std::memcmp(&line.expected, &table->definitions[index++], sizeof line.expected) == 0);
  }
  require(index == table->count);
}

// No byte of the text reaches a terminal that could mean something to it.
void checkShown(const std::string &shown) {
  require(orv::isUtf8(shown));
  for (const char byte : shown)
    require(static_cast<unsigned char>(byte) >= ' ' || byte == '\n');
}

void checkResult(const orv::CheckResult &result) {
  for (const orv::Finding &finding : result.findings) {
    require(!finding.what.empty() && !finding.why.empty() && !finding.instead.empty());
    if (finding.line == 0) continue;
    require(finding.column >= 1 && finding.column - 1 + finding.length <= finding.lineText.size());
    require(finding.lineText.find('\n') == std::string::npos);
  }
  checkShown(orv::checkText(result));
  checkShown(orv::checkJson(result));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const std::string text(data + 1, data + size);
  orv::CheckOptions options;
  options.programs = false;
  orv::CheckRequest request;
  switch (data[0] % 4) {
    case 0:
      checkWalk(text);
      checkResult(orv::checkDefinitionText(text, "file", options));
      return 0;
    case 1:
      request.executables.push_back(text);
      break;
    case 2:
      request.startups.push_back(text);
      break;
    default:
      request.tagLists.push_back(text);
      break;
  }
  checkResult(orv::check(request, options));
  return 0;
}
