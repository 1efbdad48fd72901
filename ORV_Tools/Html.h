// The parts that a page is made of. Everything that is not named HTML is text, and is escaped.
#ifndef ORV_TOOLS_HTML_H
#define ORV_TOOLS_HTML_H

#include <string>
#include <string_view>
#include <vector>

namespace orv {

// `text` as it stands in a page, without anything that commands or reorders (see printable).
std::string html(std::string_view text);

// How something is meant; it becomes a colour.
enum class Tone { PLAIN, GOOD, WARN, BAD, FAINT };

struct HtmlCell {
  std::string text;
  Tone tone = Tone::PLAIN;
  bool isCode = false;  // a path, a tag, a number: set in a typewriter's characters
};

using HtmlRow = std::vector<HtmlCell>;

std::string htmlTable(const std::vector<std::string> &head, const std::vector<HtmlRow> &rows);

// Names on the left, values on the right.
std::string htmlFacts(const std::vector<HtmlRow> &rows);

std::string htmlParagraph(const HtmlCell &cell);

// Lines as they stand, in a typewriter's characters.
std::string htmlLines(const std::vector<HtmlCell> &lines);

// What opens when somebody wants to see it; a printed page has it open.
std::string htmlDetails(const std::string &summary, const std::string &contentHtml);

struct HtmlSection {
  std::string id;
  std::string title;
  std::string contentHtml;
};

// A whole page with a table of contents, that loads nothing from anywhere: light or dark as the reader's system is.
std::string htmlPage(const std::string &title, const std::string &headHtml, const std::vector<HtmlSection> &sections);

}  // namespace orv

#endif
