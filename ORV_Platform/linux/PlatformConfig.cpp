#include "PlatformConfig.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <iterator>
#include <limits>
#include <pugixml.hpp>
#include <span>
#include <utility>

#include "GatewayPlan.h"
#include "RegularFile.h"
#include "XmlText.h"

namespace orv {
namespace {

constexpr size_t MAX_FILE_LENGTH = size_t{1024} * 1024;  // bytes
constexpr size_t MAX_QUOTED_LENGTH = 60;                 // bytes
constexpr uint32_t MAX_U16 = std::numeric_limits<uint16_t>::max();
constexpr uint32_t MAX_U32 = std::numeric_limits<uint32_t>::max();
constexpr uint32_t MIN_EVENT_LIMIT = 100;  // the bounds of NodeStore::setEventLimit
constexpr uint32_t MAX_EVENT_LIMIT = 100000;

struct Attribute {
  const char *name;
  bool required;
};

constexpr Attribute TAG_ATTRIBUTES[] = {{"name", true}, {"type", false}, {"value", false}};
constexpr Attribute PARAMETER_ATTRIBUTES[] = {{"number", true}, {"value", true}};
constexpr Attribute EVENTS_ATTRIBUTES[] = {{"limit", true}};
constexpr Attribute BOARD_ATTRIBUTES[] = {{"reset", false},
                                          {"watchdogDevice", false},
                                          {"resetBudget", false},
                                          {"resetWindowS", false},
                                          {"graceTimeMs", false}};

constexpr Attribute GATEWAY_ATTRIBUTES[] = {
    {"port", false}, {"address", false}, {"queue", false}, {"deliveryTimeoutS", false}, {"keys", false}};

// A number attribute and the tag that it becomes.
struct NumberSetting {
  const char *attribute;
  const char *tag;
  uint32_t minimum;
  uint32_t maximum;
};

constexpr NumberSetting BOARD_NUMBERS[] = {{"resetBudget", BOARD_RESET_BUDGET_TAG, 0, MAX_U32},
                                           {"resetWindowS", BOARD_RESET_WINDOW_TAG, 0, MAX_U32},
                                           {"graceTimeMs", BOARD_GRACE_TIME_TAG, 0, MAX_U32}};
constexpr NumberSetting GATEWAY_NUMBERS[] = {
    {"port", GATEWAY_PORT_TAG, 0, MAX_U16},
    {"queue", GATEWAY_QUEUE_TAG, 1, MAX_GATEWAY_QUEUE},
    {"deliveryTimeoutS", GATEWAY_DELIVERY_TIMEOUT_TAG, 1, MAX_DELIVERY_TIMEOUT_S}};

constexpr std::string_view BOARD_RESETS[] = {"none", "watchdog", "reboot"};

struct TypeName {
  std::string_view name;
  TagType type;
  uint32_t maximum;  // of a number
};

constexpr TypeName TYPE_NAMES[] = {
    {"string", TagType::STRING, 0}, {"u16", TagType::U16, MAX_U16}, {"u32", TagType::U32, MAX_U32}};

// A file can have a text of any length where a short one belongs; a message shows its beginning.
std::string quoted(std::string_view text) {
  const bool isShort = text.size() <= MAX_QUOTED_LENGTH;
  return "\"" + std::string(text.substr(0, MAX_QUOTED_LENGTH)) + (isShort ? "\"" : "...\"");
}

// "a", "b" or "c".
template <typename Range, typename Project>
std::string alternatives(const Range &range, Project project) {
  std::string text;
  size_t left = std::size(range);
  for (const auto &item : range) {
    text += project(item);
    --left;
    if (left > 0) text += left == 1 ? " or " : ", ";
  }
  return text;
}

// Decimal, 0x... hexadecimal or leading-0 octal; no sign.
bool parseNumber(std::string_view text, uint32_t maximum, uint32_t &number) {
  int base = 10;
  if (text.size() > 2 && (text.starts_with("0x") || text.starts_with("0X"))) {
    base = 16;
    text.remove_prefix(2);
  } else if (text.size() > 1 && text.front() == '0') {
    base = 8;
    text.remove_prefix(1);
  }
  uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc() || end != text.data() + text.size() || value > maximum) return false;
  number = value;
  return true;
}

// One run over one file.
class Parser {
 public:
  Parser(std::string_view text, const std::string &fileName) : xml_(text, fileName) {}

  // Fills `config`, which is of no use after a failure.
  Status run(PlatformConfig &config);

 private:
  using ElementParser = Status (Parser::*)(const pugi::xml_node &node);
  struct Element {
    const char *name;
    std::span<const Attribute> attributes;
    ElementParser parse;
  };
  static const std::array<Element, 5> PARTS;  // of <orv>
  static const std::array<Element, 1> TAGS_CHILDREN;
  static const std::array<Element, 1> RAD_CHILDREN;

  Status checkAttributes(const pugi::xml_node &node, std::span<const Attribute> allowed) const;
  Status parseChildren(const pugi::xml_node &node, std::span<const Element> children);
  Status parseChild(const pugi::xml_node &child, std::span<const Element> children);
  Status parseTags(const pugi::xml_node &node);
  Status parseTag(const pugi::xml_node &node);
  Status parseRad(const pugi::xml_node &node);
  Status parseParameter(const pugi::xml_node &node);
  Status parseBoard(const pugi::xml_node &node);
  Status parseEvents(const pugi::xml_node &node);
  Status parseGateway(const pugi::xml_node &node);
  Status readTagType(const pugi::xml_node &node, TypeName &type) const;
  Status readTagText(const pugi::xml_node &node, std::string &text, size_t &offset) const;
  Status readTextContent(const pugi::xml_node &node, std::string &text) const;
  Status readText(const pugi::xml_node &node, const char *attribute, const char *tag);
  Status readNumbers(const pugi::xml_node &node, std::span<const NumberSetting> settings);
  Status readNumber(const pugi::xml_attribute &attribute, uint32_t minimum, uint32_t maximum, uint32_t &number) const;
  Status checkTextLength(std::string_view text, size_t offset) const;

  XmlText xml_;
  PlatformConfig config_;
};

constinit const std::array<Parser::Element, 5> Parser::PARTS = {
    {{"tags", {}, &Parser::parseTags},
     {"rad", {}, &Parser::parseRad},
     {"board", BOARD_ATTRIBUTES, &Parser::parseBoard},
     {"events", EVENTS_ATTRIBUTES, &Parser::parseEvents},
     {"gateway", GATEWAY_ATTRIBUTES, &Parser::parseGateway}}};
constinit const std::array<Parser::Element, 1> Parser::TAGS_CHILDREN = {{{"tag", TAG_ATTRIBUTES, &Parser::parseTag}}};
constinit const std::array<Parser::Element, 1> Parser::RAD_CHILDREN = {
    {{"parameter", PARAMETER_ATTRIBUTES, &Parser::parseParameter}}};

Status Parser::run(PlatformConfig &config) {
  pugi::xml_node root;
  if (Status status = xml_.parse("orv", root); !status.ok()) return status;
  if (Status status = checkAttributes(root, {}); !status.ok()) return status;
  if (Status status = parseChildren(root, PARTS); !status.ok()) return status;
  config = std::move(config_);
  return Status::success();
}

Status Parser::checkAttributes(const pugi::xml_node &node, std::span<const Attribute> allowed) const {
  const std::string element = "<" + std::string(node.name()) + ">";
  const auto nameOf = [](const Attribute &attribute) { return std::string(attribute.name); };
  for (const pugi::xml_attribute &attribute : node.attributes()) {
    const auto isNamed = [&attribute](const Attribute &known) {
      return std::strcmp(known.name, attribute.name()) == 0;
    };
    if (std::none_of(allowed.begin(), allowed.end(), isNamed)) {
      return xml_.failure(xml_.offsetOf(attribute.name()), element + " has no attribute " + quoted(attribute.name()),
                          allowed.empty() ? "no attribute" : alternatives(allowed, nameOf));
    }
    if (node.attribute(attribute.name()) != attribute) {
      return xml_.failure(xml_.offsetOf(attribute.name()),
                          "the attribute " + quoted(attribute.name()) + " stands twice", "each attribute once");
    }
  }
  for (const Attribute &attribute : allowed) {
    if (!attribute.required || node.attribute(attribute.name)) continue;
    return xml_.failure(xml_.offsetOf(node), element + " has no attribute " + quoted(attribute.name),
                        nameOf(attribute) + "=\"...\"");
  }
  return Status::success();
}

Status Parser::parseChildren(const pugi::xml_node &node, std::span<const Element> children) {
  for (const pugi::xml_node &child : node.children()) {
    if (isBlank(child)) continue;
    if (Status status = parseChild(child, children); !status.ok()) return status;
  }
  return Status::success();
}

Status Parser::parseChild(const pugi::xml_node &child, std::span<const Element> children) {
  const std::string parent = "<" + std::string(child.parent().name()) + ">";
  const std::string expected = children.empty() ? "nothing" : alternatives(children, [](const Element &known) {
    return "<" + std::string(known.name) + ">";
  });
  if (child.type() != pugi::node_element) {
    return xml_.failure(xml_.offsetOf(child), "text is not allowed in " + parent, expected);
  }
  const auto isNamed = [&child](const Element &known) { return std::strcmp(known.name, child.name()) == 0; };
  const auto found = std::find_if(children.begin(), children.end(), isNamed);
  if (found == children.end()) {
    return xml_.failure(xml_.offsetOf(child), parent + " has no element <" + std::string(child.name()) + ">", expected);
  }
  if (Status status = checkAttributes(child, found->attributes); !status.ok()) return status;
  return (this->*found->parse)(child);
}

Status Parser::parseTags(const pugi::xml_node &node) {
  return parseChildren(node, TAGS_CHILDREN);
}

Status Parser::parseRad(const pugi::xml_node &node) {
  return parseChildren(node, RAD_CHILDREN);
}

Status Parser::parseTag(const pugi::xml_node &node) {
  const pugi::xml_attribute name = node.attribute("name");
  const size_t nameLength = std::strlen(name.value());
  if (nameLength == 0 || nameLength > MAX_TAG_NAME_LENGTH) {
    return xml_.failure(xml_.offsetOf(name.value()), "the tag name has " + std::to_string(nameLength) + " bytes",
                        "1 to " + std::to_string(MAX_TAG_NAME_LENGTH));
  }
  TypeName type{};
  if (Status status = readTagType(node, type); !status.ok()) return status;
  TagValue value{type.type, 0, {}};
  size_t offset = 0;
  if (Status status = readTagText(node, value.text, offset); !status.ok()) return status;
  if (type.type != TagType::STRING) {
    if (!parseNumber(trimmed(value.text), type.maximum, value.number)) {
      return xml_.failure(
          offset, quoted(trimmed(value.text)) + " is not a number of type " + std::string(type.name),
          "a number from 0 to " + std::to_string(type.maximum) + " (decimal, 0x..., or octal with a leading 0)");
    }
    value.text.clear();
  } else if (Status status = checkTextLength(value.text, offset); !status.ok()) {
    return status;
  }
  config_.settings.tags.emplace_back(name.value(), std::move(value));
  return Status::success();
}

Status Parser::readTagType(const pugi::xml_node &node, TypeName &type) const {
  const pugi::xml_attribute attribute = node.attribute("type");
  const std::string_view wanted = attribute ? attribute.value() : "string";
  for (const TypeName &known : TYPE_NAMES) {
    if (known.name != wanted) continue;
    type = known;
    return Status::success();
  }
  return xml_.failure(xml_.offsetOf(attribute.value()), "there is no tag type " + quoted(wanted),
                      alternatives(TYPE_NAMES, [](const TypeName &known) { return quoted(known.name); }));
}

// `offset` becomes the place that a message about the text names.
Status Parser::readTagText(const pugi::xml_node &node, std::string &text, size_t &offset) const {
  if (Status status = readTextContent(node, text); !status.ok()) return status;
  offset = node.first_child() ? xml_.offsetOf(node.first_child()) : xml_.offsetOf(node);
  const pugi::xml_attribute attribute = node.attribute("value");
  if (attribute) {
    if (!trimmed(text).empty()) {
      return xml_.failure(offset, "the tag has both the attribute \"value\" and a text", "one of the two");
    }
    offset = xml_.offsetOf(attribute.value());
    text = attribute.value();
  } else if (text.find('\n') != std::string::npos) {
    text = trimmed(text);
  }
  return Status::success();
}

Status Parser::readTextContent(const pugi::xml_node &node, std::string &text) const {
  for (const pugi::xml_node &child : node.children()) {
    if (child.type() == pugi::node_element) {
      return xml_.failure(xml_.offsetOf(child), "<tag> has no element <" + std::string(child.name()) + ">", "text");
    }
    text += child.value();
  }
  return Status::success();
}

Status Parser::parseParameter(const pugi::xml_node &node) {
  RadParameter parameter;
  parameter.origin = RadOrigin::CONFIGURATION;
  if (Status status = readNumber(node.attribute("number"), 0, MAX_U32, parameter.number); !status.ok()) return status;
  if (Status status = readNumber(node.attribute("value"), 0, MAX_U32, parameter.value); !status.ok()) return status;
  config_.settings.rads.push_back(parameter);
  return parseChildren(node, {});
}

Status Parser::parseBoard(const pugi::xml_node &node) {
  if (const pugi::xml_attribute reset = node.attribute("reset"); reset) {
    if (std::find(std::begin(BOARD_RESETS), std::end(BOARD_RESETS), reset.value()) == std::end(BOARD_RESETS)) {
      return xml_.failure(xml_.offsetOf(reset.value()), "there is no board reset " + quoted(reset.value()),
                          alternatives(BOARD_RESETS, quoted));
    }
  }
  if (Status status = readText(node, "reset", BOARD_RESET_TAG); !status.ok()) return status;
  if (Status status = readText(node, "watchdogDevice", BOARD_WATCHDOG_DEVICE_TAG); !status.ok()) return status;
  if (Status status = readNumbers(node, BOARD_NUMBERS); !status.ok()) return status;
  return parseChildren(node, {});
}

Status Parser::parseGateway(const pugi::xml_node &node) {
  if (Status status = readText(node, "address", GATEWAY_ADDRESS_TAG); !status.ok()) return status;
  if (Status status = readText(node, "keys", GATEWAY_KEYS_TAG); !status.ok()) return status;
  if (Status status = readNumbers(node, GATEWAY_NUMBERS); !status.ok()) return status;
  return parseChildren(node, {});
}

Status Parser::readNumbers(const pugi::xml_node &node, std::span<const NumberSetting> settings) {
  for (const NumberSetting &setting : settings) {
    const pugi::xml_attribute attribute = node.attribute(setting.attribute);
    if (!attribute) continue;
    TagValue value{TagType::U32, 0, {}};
    Status status = readNumber(attribute, setting.minimum, setting.maximum, value.number);
    if (!status.ok()) return status;
    config_.settings.tags.emplace_back(setting.tag, std::move(value));
  }
  return Status::success();
}

Status Parser::readText(const pugi::xml_node &node, const char *attribute, const char *tag) {
  const pugi::xml_attribute found = node.attribute(attribute);
  if (!found) return Status::success();
  const std::string_view text = found.value();
  if (text.empty()) return xml_.failure(xml_.offsetOf(found.value()), quoted(attribute) + " is empty", "a text");
  if (Status status = checkTextLength(text, xml_.offsetOf(found.value())); !status.ok()) return status;
  config_.settings.tags.emplace_back(tag, TagValue{TagType::STRING, 0, std::string(text)});
  return Status::success();
}

Status Parser::parseEvents(const pugi::xml_node &node) {
  uint32_t limit = 0;
  if (Status status = readNumber(node.attribute("limit"), MIN_EVENT_LIMIT, MAX_EVENT_LIMIT, limit); !status.ok()) {
    return status;
  }
  config_.eventLimit = limit;
  return parseChildren(node, {});
}

Status Parser::readNumber(const pugi::xml_attribute &attribute, uint32_t minimum, uint32_t maximum,
                          uint32_t &number) const {
  if (parseNumber(trimmed(attribute.value()), maximum, number) && number >= minimum) return Status::success();
  return xml_.failure(xml_.offsetOf(attribute.value()),
                      "the " + std::string(attribute.name()) + " " + quoted(attribute.value()) + " is not valid",
                      "a number from " + std::to_string(minimum) + " to " + std::to_string(maximum) +
                          " (decimal, 0x..., or octal with a leading 0)");
}

Status Parser::checkTextLength(std::string_view text, size_t offset) const {
  if (text.size() <= MAX_TAG_TEXT_LENGTH) return Status::success();
  return xml_.failure(offset, "the text has " + std::to_string(text.size()) + " bytes",
                      "at most " + std::to_string(MAX_TAG_TEXT_LENGTH));
}

}  // namespace

Status parsePlatformConfig(std::string_view text, const std::string &fileName, PlatformConfig &config) {
  return Parser(text, fileName).run(config);
}

Status readPlatformConfig(const std::string &fileName, PlatformConfig &config) {
  std::string text;
  if (Status status = readRegularFile(fileName, MAX_FILE_LENGTH, text); !status.ok()) {
    return Status::failure(status.code, "cannot read configuration file " + status.message);
  }
  return parsePlatformConfig(text, fileName, config);
}

Status applyPlatformConfig(NodeStore &store, const std::string &fileName) {
  PlatformConfig config;
  Status status = readPlatformConfig(fileName, config);
  if (status.ok()) status = store.apply(config.settings);
  if (status.ok() && config.eventLimit) status = store.setEventLimit(*config.eventLimit);
  return status;
}

}  // namespace orv
