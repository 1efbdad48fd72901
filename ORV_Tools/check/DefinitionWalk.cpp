#include "check/DefinitionWalk.h"

#include <algorithm>
#include <string>

#include "TextFields.h"

namespace orv::checking {
namespace {

// The line that begins at `begin`; `next` becomes the place where the one behind it begins. False at the end.
bool nextLine(std::string_view text, size_t begin, WalkedLine &line, size_t &next) {
  if (begin >= text.size()) return false;
  const size_t stop = std::min(text.find_first_of("\n\r", begin), text.size());
  line.span = {begin, std::min(stop - begin, MAX_APP_DEF_LINE)};
  const size_t end = line.span.end();
  next = end + 1;
  if (end == text.size()) {
    line.end = LineEnd::END_OF_FILE;
    return text.back() != '\0';
  }
  line.end = text[end] == '\n' ? LineEnd::LINE_FEED : text[end] == '\r' ? LineEnd::CARRIAGE_RETURN : LineEnd::TOO_LONG;
  return true;
}

std::vector<Span> fieldsOf(std::string_view text, Span span) {
  std::vector<Span> fields;
  size_t begin = span.begin;
  while (fields.size() + 1 < FIELD_COUNT) {
    const size_t separator = text.find(';', begin);
    if (separator >= span.end()) break;
    fields.push_back({begin, separator - begin});
    begin = separator + 1;
  }
  fields.push_back({begin, span.end() - begin});
  return fields;
}

std::string_view withoutPairOfQuotes(std::string_view text) {
  if (text == "\"") return "";
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') return text;
  return text.substr(1, text.size() - 2);
}

// A field counts when a separator stands behind it; that behind the flags makes the rest the tag.
AppExeDef expectedRecord(std::string_view text, const std::vector<Span> &fields) {
  AppExeDef record{};
  const auto part = [&](Field field) { return std::string(text.substr(fields[field].begin, fields[field].length)); };
  const auto copy = [](auto &destination, std::string_view source) {
    copyCut(destination, sizeof destination, source.data(), source.size());
  };
  const size_t ended = fields.size() - 1;
  if (ended > NAME) copy(record.name, part(NAME));
  if (ended > PATH) copy(record.path, part(PATH));
  if (ended > ARGS) copy(record.args, withoutPairOfQuotes(part(ARGS)));
  if (ended > RESERVED) record.reserved = toSigned32(part(RESERVED).c_str(), 10);
  if (ended > FLAGS) {
    record.supervisionFlags = toSigned32(part(FLAGS).c_str(), 10);
    copy(record.onlineTag, part(ONLINE_TAG));
  }
  return record;
}

}  // namespace

std::vector<WalkedLine> walkDefinitions(std::string_view text) {
  std::vector<WalkedLine> lines;
  unsigned count = 0;
  bool goesOn = false;
  size_t next = 0;
  for (WalkedLine line; nextLine(text, next, line, next); line = {}) {
    line.goesOnTooLong = goesOn;
    goesOn = line.end == LineEnd::TOO_LONG;
    line.isRead = count < MAX_APP_EXE_DEFS;
    const char first = line.span.length == 0 ? '\0' : text[line.span.begin];
    if (first == '#') line.kind = WalkedLine::Kind::COMMENT;
    if (first != '#' && first != '\0') {
      line.kind = WalkedLine::Kind::DEFINITION;
      const std::string_view whole = text.substr(line.span.begin, line.span.length);
      const Span readPart{line.span.begin, std::min(whole.find('\0'), whole.size())};
      line.fields = fieldsOf(text, readPart);
      if (line.isRead) line.expected = expectedRecord(text, line.fields);
      ++count;
    }
    lines.push_back(line);
  }
  return lines;
}

}  // namespace orv::checking
