// What orvctl needs to write JSON.
#ifndef ORV_TOOLS_JSON_H
#define ORV_TOOLS_JSON_H

#include <cstdint>
#include <string>
#include <string_view>

namespace orv {

// `text` as a JSON string, quotes included. Bytes that are not UTF-8 become U+FFFD.
std::string jsonString(std::string_view text);

// An object on one line, field by field in the order of the calls.
class JsonObject {
 public:
  JsonObject &text(const char *name, std::string_view value);
  JsonObject &number(const char *name, uint64_t value);
  JsonObject &flag(const char *name, bool value);
  // `value` is JSON already.
  JsonObject &raw(const char *name, const std::string &value);
  std::string str() const;

 private:
  std::string fields_;
};

}  // namespace orv

#endif
