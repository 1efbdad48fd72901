// Where in an application definition file its lines and fields stand.
//
// The daemon's parser keeps no places, so the file is walked a second time, by the same rules; each definition carries
// the record that the walk expects of the parser, and tests compare the two over many texts.
#ifndef ORV_TOOLS_CHECK_DEFINITIONWALK_H
#define ORV_TOOLS_CHECK_DEFINITIONWALK_H

#include <cstddef>
#include <string_view>
#include <vector>

#include "ApplicationDefinitions.h"
#include "check/SourceText.h"

namespace orv::checking {

constexpr size_t FIELD_COUNT = 6;
enum Field : size_t { NAME, PATH, ARGS, RESERVED, FLAGS, ONLINE_TAG };

enum class LineEnd { LINE_FEED, CARRIAGE_RETURN, TOO_LONG, END_OF_FILE };

// What the daemon takes for a line. That is not always one: a carriage return ends it, and so does its length.
struct WalkedLine {
  enum class Kind { EMPTY, COMMENT, DEFINITION };

  Kind kind = Kind::EMPTY;
  Span span;  // without what ends it; a NUL in it ends what is read of it
  LineEnd end = LineEnd::LINE_FEED;
  bool isRead = true;          // false behind the last definition for which there is room
  bool goesOnTooLong = false;  // it is the rest of a line that was too long
  std::vector<Span> fields;    // up to six; the last one ends with the line, and only the online tag is read from it
  AppExeDef expected{};        // of a definition that is read
};

std::vector<WalkedLine> walkDefinitions(std::string_view text);

}  // namespace orv::checking

#endif
