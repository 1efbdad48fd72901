#include "ResetHold.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

#include "Clock.h"
#include "FlightRecord.h"
#include "NodePaths.h"
#include "RunRecord.h"
#include "StateFile.h"

namespace orv {
namespace {

constexpr const char *FILE_NAME = "reset-hold";
constexpr const char *HOLD = "the hold of resets";  // in messages
constexpr size_t MAX_SIZE = 256;                    // bytes

// The end, on CLOCK_BOOTTIME, of a text "<boot id> <ns>\n" of this boot; 0 of any other.
uint64_t endOf(std::string_view text) {
  const std::string start = currentBootId() + " ";
  if (!text.starts_with(start) || !text.ends_with("\n")) return 0;
  text.remove_prefix(start.size());
  text.remove_suffix(1);
  uint64_t end = 0;
  const auto [last, error] = std::from_chars(text.data(), text.data() + text.size(), end);
  return error == std::errc() && last == text.data() + text.size() ? end : 0;
}

}  // namespace

Status holdResets(const std::string &stateDirectory, uint32_t minutes) {
  if (minutes == 0 || minutes > MAX_RESET_HOLD_MIN) {
    return Status::failure(EINVAL, "resets cannot be held for " + std::to_string(minutes) +
                                       " minutes (choose from 1 to " + std::to_string(MAX_RESET_HOLD_MIN) + ")");
  }
  if (Status status = ensurePrivateDirectory(stateDirectory); !status.ok()) return status;
  const uint64_t end = boottimeNs() + minutes * NS_PER_MIN;
  return replaceStateFile(stateDirectory, FILE_NAME, HOLD, currentBootId() + " " + std::to_string(end) + "\n");
}

Status releaseResets(const std::string &stateDirectory, bool &wasHeld) {
  uint64_t leftNs = 0;
  // Result not examined: what cannot be read is removed all the same.
  static_cast<void>(resetHoldLeft(stateDirectory, leftNs));
  wasHeld = leftNs != 0;
  const std::string path = stateDirectory + "/" + FILE_NAME;
  if (unlink(path.c_str()) == 0 || errno == ENOENT) return Status::success();
  return systemFailure(errno, std::string("cannot remove ") + HOLD + " " + path);
}

Status resetHoldLeft(const std::string &stateDirectory, uint64_t &leftNs) {
  leftNs = 0;
  std::optional<std::string> text;
  Status found = readStateFile(stateDirectory, FILE_NAME, HOLD, MAX_SIZE, text);
  if (!found.ok() || !text) return found;
  const uint64_t end = endOf(*text);
  const uint64_t now = boottimeNs();
  if (end > now) leftNs = end - now;
  return Status::success();
}

}  // namespace orv
