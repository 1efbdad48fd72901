#include "ScenarioText.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string_view>

#include "HexText.h"
#include "ScenarioWords.h"
#include "Trace.h"
#include "Utf8.h"

namespace orv::sim {
namespace {

constexpr size_t BYTES_PER_LINE = 20;

std::string escaped(char character) {
  switch (character) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      break;
  }
  if (static_cast<unsigned char>(character) >= ' ' && character != 0x7f) return {character};
  char text[8];
  std::snprintf(text, sizeof text, "\\u%04X", static_cast<unsigned>(character));
  return text;
}

// A text in TOML's quotes; in three of them, line by line, where it has lines.
std::string inQuotes(std::string_view text) {
  const bool hasLines = text.find('\n') != std::string_view::npos;
  std::string result = hasLines ? "\"\"\"\n" : "\"";
  while (!text.empty()) {
    const size_t length = utf8Length(text);
    if (length > 1) {
      result += text.substr(0, length);
    } else if (length == 0) {
      result += "\\uFFFD";
    } else if (text[0] == '\n') {
      result += '\n';
    } else {
      result += escaped(text[0]);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result + (hasLines ? "\"\"\"" : "\"");
}

// A key or a name, always on one line.
std::string inOneLine(std::string_view text) {
  std::string result;
  size_t begin = 0;
  for (size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n', begin)) {
    const std::string part = inQuotes(text.substr(begin, end - begin));
    result += part.substr(1, part.size() - 2) + escaped('\n');
    begin = end + 1;
  }
  const std::string part = inQuotes(text.substr(begin));
  return '"' + result + part.substr(1);
}

// TOML's integers end at 2^63 - 1.
std::string integerText(uint64_t value) {
  const bool fits = value <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
  return fits ? std::to_string(value) : '"' + std::to_string(value) + '"';
}

std::string durationValue(uint64_t milliseconds) {
  return '"' + durationText(milliseconds) + '"';
}

std::string signalValue(int number) {
  const std::string name = signalText(number);
  return name.empty() ? std::to_string(number) : '"' + name + '"';
}

std::string tagValue(const TagValue &value) {
  if (value.type == TagType::STRING) return inOneLine(value.text);
  const std::string number = std::to_string(value.number);
  return value.type == TagType::U16 ? "{u16 = " + number + "}" : number;
}

class Writer {
 public:
  void entry(const std::string &key, const std::string &value) {
    text_ += key + " = " + value + "\n";
  }
  // Writes the entry where the value is not its default.
  template <typename Value>
  void entry(const std::string &key, const Value &value, const Value &fallback) {
    if (value != fallback) entry(key, std::to_string(value));
  }
  void flag(const std::string &key, bool value, bool fallback) {
    if (value != fallback) entry(key, std::string(value ? "true" : "false"));
  }
  void header(const std::string &name) {
    if (!text_.empty()) text_ += '\n';
    text_ += name + "\n";
  }
  const std::string &text() const {
    return text_;
  }

 private:
  std::string text_;
};

void writeTags(Writer &writer, const std::map<std::string, TagValue> &tags) {
  for (const auto &[name, value] : tags)
    writer.entry(inOneLine(name), tagValue(value));
}

void writeTop(Writer &writer, const Scenario &scenario) {
  const Scenario standard;
  if (scenario.name != standard.name) writer.entry("name", inOneLine(scenario.name));
  if (scenario.seed != standard.seed) writer.entry("seed", integerText(scenario.seed));
  writer.entry("ungraceful_count", scenario.ungracefulCount, standard.ungracefulCount);
  if (scenario.graceTimeMs != standard.graceTimeMs) writer.entry("grace_time", durationValue(scenario.graceTimeMs));
  if (scenario.endSignal != standard.endSignal) {
    writer.entry("end_signal", scenario.endSignal == 0 ? inOneLine(NO_SIGNAL) : signalValue(scenario.endSignal));
  }
  if (scenario.endAtMs != standard.endAtMs) writer.entry("end_at", durationValue(scenario.endAtMs));
  if (scenario.maxOperations != standard.maxOperations) {
    writer.entry("max_operations", integerText(scenario.maxOperations));
  }
}

void writeSettings(Writer &writer, const Scenario &scenario) {
  if (!scenario.tags.empty()) {
    writer.header("[tags]");
    writeTags(writer, scenario.tags);
  }
  if (!scenario.rad.empty()) {
    writer.header("[rad]");
    for (const auto &[number, value] : scenario.rad)
      writer.entry(hexText(number), std::to_string(value));
  }
  const ResetBehaviour standard;
  if (scenario.reset != standard) {
    writer.header("[reset]");
    writer.entry("result", scenario.reset.result, standard.result);
    writer.flag("takes_effect", scenario.reset.takesEffect, standard.takesEffect);
  }
  for (const TimedTag &tag : scenario.timedTags) {
    writer.header("[[tag]]");
    writer.entry("name", inOneLine(tag.name));
    writer.entry("at", durationValue(tag.afterMs));
    if (tag.value != TagValue()) writer.entry("value", tagValue(tag.value));
  }
}

std::string bytesValue(const std::string &content) {
  std::string result = "[";
  for (size_t i = 0; i < content.size(); ++i) {
    result += i % BYTES_PER_LINE == 0 ? "\n  " : " ";
    result += std::to_string(static_cast<unsigned>(static_cast<unsigned char>(content[i]))) + ",";
  }
  return result + "\n]";
}

void writeFiles(Writer &writer, const Scenario &scenario) {
  for (const auto &[name, content] : scenario.files) {
    writer.header("[[file]]");
    writer.entry("name", inOneLine(name));
    if (isUtf8(content)) {
      writer.entry("text", inQuotes(content));
    } else {
      writer.entry("bytes", bytesValue(content));
    }
  }
  for (const auto &[name, tags] : scenario.configFiles) {
    writer.header("[[config_file]]");
    writer.entry("name", inOneLine(name));
    if (tags.empty()) continue;
    writer.header("[config_file.tags]");
    writeTags(writer, tags);
  }
}

void writeEnd(Writer &writer, const ProgramBehaviour &program) {
  const int32_t status = program.waitStatus;
  const int32_t high = (status >> 8) & 0xff;
  if (program.launchFailure != 0) {
    writer.entry("launch_failure", std::to_string(program.launchFailure));
  } else if (status == 0) {
    return;
  } else if (status == high << 8) {
    writer.entry("exit", std::to_string(high));
  } else if (status > 0 && status <= LAST_SIGNAL) {
    writer.entry("signal", signalValue(status));
  } else if (status == (high << 8 | 0x7f) && high > 0 && high <= LAST_SIGNAL) {
    writer.entry("stop", signalValue(high));
  } else {
    writer.entry("wait_status", std::to_string(status));
  }
}

std::string setsValue(const std::vector<TimedTag> &sets) {
  std::string result = "[";
  for (const TimedTag &tag : sets) {
    if (result.size() > 1) result += ",";
    const bool isPlain = tag.afterMs == 0 && tag.value == TagValue();
    result += "\n  ";
    result += isPlain ? inOneLine(tag.name) : "{tag = " + inOneLine(tag.name);
    if (tag.afterMs != 0) result += ", after = " + durationValue(tag.afterMs);
    if (tag.value != TagValue()) result += ", value = " + tagValue(tag.value);
    if (!isPlain) result += "}";
  }
  return result + "\n]";
}

void writeProgram(Writer &writer, const ProgramBehaviour &program) {
  writer.header("[[program]]");
  writer.entry("path", inOneLine(program.path));
  if (program.args) writer.entry("args", inOneLine(*program.args));
  writer.entry("start", program.start, uint32_t{0});
  if (program.runsForMs) writer.entry("runs_for", durationValue(*program.runsForMs));
  writeEnd(writer, program);
  if (program.result) writer.entry("result", std::to_string(*program.result));
  writer.flag("wait_status_written", program.waitStatusWritten, true);
  if (program.endsAfterSigtermMs != 0) {
    const bool never = program.endsAfterSigtermMs == std::numeric_limits<uint64_t>::max();
    writer.entry("ends_after_sigterm", never ? inOneLine(NEVER) : durationValue(program.endsAfterSigtermMs));
  }
  if (!program.sets.empty()) writer.entry("sets", setsValue(program.sets));
}

void writeCall(Writer &writer, const CallResult &call) {
  writer.header("[[call]]");
  writer.entry("name", inOneLine(call.call));
  writer.entry("occurrence", call.occurrence, uint32_t{0});
  if (call.argument) writer.entry("argument", inOneLine(*call.argument));
  writer.entry("result", std::to_string(call.result));
}

void writeSignal(Writer &writer, const SignalEvent &signal) {
  writer.header("[[signal]]");
  writer.entry("name", signalValue(signal.number));
  if (signal.atMs) return writer.entry("at", durationValue(*signal.atMs));
  writer.entry("after_line", inOneLine(signal.afterLine));
  writer.entry("occurrence", signal.occurrence, uint32_t{1});
}

void writeExpectedMessage(Writer &writer, const ExpectedMessage &message) {
  writer.header("[[expect_message]]");
  writer.entry("id", hexText(message.id));
  if (message.receiver) writer.entry("receiver", hexText(*message.receiver));
  if (message.sender) writer.entry("sender", hexText(*message.sender));
}

}  // namespace

std::string toToml(const Scenario &scenario) {
  Writer writer;
  writeTop(writer, scenario);
  writeSettings(writer, scenario);
  writeFiles(writer, scenario);
  for (const ProgramBehaviour &program : scenario.programs)
    writeProgram(writer, program);
  for (const CallResult &call : scenario.calls)
    writeCall(writer, call);
  for (const SignalEvent &signal : scenario.signals)
    writeSignal(writer, signal);
  for (const ExpectedMessage &message : scenario.expectedMessages)
    writeExpectedMessage(writer, message);
  return writer.text();
}

}  // namespace orv::sim
