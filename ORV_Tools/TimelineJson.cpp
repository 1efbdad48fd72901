#include "TimelineJson.h"

#include "Json.h"

namespace orv::rehearsal {
namespace {

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
