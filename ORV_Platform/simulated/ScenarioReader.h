// What reading a scenario from TOML needs below the format itself: values with their type and range, tables of fields,
// and the mistakes, each with its place.
//
// A mistake does not end the reading: the record keeps its default there, and of all mistakes the first in the file is
// the one that is reported. So a reader of fields has no branches for failures.
#ifndef ORV_SIMULATED_SCENARIOREADER_H
#define ORV_SIMULATED_SCENARIOREADER_H

// Before the parser's header: all of it in this program's own code, results instead of exceptions, nothing but reading.
#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 0
#define TOML_ENABLE_FORMATTERS 0
// The parser asserts what a text with a mistake does not hold ("[!", "[}"), or promises it to the optimiser where
// NDEBUG is set. It goes on to report the mistake as long as it does neither.
#define TOML_ASSERT(condition) static_assert(true)
#pragma push_macro("NDEBUG")
#undef NDEBUG
#include <toml++/toml.h>
#pragma pop_macro("NDEBUG")

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ScenarioFile.h"

namespace orv::sim {

// A value and what messages call it: "\"seed\"", "tag \"a\"".
struct Item {
  std::string name;
  const toml::node &node;
};

// "a text", "an integer", ...
const char *typeText(const toml::node &node);

// A text in quotes, cut where it is long.
std::string shown(std::string_view text);

// The number that a text says, in decimal or in hexadecimal behind "0x".
std::optional<uint32_t> parseNumber32(std::string_view text);

// " (did you mean "program"?)", or where no name is near `otherwise`.
std::string suggestion(std::string_view word, const std::vector<std::string> &names, const std::string &otherwise);

class ScenarioReader {
 public:
  ScenarioReader(std::string fileName, ScenarioError &error);

  const std::string &fileName() const {
    return error_.file;
  }

  // The whole document. Nothing (and a mistake) where it is not TOML.
  std::optional<toml::table> document(std::string_view text);

  void refuse(const toml::source_position &place, const std::string &message);
  void refuse(const Item &item, const std::string &message);
  // "NAME is a boolean, expected WHAT".
  void refuseType(const Item &item, const std::string &expected);
  bool ok() const {
    return ok_;
  }

  // Each leaves `to` as it is where the value is refused.
  void flag(const Item &item, bool &to);
  void text(const Item &item, std::string &to);
  void name(const Item &item, std::string &to);  // a text that is not empty
  void integer(const Item &item, int64_t least, int64_t most, int64_t &to);
  void signed32(const Item &item, int32_t &to);
  void unsigned32(const Item &item, uint32_t &to);
  // An integer from 0 or a text that says one.
  void number32(const Item &item, uint32_t &to);
  // An integer from 0; as a text also one that TOML cannot hold.
  void unsigned64(const Item &item, uint64_t &to);
  void duration(const Item &item, uint64_t &to);
  void durationOr(const Item &item, const char *word, uint64_t wordMs, uint64_t &to);  // `word` stands for `wordMs`
  // A name, or a number from 1.
  void signal(const Item &item, int &to);
  void signalOr(const Item &item, const char *word, int &to);  // `word` stands for 0

  // The value as a table, null (and a mistake) where it is none. `expected`: how it is written, "[reset]".
  const toml::table *table(const Item &item, const std::string &expected);
  // The value's elements, each a table: "[[program]]".
  std::vector<const toml::table *> tables(const Item &item, const std::string &expected);

  // Of the keys at most one may be in the table; `why` ends the message.
  void atMostOne(const toml::table &table, std::initializer_list<const char *> keys, const std::string &why);

 private:
  ScenarioError &error_;
  bool ok_ = true;
};

// One key of a table: how it is read into the table's record.
template <typename Record>
struct Field {
  const char *key;
  const char *need;  // what it says, where it has to be there; else null
  void (*read)(ScenarioReader &reader, const Item &item, Record &record);
};

// A field that is read into a member of the record, by an operation of the reader or a function like it.
template <auto READ, auto MEMBER, typename Record>
void into(ScenarioReader &reader, const Item &item, Record &record) {
  std::invoke(READ, reader, item, record.*MEMBER);
}

// The same for a member that may be absent.
template <auto READ, auto MEMBER, typename Record>
void intoOptional(ScenarioReader &reader, const Item &item, Record &record) {
  std::invoke(READ, reader, item, (record.*MEMBER).emplace());
}

template <typename Record, size_t COUNT>
std::vector<std::string> keysOf(const Field<Record> (&fields)[COUNT]) {
  std::vector<std::string> keys;
  for (const Field<Record> &field : fields)
    keys.emplace_back(field.key);
  return keys;
}

// Adds a mistake for a key that is none of `keys`. `where`: the table's name in messages, empty for the top level.
void refuseUnknownKey(ScenarioReader &reader, const toml::key &key, const std::string &where,
                      const std::vector<std::string> &keys);

// Reads a table field by field: unknown keys, and required ones that are missing, are mistakes.
template <typename Record, size_t COUNT>
void readFields(ScenarioReader &reader, const toml::table &table, const std::string &where,
                const Field<Record> (&fields)[COUNT], Record &record) {
  for (const auto &[key, node] : table) {
    bool known = false;
    for (const Field<Record> &field : fields) {
      if (key.str() != field.key) continue;
      known = true;
      field.read(reader, {'"' + std::string(key.str()) + '"', node}, record);
    }
    if (!known) refuseUnknownKey(reader, key, where, keysOf(fields));
  }
  for (const Field<Record> &field : fields) {
    if (field.need != nullptr && !table.contains(field.key)) {
      reader.refuse(table.source().begin, where + " has no \"" + field.key + "\" (add " + field.need + ")");
    }
  }
}

// Reads an array of tables, each into a record behind those that are there.
template <typename Record, size_t COUNT>
void readEach(ScenarioReader &reader, const Item &item, const std::string &where, const Field<Record> (&fields)[COUNT],
              std::vector<Record> &records) {
  for (const toml::table *table : reader.tables(item, where))
    readFields(reader, *table, where, fields, records.emplace_back());
}

}  // namespace orv::sim

#endif
