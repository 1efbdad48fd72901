// What orvctl needs to write JSON.
#ifndef ORV_TOOLS_JSON_H
#define ORV_TOOLS_JSON_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orv {

// `text` as a JSON string, quotes included. Bytes that are not UTF-8 become U+FFFD.
std::string jsonString(std::string_view text);

// An object on one line, field by field in the order of the calls.
class JsonObject {
 public:
  JsonObject &text(const char *name, std::string_view value);
  // null for an empty text.
  JsonObject &textOrNull(const char *name, std::string_view value);
  JsonObject &number(const char *name, uint64_t value);
  template <typename Number>
  JsonObject &numberOrNull(const char *name, const std::optional<Number> &value) {
    return raw(name, value ? std::to_string(*value) : "null");
  }
  JsonObject &flag(const char *name, bool value);
  // `value` is JSON already.
  JsonObject &raw(const char *name, const std::string &value);
  std::string str() const;

 private:
  std::string fields_;
};

// What `json` makes of each of `items`, as an array on one line.
template <typename Items, typename Json>
std::string jsonArray(const Items &items, Json json) {
  std::string list;
  for (const auto &item : items)
    list += (list.empty() ? "" : ", ") + json(item);
  return "[" + list + "]";
}

// The same with an item a line, `indent` blanks from the left; the array's end stands two to the left of them.
template <typename Items, typename Json>
std::string jsonLines(const Items &items, size_t indent, Json json) {
  std::string list;
  for (const auto &item : items)
    list += (list.empty() ? "\n" : ",\n") + std::string(indent, ' ') + json(item);
  return "[" + list + (list.empty() ? "]" : "\n" + std::string(indent < 2 ? 0 : indent - 2, ' ') + "]");
}

}  // namespace orv

#endif
