#include "ReadyTag.h"

namespace orv {
namespace {

constexpr std::string_view BEGIN = "eu.";
constexpr std::string_view END = ".ready";

}  // namespace

std::string readyTagOf(std::string_view euName) {
  return std::string(BEGIN).append(euName).append(END);
}

std::string_view euOfReadyTag(std::string_view tag) {
  if (tag.size() <= BEGIN.size() + END.size() || !tag.starts_with(BEGIN) || !tag.ends_with(END)) return {};
  return tag.substr(BEGIN.size(), tag.size() - BEGIN.size() - END.size());
}

}  // namespace orv
