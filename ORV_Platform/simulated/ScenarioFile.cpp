// The format is in the tables of fields: a row is a key, whether it has to be there, and how it is read.
#include "ScenarioFile.h"

#include <filesystem>
#include <limits>
#include <map>
#include <utility>

#include "RegularFile.h"
#include "ScenarioCalls.h"
#include "ScenarioReader.h"
#include "ScenarioWords.h"

namespace orv::sim {
namespace {

constexpr int64_t MOST_U16 = std::numeric_limits<uint16_t>::max();
constexpr int64_t MOST_U32 = std::numeric_limits<uint32_t>::max();

constexpr Field<TagValue> VALUE_FIELDS[] = {
    {"u16", nullptr,
     [](ScenarioReader &reader, const Item &item, TagValue &value) {
       int64_t number = 0;
       reader.integer(item, 0, MOST_U16, number);
       value = {TagType::U16, static_cast<uint32_t>(number), ""};
     }},
    {"u32", nullptr,
     [](ScenarioReader &reader, const Item &item, TagValue &value) {
       value.type = TagType::U32;
       reader.unsigned32(item, value.number);
     }},
};

void readTagValue(ScenarioReader &reader, const Item &item, TagValue &value) {
  if (item.node.is_integer()) return reader.unsigned32(item, value.number);
  if (item.node.is_string()) {
    value.type = TagType::STRING;
    return reader.text(item, value.text);
  }
  const toml::table *table = item.node.as_table();
  if (table == nullptr || table->empty()) {
    const std::string expected = "an integer, a text, {u16 = ...} or {u32 = ...}";
    return table == nullptr ? reader.refuseType(item, expected)
                            : reader.refuse(item, "is an empty table, expected " + expected);
  }
  reader.atMostOne(*table, {"u16", "u32"}, "a tag has one type");
  readFields(reader, *table, "the value of " + item.name, VALUE_FIELDS, value);
}

// "a.b.c" of the tables that the parser makes of the key a.b.c, as far as it goes without a branch.
std::string dottedName(const toml::key &key, const toml::node &node) {
  std::string name(key.str());
  const toml::table *table = node.as_table();
  while (table != nullptr && !table->is_inline() && table->size() == 1) {
    const auto child = table->begin();
    name += '.';
    name += child->first.str();
    table = child->second.as_table();
  }
  return name;
}

void readTags(ScenarioReader &reader, const Item &item, std::map<std::string, TagValue> &tags) {
  const toml::table *table = reader.table(item, "a table of tags (NAME = VALUE)");
  if (table == nullptr) return;
  for (const auto &[key, node] : *table) {
    if (key.empty()) {
      reader.refuse(key.source().begin, "a tag without a name (nothing has an empty name)");
    } else if (node.is_table() && !node.as_table()->is_inline()) {
      reader.refuse(key.source().begin, "tag name " + shown(dottedName(key, node)) +
                                            " has dots and no quotes (write it in quotes; a typed value is "
                                            "{u16 = ...})");
    } else {
      readTagValue(reader, {"tag " + shown(key.str()), node}, tags[std::string(key.str())]);
    }
  }
}

void readRad(ScenarioReader &reader, const Item &item, std::map<uint32_t, uint32_t> &rad) {
  const toml::table *table = reader.table(item, "a table of RAD parameters (NUMBER = VALUE)");
  if (table == nullptr) return;
  for (const auto &[key, node] : *table) {
    const std::string name = "RAD parameter " + shown(key.str());
    const std::optional<uint32_t> number = parseNumber32(key.str());
    if (!number) {
      reader.refuse(key.source().begin, name + " is no number from 0 to " + std::to_string(MOST_U32) +
                                            " (write it in decimal or as 0x...)");
    } else if (const auto [entry, isNew] = rad.try_emplace(*number); isNew) {
      reader.unsigned32({name, node}, entry->second);
    } else {
      reader.refuse(key.source().begin, name + " has a value already under another spelling (keep one of them)");
    }
  }
}

struct FileEntry {
  std::string name;
  std::string content;
};

void readBytes(ScenarioReader &reader, const Item &item, FileEntry &file) {
  const toml::array *array = item.node.as_array();
  if (array == nullptr) return reader.refuseType(item, "an array of integers from 0 to 255");
  for (const toml::node &node : *array) {
    int64_t byte = 0;
    reader.integer({"an element of " + item.name, node}, 0, 255, byte);
    file.content += static_cast<char>(byte);
  }
}

// Reads all of a file; `reason` says why where it cannot.
bool readWhole(const std::string &path, std::string &content, std::string &reason) {
  Status status = readRegularFile(path, MAX_SCENARIO_FILE_BYTES, content);
  if (!status.ok()) reason = status.message.substr(path.size() + 2);  // "PATH: why"
  return status.ok();
}

void readSource(ScenarioReader &reader, const Item &item, FileEntry &file) {
  std::string source;
  reader.name(item, source);
  if (source.empty()) return;
  const std::string path = (std::filesystem::path(reader.fileName()).parent_path() / source).string();
  std::string reason;
  if (!readWhole(path, file.content, reason)) reader.refuse(item, "cannot be read from " + shown(path) + ": " + reason);
}

constexpr Field<FileEntry> FILE_FIELDS[] = {
    {"name", "the name under which the daemon opens it", into<&ScenarioReader::name, &FileEntry::name>},
    {"text", nullptr, into<&ScenarioReader::text, &FileEntry::content>},
    {"bytes", nullptr, readBytes},
    {"source", nullptr, readSource},
};

struct ConfigFileEntry {
  std::string name;
  std::map<std::string, TagValue> tags;
};

constexpr Field<ConfigFileEntry> CONFIG_FILE_FIELDS[] = {
    {"name", "the name under which the daemon reads it", into<&ScenarioReader::name, &ConfigFileEntry::name>},
    {"tags", nullptr, into<readTags, &ConfigFileEntry::tags>},
};

// Enters what belongs to a name; a second one of that name is a mistake.
template <typename Content>
void enter(ScenarioReader &reader, const toml::table &table, std::string name, Content content,
           std::map<std::string, Content> &to) {
  if (name.empty()) return;
  if (to.contains(name)) {
    return reader.refuse({"\"name\"", *table.get("name")}, "is " + shown(name) + ", which is there already (keep one)");
  }
  to.emplace(std::move(name), std::move(content));
}

void readFiles(ScenarioReader &reader, const Item &item, Scenario &scenario) {
  for (const toml::table *table : reader.tables(item, "[[file]]")) {
    FileEntry file;
    readFields(reader, *table, "[[file]]", FILE_FIELDS, file);
    reader.atMostOne(*table, {"text", "bytes", "source"}, "a file has one content");
    if (!table->contains("text") && !table->contains("bytes") && !table->contains("source")) {
      reader.refuse(table->source().begin, "[[file]] has no content (add text, bytes or source)");
    }
    enter(reader, *table, std::move(file.name), std::move(file.content), scenario.files);
  }
}

void readConfigFiles(ScenarioReader &reader, const Item &item, Scenario &scenario) {
  for (const toml::table *table : reader.tables(item, "[[config_file]]")) {
    ConfigFileEntry file;
    readFields(reader, *table, "[[config_file]]", CONFIG_FILE_FIELDS, file);
    enter(reader, *table, std::move(file.name), std::move(file.tags), scenario.configFiles);
  }
}

constexpr Field<TimedTag> TIMED_TAG_FIELDS[] = {
    {"name", "the tag's name", into<&ScenarioReader::name, &TimedTag::name>},
    {"at", "the time at which it is set; what is set from the beginning belongs into [tags]",
     into<&ScenarioReader::duration, &TimedTag::afterMs>},
    {"value", nullptr, into<readTagValue, &TimedTag::value>},
};

constexpr Field<TimedTag> SETS_FIELDS[] = {
    {"tag", "the tag's name", into<&ScenarioReader::name, &TimedTag::name>},
    {"after", nullptr, into<&ScenarioReader::duration, &TimedTag::afterMs>},
    {"value", nullptr, into<readTagValue, &TimedTag::value>},
};

void readSets(ScenarioReader &reader, const Item &item, ProgramBehaviour &program) {
  const std::string expected = "tags, each a name or {tag = ..., after = ..., value = ...}";
  const toml::array *array = item.node.as_array();
  if (array == nullptr) return reader.refuseType(item, "an array of " + expected);
  for (const toml::node &node : *array) {
    const Item element{"an element of " + item.name, node};
    TimedTag &tag = program.sets.emplace_back();
    if (node.is_string()) {
      reader.name(element, tag.name);
    } else if (const toml::table *table = node.as_table()) {
      readFields(reader, *table, element.name, SETS_FIELDS, tag);
    } else {
      reader.refuseType(element, expected);
    }
  }
}

void readExit(ScenarioReader &reader, const Item &item, ProgramBehaviour &program) {
  int64_t code = 0;
  reader.integer(item, 0, 255, code);
  program.waitStatus = static_cast<int32_t>(code << 8);
}

void readStop(ScenarioReader &reader, const Item &item, ProgramBehaviour &program) {
  int number = 0;
  reader.signal(item, number);
  program.waitStatus = (number << 8) | 0x7f;
}

void readLaunchFailure(ScenarioReader &reader, const Item &item, ProgramBehaviour &program) {
  reader.signed32(item, program.launchFailure);
  const auto *value = item.node.as_integer();
  if (value != nullptr && value->get() == 0) {
    reader.refuse(item, "is 0, expected another result (without the key the program can be started)");
  }
}

void readRunsFor(ScenarioReader &reader, const Item &item, ProgramBehaviour &program) {
  const auto *text = item.node.as_string();
  program.runsForMs.reset();
  if (text != nullptr && text->get() == FOREVER) return;
  reader.durationOr(item, FOREVER, 0, program.runsForMs.emplace());
}

constexpr Field<ProgramBehaviour> PROGRAM_FIELDS[] = {
    {"path", "the path of the program", into<&ScenarioReader::name, &ProgramBehaviour::path>},
    {"args", nullptr, intoOptional<&ScenarioReader::text, &ProgramBehaviour::args>},
    {"start", nullptr, into<&ScenarioReader::unsigned32, &ProgramBehaviour::start>},
    {"runs_for", nullptr, readRunsFor},
    {"exit", nullptr, readExit},
    {"signal", nullptr, into<&ScenarioReader::signal, &ProgramBehaviour::waitStatus>},
    {"stop", nullptr, readStop},
    {"launch_failure", nullptr, readLaunchFailure},
    {"wait_status", nullptr, into<&ScenarioReader::signed32, &ProgramBehaviour::waitStatus>},
    {"result", nullptr, intoOptional<&ScenarioReader::signed32, &ProgramBehaviour::result>},
    {"wait_status_written", nullptr, into<&ScenarioReader::flag, &ProgramBehaviour::waitStatusWritten>},
    {"ends_after_sigterm", nullptr,
     [](ScenarioReader &reader, const Item &item, ProgramBehaviour &program) {
       reader.durationOr(item, NEVER, std::numeric_limits<uint64_t>::max(), program.endsAfterSigtermMs);
     }},
    {"sets", nullptr, readSets},
};

void readPrograms(ScenarioReader &reader, const Item &item, Scenario &scenario) {
  for (const toml::table *table : reader.tables(item, "[[program]]")) {
    readFields(reader, *table, "[[program]]", PROGRAM_FIELDS, scenario.programs.emplace_back());
    reader.atMostOne(*table, {"exit", "signal", "stop", "launch_failure", "wait_status"}, "a program ends in one way");
  }
}

constexpr Field<ResetBehaviour> RESET_FIELDS[] = {
    {"result", nullptr, into<&ScenarioReader::signed32, &ResetBehaviour::result>},
    {"takes_effect", nullptr, into<&ScenarioReader::flag, &ResetBehaviour::takesEffect>},
};

constexpr Field<SignalEvent> SIGNAL_FIELDS[] = {
    {"name", "the signal's name", into<&ScenarioReader::signal, &SignalEvent::number>},
    {"at", nullptr, intoOptional<&ScenarioReader::duration, &SignalEvent::atMs>},
    {"after_line", nullptr, into<&ScenarioReader::name, &SignalEvent::afterLine>},
    {"occurrence", nullptr,
     [](ScenarioReader &reader, const Item &item, SignalEvent &event) {
       int64_t occurrence = event.occurrence;
       reader.integer(item, 1, MOST_U32, occurrence);
       event.occurrence = static_cast<uint32_t>(occurrence);
     }},
};

void readSignals(ScenarioReader &reader, const Item &item, Scenario &scenario) {
  for (const toml::table *table : reader.tables(item, "[[signal]]")) {
    readFields(reader, *table, "[[signal]]", SIGNAL_FIELDS, scenario.signals.emplace_back());
    reader.atMostOne(*table, {"at", "after_line"}, "a signal comes once, at a time or behind a line");
    reader.atMostOne(*table, {"at", "occurrence"}, "an occurrence counts lines");
    if (!table->contains("at") && !table->contains("after_line")) {
      reader.refuse(table->source().begin, "[[signal]] never comes (add at or after_line)");
    }
  }
}

constexpr Field<ExpectedMessage> EXPECTED_MESSAGE_FIELDS[] = {
    {"id", "the message's id", into<&ScenarioReader::unsigned32, &ExpectedMessage::id>},
    {"receiver", nullptr, intoOptional<&ScenarioReader::unsigned32, &ExpectedMessage::receiver>},
    {"sender", nullptr, intoOptional<&ScenarioReader::unsigned32, &ExpectedMessage::sender>},
};

void readGraceTime(ScenarioReader &reader, const Item &item, Scenario &scenario) {
  uint64_t milliseconds = scenario.graceTimeMs;
  reader.duration(item, milliseconds);
  if (milliseconds > static_cast<uint64_t>(MOST_U32)) {
    return reader.refuse(item, "is too long (the longest is " + std::to_string(MOST_U32) + "ms)");
  }
  scenario.graceTimeMs = static_cast<uint32_t>(milliseconds);
}

constexpr Field<Scenario> SCENARIO_FIELDS[] = {
    {"name", nullptr, into<&ScenarioReader::text, &Scenario::name>},
    {"seed", nullptr, into<&ScenarioReader::unsigned64, &Scenario::seed>},
    {"ungraceful_count", nullptr, into<&ScenarioReader::unsigned32, &Scenario::ungracefulCount>},
    {"grace_time", nullptr, readGraceTime},
    {"end_signal", nullptr,
     [](ScenarioReader &reader, const Item &item, Scenario &scenario) {
       reader.signalOr(item, NO_SIGNAL, scenario.endSignal);
     }},
    {"end_at", nullptr, into<&ScenarioReader::duration, &Scenario::endAtMs>},
    {"max_operations", nullptr, into<&ScenarioReader::unsigned64, &Scenario::maxOperations>},
    {"tags", nullptr, into<readTags, &Scenario::tags>},
    {"rad", nullptr, into<readRad, &Scenario::rad>},
    {"reset", nullptr,
     [](ScenarioReader &reader, const Item &item, Scenario &scenario) {
       const toml::table *table = reader.table(item, "a table ([reset])");
       if (table != nullptr) readFields(reader, *table, "[reset]", RESET_FIELDS, scenario.reset);
     }},
    {"tag", nullptr,
     [](ScenarioReader &reader, const Item &item, Scenario &scenario) {
       readEach(reader, item, "[[tag]]", TIMED_TAG_FIELDS, scenario.timedTags);
     }},
    {"file", nullptr, readFiles},
    {"config_file", nullptr, readConfigFiles},
    {"program", nullptr, readPrograms},
    {"call", nullptr, into<readCalls, &Scenario::calls>},
    {"signal", nullptr, readSignals},
    {"expect_message", nullptr,
     [](ScenarioReader &reader, const Item &item, Scenario &scenario) {
       readEach(reader, item, "[[expect_message]]", EXPECTED_MESSAGE_FIELDS, scenario.expectedMessages);
     }},
};

void addKeys(std::vector<std::string> &to, const std::string &table, const std::vector<std::string> &keys) {
  for (const std::string &key : keys)
    to.push_back(table + key);
}

}  // namespace

std::string ScenarioError::text() const {
  const std::string place = line == 0 ? "" : ":" + std::to_string(line) + ":" + std::to_string(column);
  return file + place + ": " + message;
}

std::optional<Scenario> parseScenario(std::string_view text, const std::string &fileName, ScenarioError &error) {
  ScenarioReader reader(fileName, error);
  Scenario scenario;
  if (const std::optional<toml::table> document = reader.document(text)) {
    readFields(reader, *document, "", SCENARIO_FIELDS, scenario);
  }
  if (!reader.ok()) return std::nullopt;
  return scenario;
}

std::optional<Scenario> readScenario(const std::string &fileName, ScenarioError &error) {
  std::string text;
  error = {fileName, 0, 0, ""};
  if (!readWhole(fileName, text, error.message)) return std::nullopt;
  return parseScenario(text, fileName, error);
}

const std::vector<std::string> &scenarioKeys() {
  static const std::vector<std::string> keys = [] {
    std::vector<std::string> result;
    addKeys(result, "", keysOf(SCENARIO_FIELDS));
    addKeys(result, "reset.", keysOf(RESET_FIELDS));
    addKeys(result, "tag.", keysOf(TIMED_TAG_FIELDS));
    addKeys(result, "tag.value.", keysOf(VALUE_FIELDS));
    addKeys(result, "file.", keysOf(FILE_FIELDS));
    addKeys(result, "config_file.", keysOf(CONFIG_FILE_FIELDS));
    addKeys(result, "program.", keysOf(PROGRAM_FIELDS));
    addKeys(result, "program.sets.", keysOf(SETS_FIELDS));
    addKeys(result, "call.", callKeys());
    addKeys(result, "signal.", keysOf(SIGNAL_FIELDS));
    addKeys(result, "expect_message.", keysOf(EXPECTED_MESSAGE_FIELDS));
    return result;
  }();
  return keys;
}

}  // namespace orv::sim
