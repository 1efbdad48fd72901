#include "ScenarioReader.h"

#include <charconv>
#include <limits>
#include <system_error>
#include <utility>

#include "ScenarioGuard.h"
#include "ScenarioWords.h"
#include "Suggestion.h"
#include "Trace.h"

namespace orv::sim {
namespace {

constexpr size_t LONGEST_SHOWN = 60;  // bytes of a text that a message repeats

constexpr const char *A_DURATION =
    R"(a duration (milliseconds as an integer from 0, or "250ms", "1.5s", "2min", "1h"))";

std::string fromTo(int64_t least, int64_t most) {
  if (least == most) return std::to_string(least);
  return "an integer from " + std::to_string(least) + " to " + std::to_string(most);
}

// Whole text or nothing, as in "10" and "0x1f".
template <typename Number>
std::optional<Number> parseNumber(std::string_view text) {
  const bool isHexadecimal = text.starts_with("0x");
  if (isHexadecimal) text.remove_prefix(2);
  Number number = 0;
  const char *const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number, isHexadecimal ? 16 : 10);
  if (error != std::errc() || stopped != end) return std::nullopt;
  return number;
}

// A text that has to say a number.
template <typename Number>
void readNumber(ScenarioReader &reader, const Item &item, const std::string &text, Number &to) {
  const std::optional<Number> number = parseNumber<Number>(text);
  if (number) {
    to = *number;
    return;
  }
  reader.refuse(item, "is " + shown(text) + ", expected a number from 0 to " +
                          std::to_string(std::numeric_limits<Number>::max()) + " (decimal or 0x...)");
}

}  // namespace

const char *typeText(const toml::node &node) {
  switch (node.type()) {
    case toml::node_type::table:
      return "a table";
    case toml::node_type::array:
      return "an array";
    case toml::node_type::string:
      return "a text";
    case toml::node_type::integer:
      return "an integer";
    case toml::node_type::floating_point:
      return "a number with a fraction";
    case toml::node_type::boolean:
      return "a boolean";
    case toml::node_type::date:
    case toml::node_type::time:
    case toml::node_type::date_time:
      return "a date or time";
    case toml::node_type::none:
      break;
  }
  return "nothing";
}

std::string shown(std::string_view text) {
  return text.size() <= LONGEST_SHOWN ? quoted(text) : quoted(text.substr(0, LONGEST_SHOWN)) + "...";
}

std::optional<uint32_t> parseNumber32(std::string_view text) {
  return parseNumber<uint32_t>(text);
}

std::string suggestion(std::string_view word, const std::vector<std::string> &names, const std::string &otherwise) {
  const std::string nearest = nearestName(std::string(word), names);
  return nearest.empty() ? " (" + otherwise + ")" : " (did you mean \"" + nearest + "\"?)";
}

void refuseUnknownKey(ScenarioReader &reader, const toml::key &key, const std::string &where,
                      const std::vector<std::string> &keys) {
  std::string list = keys.size() == 1 ? "there is only " : "there are ";
  for (size_t i = 0; i < keys.size(); ++i) {
    if (i != 0) list += i + 1 == keys.size() ? " and " : ", ";
    list += keys[i];
  }
  reader.refuse(key.source().begin, "unknown key " + shown(key.str()) + (where.empty() ? "" : " in " + where) +
                                        suggestion(key.str(), keys, list));
}

ScenarioReader::ScenarioReader(std::string fileName, ScenarioError &error) : error_(error) {
  error_ = {std::move(fileName), 0, 0, ""};
}

std::optional<toml::table> ScenarioReader::document(std::string_view text) {
  if (const std::optional<TextMistake> mistake = findUnparsable(text)) {
    refuse({mistake->line, mistake->column}, mistake->message);
    return std::nullopt;
  }
  toml::parse_result result = toml::parse(text);
  if (!result) {
    refuse(result.error().source().begin, "not TOML: " + std::string(result.error().description()));
    return std::nullopt;
  }
  return std::move(result).table();
}

void ScenarioReader::refuse(const toml::source_position &place, const std::string &message) {
  const bool isEarlier = place.line < error_.line || (place.line == error_.line && place.column < error_.column);
  if (!ok_ && !isEarlier) return;
  ok_ = false;
  error_.line = place.line;
  error_.column = place.column;
  error_.message = message;
}

void ScenarioReader::refuse(const Item &item, const std::string &message) {
  refuse(item.node.source().begin, item.name + " " + message);
}

void ScenarioReader::refuseType(const Item &item, const std::string &expected) {
  refuse(item, std::string("is ") + typeText(item.node) + ", expected " + expected);
}

void ScenarioReader::flag(const Item &item, bool &to) {
  const auto *value = item.node.as_boolean();
  if (value == nullptr) return refuseType(item, "true or false");
  to = value->get();
}

void ScenarioReader::text(const Item &item, std::string &to) {
  const auto *value = item.node.as_string();
  if (value == nullptr) return refuseType(item, "a text (in quotes)");
  to = value->get();
}

void ScenarioReader::name(const Item &item, std::string &to) {
  std::string value = to;
  text(item, value);
  const auto *node = item.node.as_string();
  if (node != nullptr && value.empty()) return refuse(item, "is empty (nothing has an empty name)");
  to = std::move(value);
}

void ScenarioReader::integer(const Item &item, int64_t least, int64_t most, int64_t &to) {
  const auto *value = item.node.as_integer();
  if (value == nullptr) return refuseType(item, fromTo(least, most));
  const int64_t number = value->get();
  if (number < least || number > most) {
    return refuse(item, "is " + std::to_string(number) + ", expected " + fromTo(least, most));
  }
  to = number;
}

void ScenarioReader::signed32(const Item &item, int32_t &to) {
  int64_t value = to;
  integer(item, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max(), value);
  to = static_cast<int32_t>(value);
}

void ScenarioReader::unsigned32(const Item &item, uint32_t &to) {
  int64_t value = to;
  integer(item, 0, std::numeric_limits<uint32_t>::max(), value);
  to = static_cast<uint32_t>(value);
}

void ScenarioReader::number32(const Item &item, uint32_t &to) {
  const auto *text = item.node.as_string();
  if (text != nullptr) return readNumber(*this, item, text->get(), to);
  unsigned32(item, to);
}

void ScenarioReader::unsigned64(const Item &item, uint64_t &to) {
  const auto *text = item.node.as_string();
  if (text != nullptr) return readNumber(*this, item, text->get(), to);
  int64_t value = -1;
  integer(item, 0, std::numeric_limits<int64_t>::max(), value);
  if (value >= 0) to = static_cast<uint64_t>(value);
}

void ScenarioReader::duration(const Item &item, uint64_t &to) {
  durationOr(item, nullptr, 0, to);
}

void ScenarioReader::durationOr(const Item &item, const char *word, uint64_t wordMs, uint64_t &to) {
  const std::string expected = A_DURATION + (word == nullptr ? std::string() : std::string(" or \"") + word + "\"");
  if (const auto *number = item.node.as_integer()) {
    if (number->get() < 0) return refuse(item, "is " + std::to_string(number->get()) + ", expected " + expected);
    to = static_cast<uint64_t>(number->get());
    return;
  }
  const auto *text = item.node.as_string();
  if (text == nullptr) return refuseType(item, expected);
  if (word != nullptr && text->get() == word) {
    to = wordMs;
    return;
  }
  std::string reason;
  const std::optional<uint64_t> value = parseDuration(text->get(), reason);
  if (!value) return refuse(item, "is " + shown(text->get()) + ", which " + reason);
  to = *value;
}

void ScenarioReader::signal(const Item &item, int &to) {
  signalOr(item, nullptr, to);
}

void ScenarioReader::signalOr(const Item &item, const char *word, int &to) {
  const std::string expected = "a signal (a name such as \"SIGTERM\" or a number from 1 to " +
                               std::to_string(LAST_SIGNAL) + ")" +
                               (word == nullptr ? "" : std::string(" or \"") + word + "\"");
  if (const auto *number = item.node.as_integer()) {
    if (number->get() < 1 || number->get() > LAST_SIGNAL) {
      return refuse(item, "is " + std::to_string(number->get()) + ", expected " + expected);
    }
    to = static_cast<int>(number->get());
    return;
  }
  const auto *text = item.node.as_string();
  if (text == nullptr) return refuseType(item, expected);
  if (word != nullptr && text->get() == word) {
    to = 0;
    return;
  }
  const int number = signalNumber(text->get());
  if (number == 0) {
    std::vector<std::string> names = signalNames();
    if (word != nullptr) names.emplace_back(word);
    return refuse(item, "is the unknown signal " + shown(text->get()) +
                            suggestion(text->get(), names, "name one such as \"SIGTERM\", or its number"));
  }
  to = number;
}

const toml::table *ScenarioReader::table(const Item &item, const std::string &expected) {
  const toml::table *value = item.node.as_table();
  if (value == nullptr) refuseType(item, expected);
  return value;
}

std::vector<const toml::table *> ScenarioReader::tables(const Item &item, const std::string &expected) {
  std::vector<const toml::table *> result;
  const toml::array *array = item.node.as_array();
  if (array == nullptr) {
    refuseType(item, "any number of tables, each under " + expected);
    return result;
  }
  for (const toml::node &element : *array) {
    if (const toml::table *value = table({"an element of " + item.name, element}, "a table (write " + expected + ")")) {
      result.push_back(value);
    }
  }
  return result;
}

void ScenarioReader::atMostOne(const toml::table &table, std::initializer_list<const char *> keys,
                               const std::string &why) {
  const toml::key *first = nullptr;
  const toml::key *second = nullptr;
  const auto isBefore = [](const toml::key &left, const toml::key &right) {
    return left.source().begin < right.source().begin;
  };
  for (const char *name : keys) {
    const auto found = table.find(name);
    if (found == table.end()) continue;
    const toml::key *key = &found->first;
    if (first == nullptr || isBefore(*key, *first)) std::swap(first, key);
    if (key != nullptr && (second == nullptr || isBefore(*key, *second))) second = key;
  }
  if (second == nullptr) return;
  refuse(second->source().begin, '"' + std::string(second->str()) + "\" conflicts with \"" + std::string(first->str()) +
                                     "\" on line " + std::to_string(first->source().begin.line) + " (" + why + ")");
}

}  // namespace orv::sim
