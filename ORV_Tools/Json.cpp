#include "Json.h"

#include <cstdio>

#include "Utf8.h"

namespace orv {
namespace {

std::string escaped(char character) {
  switch (character) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\n':
      return "\\n";
    case '\t':
      return "\\t";
    default:
      break;
  }
  if (static_cast<unsigned char>(character) >= ' ') return {character};
  char text[8];
  std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(character));
  return text;
}

}  // namespace

std::string jsonString(std::string_view text) {
  std::string result = "\"";
  while (!text.empty()) {
    const size_t length = utf8Length(text);
    if (length == 0) {
      result += "\\ufffd";
    } else if (length == 1) {
      result += escaped(text[0]);
    } else {
      result += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result + "\"";
}

JsonObject &JsonObject::text(const char *name, std::string_view value) {
  return raw(name, jsonString(value));
}

JsonObject &JsonObject::textOrNull(const char *name, std::string_view value) {
  return value.empty() ? raw(name, "null") : text(name, value);
}

JsonObject &JsonObject::number(const char *name, uint64_t value) {
  return raw(name, std::to_string(value));
}

JsonObject &JsonObject::flag(const char *name, bool value) {
  return raw(name, value ? "true" : "false");
}

JsonObject &JsonObject::raw(const char *name, const std::string &value) {
  fields_ += (fields_.empty() ? "" : ", ") + jsonString(name) + ": " + value;
  return *this;
}

std::string JsonObject::str() const {
  return "{" + fields_ + "}";
}

}  // namespace orv
