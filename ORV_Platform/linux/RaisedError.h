// A raised error as the text of its event: "kind 0, code 0x12345678: failure of application pump [OrvDaemon:900]".
//
// The form is an interface: field tools match on it, and operators' tools read it back. It stays as it is; what an
// error may carry in addition would go behind the position.
#ifndef ORV_LINUX_RAISEDERROR_H
#define ORV_LINUX_RAISEDERROR_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orv {

struct RaisedError {
  uint32_t kind = 0;
  uint32_t code = 0;
  std::string text;
  std::string file;  // with `line`, the source position that identifies the raising statement
  uint32_t line = 0;
};

// The text of the event. Where an event's text cannot hold it all, the error's own text is cut and the position kept.
std::string encodeRaisedError(const RaisedError &error);

// The error that encodes to `text`; nothing for any other text.
std::optional<RaisedError> decodeRaisedError(std::string_view text);

}  // namespace orv

#endif
