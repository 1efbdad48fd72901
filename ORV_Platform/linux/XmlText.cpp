#include "XmlText.h"

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <iterator>
#include <utility>

#include "Utf8.h"

namespace orv {
namespace {

constexpr std::string_view WHITE_SPACE = " \t\r\n";

// White-space-only text is kept, since it can be a tag's text; text outside the root and a document type are kept so
// that they can be refused. A document type is never followed: the parser knows the predefined entities alone.
constexpr unsigned PARSE_FLAGS =
    pugi::parse_default | pugi::parse_declaration | pugi::parse_doctype | pugi::parse_ws_pcdata | pugi::parse_fragment;

struct SyntaxText {
  pugi::xml_parse_status status;
  const char *wrong;
  const char *expected;
};

constexpr SyntaxText SYNTAX_TEXTS[] = {
    {pugi::status_unrecognized_tag, "this '<' begins nothing that XML knows", "an element, or &lt; for a plain '<'"},
    {pugi::status_bad_pi, "the declaration or processing instruction is malformed", "<?name ...?>"},
    {pugi::status_bad_comment, "the comment is malformed or has no end", "<!-- ... -->"},
    {pugi::status_bad_cdata, "the CDATA section is malformed or has no end", "<![CDATA[ ... ]]>"},
    {pugi::status_bad_doctype, "a document type declaration is not allowed", "the root element"},
    {pugi::status_bad_pcdata, "the text is malformed", "text or an element"},
    {pugi::status_bad_start_element, "the start tag is malformed or has no end", "<name attribute=\"value\">"},
    {pugi::status_bad_attribute, "the attribute is malformed", "attribute=\"value\""},
    {pugi::status_bad_end_element, "the end tag is malformed", "</name>"},
    {pugi::status_end_element_mismatch, "start and end tags do not match", "one </name> for each <name>"},
};

std::string position(std::string_view text, size_t offset) {
  const std::string_view before = text.substr(0, std::min(offset, text.size()));
  const size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is 0: the first line
  const std::string_view line = before.substr(lineStart);
  const size_t column = utf8Characters(line) + 1;
  const auto lineNumber = std::count(before.begin(), before.end(), '\n') + 1;
  return std::to_string(lineNumber) + ":" + std::to_string(column);
}

// True when `reference`, what stands between '&' and ';', names a character that a text can have.
bool isReference(std::string_view reference) {
  constexpr std::string_view NAMES[] = {"lt", "gt", "amp", "quot", "apos"};
  if (!reference.starts_with('#')) return std::find(std::begin(NAMES), std::end(NAMES), reference) != std::end(NAMES);
  reference.remove_prefix(1);
  const int base = reference.starts_with('x') ? 16 : 10;
  if (base == 16) reference.remove_prefix(1);
  uint32_t character = 0;
  const auto [end, error] = std::from_chars(reference.data(), reference.data() + reference.size(), character, base);
  const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
  return error == std::errc() && end == reference.data() + reference.size() && character > 0 && character <= 0x10FFFF &&
         !isSurrogate;
}

// The offset of the first '&' outside comments, CDATA sections and processing instructions that begins no reference;
// npos when there is none. The parser would take such a '&' for a plain character.
size_t findBadReference(std::string_view text) {
  constexpr std::pair<std::string_view, std::string_view> LITERALS[] = {
      {"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}};
  size_t at = 0;
  while ((at = text.find_first_of("<&", at)) != std::string_view::npos) {
    const std::string_view rest = text.substr(at);
    if (rest.front() == '&') {
      const size_t end = rest.find(';');
      if (end == std::string_view::npos || !isReference(rest.substr(1, end - 1))) return at;
    }
    size_t next = at + 1;
    for (const auto &[begin, end] : LITERALS) {
      if (!rest.starts_with(begin)) continue;
      next = std::min(text.find(end, at + begin.size()), text.size());
    }
    at = next;
  }
  return std::string_view::npos;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(WHITE_SPACE);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(WHITE_SPACE) - first + 1);
}

bool isBlank(const pugi::xml_node &node) {
  return node.type() == pugi::node_pcdata && trimmed(node.value()).empty();
}

XmlText::XmlText(std::string_view text, std::string fileName) : text_(text), fileName_(std::move(fileName)) {}

Status XmlText::parse(const char *rootName, pugi::xml_node &root) {
  if (Status status = load(); !status.ok()) return status;
  if (Status status = checkProlog(); !status.ok()) return status;
  if (Status status = checkReferences(); !status.ok()) return status;
  return findRoot(rootName, root);
}

Status XmlText::load() {
  // The parser takes a NUL for the end of the document; a file in UTF-16 has one in its first characters.
  if (const size_t nul = text_.find('\0'); nul != std::string_view::npos) {
    return failure(nul, "the file has a NUL byte", "a text in UTF-8");
  }
  // The encoding is given, not guessed, so that offsets in the document are offsets in the text.
  const pugi::xml_parse_result result =
      document_.load_buffer(text_.data(), text_.size(), PARSE_FLAGS, pugi::encoding_utf8);
  if (!result) {
    const size_t offset = static_cast<size_t>(std::max<ptrdiff_t>(result.offset, 0));
    for (const SyntaxText &syntax : SYNTAX_TEXTS) {
      if (syntax.status == result.status) return failure(offset, syntax.wrong, syntax.expected);
    }
    return failure(offset, result.description(), "well-formed XML");
  }
  for (const pugi::xml_node &node : document_.children()) {
    if (node.type() == pugi::node_element) buffer_ = node.name() - node.offset_debug();
  }
  return Status::success();
}

Status XmlText::checkProlog() const {
  for (const pugi::xml_node &node : document_.children()) {
    if (node.type() == pugi::node_doctype) {
      return failure(offsetOf(node), "a document type declaration is not allowed", "the root element");
    }
    if (node.type() == pugi::node_declaration) {
      if (Status status = checkEncoding(node); !status.ok()) return status;
    }
  }
  return Status::success();
}

Status XmlText::checkEncoding(const pugi::xml_node &declaration) const {
  const pugi::xml_attribute encoding = declaration.attribute("encoding");
  if (!encoding || strcasecmp(encoding.value(), "UTF-8") == 0 || strcasecmp(encoding.value(), "US-ASCII") == 0) {
    return Status::success();
  }
  return failure(offsetOf(declaration), "the encoding \"" + std::string(encoding.value()) + "\" is not supported",
                 "\"UTF-8\"");
}

Status XmlText::checkReferences() const {
  const size_t bad = findBadReference(text_);
  if (bad == std::string_view::npos) return Status::success();
  return failure(bad, "this '&' begins no character reference",
                 "&lt;, &gt;, &amp;, &quot;, &apos; or a number such as &#10; (a plain '&' is written &amp;)");
}

Status XmlText::findRoot(const std::string &rootName, pugi::xml_node &root) const {
  const std::string expected = "one element <" + rootName + ">";
  pugi::xml_node found;
  for (const pugi::xml_node &node : document_.children()) {
    if (node.type() == pugi::node_declaration || isBlank(node)) continue;
    if (node.type() != pugi::node_element) return failure(offsetOf(node), "text outside the root element", expected);
    if (found) return failure(offsetOf(node), "there is a second root element", expected);
    if (node.name() != rootName) {
      return failure(offsetOf(node), "the root element is <" + std::string(node.name()) + ">", expected);
    }
    found = node;
  }
  if (!found) return failure(0, "the file has no root element", expected);
  root = found;
  return Status::success();
}

size_t XmlText::offsetOf(const pugi::xml_node &node) const {
  // A node without name and value (such as an empty CDATA section) has no offset; its parent's is near enough.
  const ptrdiff_t offset = node.offset_debug();
  if (offset < 0) return node.parent() ? offsetOf(node.parent()) : 0;
  // What a message points at is the text, not the line break and the indentation before it.
  const size_t start = static_cast<size_t>(offset);
  const size_t first = node.type() == pugi::node_pcdata ? text_.find_first_not_of(WHITE_SPACE, start) : start;
  return first == std::string_view::npos ? start : first;
}

size_t XmlText::offsetOf(const char *nameOrValue) const {
  // Names and values lie in the parser's buffer where they stand in the text. The parser itself tells the place of
  // nodes alone.
  return static_cast<size_t>(nameOrValue - buffer_);
}

Status XmlText::failure(size_t offset, const std::string &wrong, const std::string &expected) const {
  return Status::failure(EINVAL, fileName_ + ":" + position(text_, offset) + ": " + wrong + ", expected " + expected);
}

}  // namespace orv
