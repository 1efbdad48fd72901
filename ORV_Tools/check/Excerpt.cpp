#include "check/Excerpt.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

#include "Utf8.h"
#include "Words.h"

namespace orv::checking {
namespace {

constexpr size_t TAB_COLUMNS = 8;
// What is shown of a long line in front of the part that is marked.
constexpr size_t LEAD_COLUMNS = 40;
constexpr std::string_view ELLIPSIS = "...";

struct Range {
  uint32_t first;
  uint32_t last;
};

// Characters that are put over the one before them: the marks of the scripts that names and paths are likely to have.
constexpr Range COMBINING[] = {{0x0300, 0x036f}, {0x0483, 0x0489}, {0x0591, 0x05bd}, {0x064b, 0x065f},
                               {0x1ab0, 0x1aff}, {0x1dc0, 0x1dff}, {0x200b, 0x200f}, {0x20d0, 0x20ff},
                               {0xfe00, 0xfe0f}, {0xfe20, 0xfe2f}, {0xfeff, 0xfeff}};

// East Asian wide and full-width characters, and pictures.
constexpr Range WIDE[] = {{0x1100, 0x115f},   {0x2e80, 0x303e},   {0x3041, 0x33ff},  {0x3400, 0x4dbf},
                          {0x4e00, 0x9fff},   {0xa000, 0xa4cf},   {0xac00, 0xd7a3},  {0xf900, 0xfaff},
                          {0xfe30, 0xfe6f},   {0xff00, 0xff60},   {0xffe0, 0xffe6},  {0x1f300, 0x1f64f},
                          {0x1f900, 0x1f9ff}, {0x20000, 0x2fffd}, {0x30000, 0x3fffd}};

template <size_t COUNT>
bool isIn(const Range (&ranges)[COUNT], uint32_t code) {
  return std::any_of(std::begin(ranges), std::end(ranges),
                     [code](const Range &range) { return code >= range.first && code <= range.last; });
}

uint32_t codeOf(std::string_view character) {
  const auto first = static_cast<uint8_t>(character[0]);
  if (character.size() == 1) return first;
  uint32_t code = first & (0x7fU >> character.size());
  for (const char byte : character.substr(1))
    code = (code << 6) | (static_cast<uint8_t>(byte) & 0x3fU);
  return code;
}

// A character as it is shown.
struct Cell {
  std::string text;
  size_t columns = 0;
  size_t begin = 0;  // in bytes
  size_t end = 0;
  size_t column = 0;  // from 0
};

std::vector<Cell> cellsOf(std::string_view text) {
  std::vector<Cell> cells;
  size_t position = 0;
  size_t column = 0;
  while (position < text.size()) {
    const size_t length = std::max(utf8Length(text.substr(position)), size_t{1});
    const std::string_view character = text.substr(position, length);
    Cell cell;
    cell.begin = position;
    cell.end = position + length;
    cell.column = column;
    if (character == "\t") {
      cell.columns = TAB_COLUMNS - column % TAB_COLUMNS;
      cell.text = std::string(cell.columns, ' ');
    } else {
      cell.text = printable(character);
      cell.columns = cell.text == character ? columnsOf(character) : cell.text.size();
    }
    column += cell.columns;
    position = cell.end;
    cells.push_back(std::move(cell));
  }
  return cells;
}

}  // namespace

size_t columnsOf(std::string_view character) {
  const uint32_t code = codeOf(character);
  if (isIn(COMBINING, code)) return 0;
  return isIn(WIDE, code) ? 2 : 1;
}

Excerpt excerptOf(std::string_view lineText, size_t column, size_t length) {
  const std::vector<Cell> cells = cellsOf(lineText);
  const size_t lineColumns = cells.empty() ? 0 : cells.back().column + cells.back().columns;
  const size_t first = column - 1;
  const size_t last = first + std::max(length, size_t{1});
  size_t markBegin = lineColumns;
  size_t markEnd = lineColumns + 1;
  for (const Cell &cell : cells) {
    if (cell.end <= first || cell.begin >= last) continue;
    if (cell.begin <= first) markBegin = cell.column;
    markBegin = std::min(markBegin, cell.column);
    markEnd = std::max(cell.column + cell.columns, cell.column + 1);
  }
  size_t from = 0;
  size_t to = lineColumns;
  if (lineColumns > EXCERPT_COLUMNS) {
    from = markBegin > LEAD_COLUMNS ? markBegin - LEAD_COLUMNS : 0;
    from = std::min(from, lineColumns - EXCERPT_COLUMNS);
    to = from + EXCERPT_COLUMNS;
  }
  Excerpt excerpt;
  if (from > 0) excerpt.line = ELLIPSIS;
  size_t shift = excerpt.line.size();
  bool isFirst = true;
  size_t shownEnd = from;
  for (const Cell &cell : cells) {
    if (cell.column < from || cell.column + cell.columns > to) continue;
    // A wide character in front may have been left out by half.
    if (isFirst) from = cell.column;
    isFirst = false;
    excerpt.line += cell.text;
    shownEnd = cell.column + cell.columns;
  }
  if (shownEnd < lineColumns) excerpt.line += ELLIPSIS;
  const size_t end = std::max(std::min(markEnd, shownEnd), markBegin + 1);
  excerpt.marks = std::string(shift + markBegin - from, ' ') + "^" + std::string(end - markBegin - 1, '~');
  return excerpt;
}

}  // namespace orv::checking
