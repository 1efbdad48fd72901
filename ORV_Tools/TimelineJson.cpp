#include "TimelineJson.h"

#include <cstdio>

#include "Utf8.h"

namespace orv::rehearsal {
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

std::string field(const char *name, const std::string &value) {
  return "\"" + std::string(name) + "\": " + value;
}

std::string detailText(const Detail &detail) {
  if (const auto *number = std::get_if<int64_t>(&detail.value))
    return field(detail.name.c_str(), std::to_string(*number));
  return field(detail.name.c_str(), jsonString(std::get<std::string>(detail.value)));
}

const char *markName(Mark mark) {
  switch (mark) {
    case Mark::NONE:
      return "none";
    case Mark::NOTE:
      return "note";
    case Mark::FAILURE:
      return "failure";
  }
  return "";
}

std::string eventText(const Event &event) {
  std::string text = "{" + field("at_ms", std::to_string(event.atMs));
  text += ", " + field("event", jsonString(eventName(event.kind)));
  text += ", " + field("mark", jsonString(markName(event.mark)));
  text += ", " + field("who", jsonString(event.who));
  text += ", " + field("text", jsonString(event.text));
  for (const Detail &detail : event.details)
    text += ", " + detailText(detail);
  return text + "}";
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

std::string timelineJson(const Timeline &timeline, const std::string &scenarioName, uint64_t seed) {
  std::string text = "{\n  " + field("scenario", jsonString(scenarioName));
  text += ",\n  " + field("seed", std::to_string(seed));
  text += ",\n  " + field("verdict", jsonString(verdictName(timeline.verdict)));
  text += ",\n  " + field("sentence", jsonString(timeline.sentence));
  text += ",\n  " + field("complete_ms", timeline.completeMs ? std::to_string(*timeline.completeMs) : "null");
  text += ",\n  \"events\": [";
  const char *separator = "";
  for (const Event &event : timeline.events) {
    text += separator + ("\n    " + eventText(event));
    separator = ",";
  }
  return text + "\n  ]\n}\n";
}

}  // namespace orv::rehearsal
