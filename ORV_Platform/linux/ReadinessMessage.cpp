#include "ReadinessMessage.h"

namespace orv {

ReadinessMessage parseReadinessMessage(std::string_view text) {
  constexpr std::string_view STATUS = "STATUS=";
  ReadinessMessage message;
  if (text.ends_with('\0')) text.remove_suffix(1);
  while (!text.empty()) {
    const size_t lineEnd = text.find('\n');
    const std::string_view line = text.substr(0, lineEnd);
    if (line == "READY=1") message.ready = true;
    if (line.starts_with(STATUS)) message.status = std::string(line.substr(STATUS.size()));
    if (lineEnd == std::string_view::npos) break;
    text.remove_prefix(lineEnd + 1);
  }
  return message;
}

}  // namespace orv
