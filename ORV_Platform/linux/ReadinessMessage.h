// What a datagram of the readiness protocol says; see Readiness.h.
#ifndef ORV_LINUX_READINESSMESSAGE_H
#define ORV_LINUX_READINESSMESSAGE_H

#include <optional>
#include <string>
#include <string_view>

namespace orv {

struct ReadinessMessage {
  bool ready = false;
  std::optional<std::string> status;
};

// Of several lines with one name the last one counts. What is not known is passed over, and so is one zero byte at the
// end, as by systemd.
ReadinessMessage parseReadinessMessage(std::string_view text);

}  // namespace orv

#endif
