#include "BoardSettings.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <optional>

#include "PlatformConfig.h"

namespace orv {

uint32_t numberSetting(const NodeStore &store, const char *tagName, uint32_t fallback) {
  const std::optional<Tag> tag = store.tag(tagName);
  return tag && tag->value.type != TagType::STRING ? tag->value.number : fallback;
}

std::string textSetting(const NodeStore &store, const char *tagName, const std::string &fallback) {
  const std::optional<Tag> tag = store.tag(tagName);
  return tag && tag->value.type == TagType::STRING ? tag->value.text : fallback;
}

ResetLimits resetLimits(const NodeStore &store) {
  ResetLimits limits;
  limits.resetBudget = numberSetting(store, BOARD_RESET_BUDGET_TAG, limits.resetBudget);
  limits.resetWindowS = numberSetting(store, BOARD_RESET_WINDOW_TAG, limits.resetWindowS);
  return limits;
}

BoardWordSources boardWordSources(const NodeStore &store) {
  BoardWordSources sources;
  sources.watchdogClass = textSetting(store, BOARD_WATCHDOG_CLASS_TAG, sources.watchdogClass);
  sources.pstoreDirectory = textSetting(store, BOARD_PSTORE_TAG, sources.pstoreDirectory);
  if (textSetting(store, BOARD_BOOT_STATUS_TAG, "") == "device") {
    sources.askedDevice = textSetting(store, BOARD_WATCHDOG_DEVICE_TAG, DEFAULT_WATCHDOG_DEVICE);
  }
  return sources;
}

Status checkResetDevice(const NodeStore &store) {
  if (textSetting(store, BOARD_RESET_TAG, "none") != "watchdog") return Status::success();
  const std::string device = textSetting(store, BOARD_WATCHDOG_DEVICE_TAG, DEFAULT_WATCHDOG_DEVICE);
  struct stat file {};
  const int error = stat(device.c_str(), &file) == 0 ? 0 : errno;
  if (error == 0 && S_ISCHR(file.st_mode)) return Status::success();
  return Status::failure(error == 0 ? ENOTTY : error,
                         "the board cannot be reset by " + device + ": " +
                             (error == 0 ? "it is no character device" : std::strerror(error)) +
                             " (load the watchdog's driver, or name its device: watchdogDevice in the configuration)");
}

}  // namespace orv
