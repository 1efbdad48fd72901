#include "ddal.h"

#include <fcntl.h>
#include <linux/watchdog.h>
#include <sys/ioctl.h>
#include <sys/reboot.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <string>

#include "AaConfig.h"
#include "AaMem.h"
#include "BoardSettings.h"
#include "PlatformConfig.h"
#include "PlatformReset.h"

namespace {

// The text of a tag, or `fallback` where it is not set.
std::string settingOr(const char *tagName, const char *fallback) {
  if (AaConfigTagIsSet(tagName) == 0) return fallback;
  char *text = nullptr;
  uint32_t length = 0;
  AaConfigTagGetString(tagName, &text, &length);  // result not examined: the pointer tells
  if (text == nullptr) return fallback;
  std::string value(text, length);
  AaMemUnRefDbg(&text, __FILE__, __LINE__);
  return value;
}

int32_t failed(const std::string &what, int error) {
  orvPlatformResetFailed(("board reset failed: " + what + ": " + std::strerror(error)).c_str());
  return -error;
}

// The watchdog resets the board once nobody feeds it: its shortest time-out, and the device left open and alone. The
// file systems get what time that leaves them.
int32_t resetByWatchdog(const std::string &device) {
  const int descriptor = open(device.c_str(), O_WRONLY | O_CLOEXEC);
  if (descriptor < 0) return failed("cannot open " + device, errno);
  int timeoutS = 1;
  int currentS = 0;
  // A driver may refuse 1 s, or to be told at all; its own time-out then serves as well. A file that is no watchdog
  // does not know the questions.
  if (ioctl(descriptor, WDIOC_SETTIMEOUT, &timeoutS) != 0 && errno != EOPNOTSUPP &&
      ioctl(descriptor, WDIOC_GETTIMEOUT, &currentS) != 0) {
    const int error = errno;
    close(descriptor);
    return failed(device + " is no watchdog", error);
  }
  orvPlatformSyncFileSystems();
  return 0;
}

int32_t resetByReboot() {
  orvPlatformSyncFileSystems();
  if (reboot(RB_AUTOBOOT) == 0) return 0;
  return failed("reboot", errno);
}

int32_t refuse(const std::string &method) {
  const std::string reason = method == "none"
                                 ? "board reset requested, but the configuration has reset=\"none\": nothing is reset"
                                 : "board reset requested, but tag " + std::string(orv::BOARD_RESET_TAG) + " is \"" +
                                       method + "\" and not none, watchdog or reboot: nothing is reset";
  orvPlatformResetRefused(reason.c_str());
  return -EOPNOTSUPP;
}

int32_t resetBoard() {
  const std::string method = settingOr(orv::BOARD_RESET_TAG, "none");
  const bool isWatchdog = method == "watchdog";
  if (!isWatchdog && method != "reboot") return refuse(method);
  const std::string means =
      isWatchdog ? settingOr(orv::BOARD_WATCHDOG_DEVICE_TAG, orv::DEFAULT_WATCHDOG_DEVICE) : "reboot";
  if (orvPlatformResetIsHeld(means.c_str()) != 0) return -EBUSY;
  orvPlatformResetBegins(means.c_str());
  return isWatchdog ? resetByWatchdog(means) : resetByReboot();
}

}  // namespace

extern "C" int32_t ddal_system_notify_ready(void) {
  const int result = sd_notify(0, "READY=1");
  return result < 0 ? -result : 0;  // 0: nobody wants to know, which is no failure
}

extern "C" int32_t ddal_watchdog_reboot(void) {
  try {
    return resetBoard();
  } catch (const std::exception &) {
    return -ENOMEM;
  }
}
