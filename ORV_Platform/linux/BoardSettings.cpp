#include "BoardSettings.h"

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

}  // namespace orv
