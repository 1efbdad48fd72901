#include "Trace.h"

#include <cstdio>
#include <cstring>

#include "HexText.h"

namespace orv::sim {
namespace {

bool isPlain(char character) {
  return character > ' ' && character <= '~' && character != '"' && character != '\\';
}

void appendTime(std::string &to, uint64_t atMs) {
  char text[32];
  const int length = std::snprintf(text, sizeof text, "%llu.%03u", static_cast<unsigned long long>(atMs / 1000),
                                   static_cast<unsigned>(atMs % 1000));
  to.append(text, static_cast<size_t>(length));
}

}  // namespace

std::string quoted(std::string_view text) {
  std::string result = "\"";
  for (const char character : text) {
    if (character == ' ' || isPlain(character)) {
      result += character;
    } else if (character == '"' || character == '\\') {
      result += '\\';
      result += character;
    } else if (character == '\n') {
      result += "\\n";
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(character));
      result += escape;
    }
  }
  return result += '"';
}

Trace::Trace() {
  clear();
}

void Trace::clear() {
  entries_.clear();
  texts_.clear();
  actors_ = {"node", "handler", "main"};
  lastName_ = 0;
  lastNameLength_ = 0;
}

Trace::Actor Trace::addActor(uint32_t number, const std::string &name) {
  bool plain = !name.empty();
  for (const char character : name)
    plain = plain && isPlain(character);
  actors_.push_back(std::to_string(number) + ":" + (plain ? name : quoted(name)));
  return static_cast<Actor>(actors_.size() - 1);
}

Trace::Entry &Trace::append(uint64_t atMs, Actor actor, Kind kind) {
  Entry &entry = entries_.emplace_back();
  entry.atMs = atMs;
  entry.actor = actor;
  entry.kind = kind;
  return entry;
}

void Trace::add(uint64_t atMs, Actor actor, std::string_view text) {
  Entry &entry = append(atMs, actor, Kind::TEXT);
  entry.first = texts_.size();
  entry.second = static_cast<uint32_t>(text.size());
  texts_ += text;
}

void Trace::addTagTest(uint64_t atMs, Actor actor, const char *name, int32_t result) {
  const size_t length = std::strlen(name);
  if (length != lastNameLength_ || texts_.compare(static_cast<size_t>(lastName_), length, name) != 0) {
    lastName_ = texts_.size();
    lastNameLength_ = static_cast<uint32_t>(length);
    texts_ += name;
  }
  Entry &entry = append(atMs, actor, Kind::TAG_TEST);
  entry.first = lastName_;
  entry.second = lastNameLength_;
  entry.result = result;
}

void Trace::addSleep(uint64_t atMs, Actor actor, uint32_t amount, uint32_t unit, int32_t result) {
  Entry &entry = append(atMs, actor, Kind::SLEEP);
  entry.first = amount;
  entry.second = unit;
  entry.result = result;
}

void Trace::addCharacterRead(uint64_t atMs, Actor actor, uint32_t file, unsigned char character) {
  Entry &entry = append(atMs, actor, Kind::CHARACTER_READ);
  entry.first = file;
  entry.second = character;
}

void Trace::appendLine(std::string &to, const Entry &entry) const {
  appendTime(to, entry.atMs);
  to += ' ';
  to += actors_[entry.actor];
  to += ' ';
  switch (entry.kind) {
    case Kind::TEXT:
      to.append(texts_, static_cast<size_t>(entry.first), entry.second);
      break;
    case Kind::TAG_TEST:
      to += "AaConfigTagIsSet(";
      to += quoted(std::string_view(texts_).substr(static_cast<size_t>(entry.first), entry.second));
      to += ") = " + std::to_string(entry.result);
      break;
    case Kind::SLEEP:
      to += "AaSysTimeSleep(" + std::to_string(entry.first) + ", " + std::to_string(entry.second) +
            ") = " + std::to_string(entry.result);
      break;
    case Kind::CHARACTER_READ: {
      const char character = static_cast<char>(entry.second);
      to += "AaFileRead(1, 1, file " + std::to_string(entry.first) + ") = 1, " + quoted({&character, 1});
      break;
    }
  }
}

std::string Trace::line(size_t index) const {
  std::string result;
  appendLine(result, entries_.at(index));
  return result;
}

std::string Trace::text() const {
  std::string result;
  for (const Entry &entry : entries_) {
    appendLine(result, entry);
    result += '\n';
  }
  return result;
}

}  // namespace orv::sim
