// An XML text as a document whose every part knows its line and column.
//
// A thin layer over the parser, for files that people write: it is stricter than the parser where the parser would
// guess (encodings, unknown character references, repeated attributes, several root elements) and says where and what.
// Comments and processing instructions are passed over. A document type declaration is refused, so that no entity but
// the predefined ones exists and no other file is ever read.
#ifndef ORV_LINUX_XMLTEXT_H
#define ORV_LINUX_XMLTEXT_H

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "Status.h"

namespace orv {

// `text` without the white space around it.
std::string_view trimmed(std::string_view text);

// True for a text of an element that is nothing but the white space between its children.
bool isBlank(const pugi::xml_node &node);

class XmlText {
 public:
  // `text`, the content of `fileName` (used in messages only), has to outlive the object.
  XmlText(std::string_view text, std::string fileName);

  // Parses the text. `root` becomes its root element, which is named `rootName`. Fails with EINVAL and the sentence of
  // failure().
  Status parse(const char *rootName, pugi::xml_node &root);

  // The place of a node, of an attribute's name or of its value (as xml_attribute::name and xml_attribute::value hand
  // them out) in the text.
  size_t offsetOf(const pugi::xml_node &node) const;
  size_t offsetOf(const char *nameOrValue) const;

  // EINVAL with "<file>:<line>:<column>: <wrong>, expected <expected>". Columns count characters, from 1.
  Status failure(size_t offset, const std::string &wrong, const std::string &expected) const;

 private:
  Status load();
  Status checkProlog() const;
  Status checkEncoding(const pugi::xml_node &declaration) const;
  Status checkReferences() const;
  Status findRoot(const std::string &rootName, pugi::xml_node &root) const;

  std::string_view text_;
  std::string fileName_;
  pugi::xml_document document_;
  const char *buffer_ = nullptr;  // the parser's copy of text_, in which the names and values of the document lie
};

}  // namespace orv

#endif
