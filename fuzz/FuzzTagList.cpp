// One list of -c or -s, as the first byte says.
#include <map>

#include "ConfigTags.h"
#include "FuzzNode.h"

using orvfuzz::require;

namespace {

// The platform's limits; what is longer it refuses.
constexpr size_t MAX_NAME = 255;
constexpr size_t MAX_TEXT = 4095;

bool isShortDecimal(const std::string &value) {
  return value.size() <= 9 && value[0] != '0' &&
         std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool cannotBeANumber(const std::string &value) {
  return std::strchr(" \t\n\v\f\r+-0123456789", value[0]) == nullptr;
}

void checkTag(const std::string &name, const std::string &value) {
  require(AaConfigTagIsSet(name.c_str()) != 0);
  std::string text;
  const bool isText = orvfuzz::readTag(name, text);
  if (isText) require(text == value);
  if (isShortDecimal(value)) require(!isText);
  if (cannotBeANumber(value)) require(isText);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  orvfuzz::forgetTagsFromTimeToTime();
  const std::string list = orvfuzz::textOf(data + 1, size - 1);
  std::vector<char> argument = orvfuzz::writable(list);
  require(configTags(argument.data(), data[0] & 1) == 0);

  // The last value that the platform takes for a name is the one that stays.
  std::map<std::string, std::string> expected;
  const std::vector<std::string> tokens = orvfuzz::withoutEmpty(orvfuzz::split(list, "=,"));
  for (size_t i = 0; i + 1 < tokens.size(); i += 2) {
    if (tokens[i].size() <= MAX_NAME && tokens[i + 1].size() <= MAX_TEXT) expected[tokens[i]] = tokens[i + 1];
  }
  for (const auto &[name, value] : expected)
    checkTag(name, value);
  return 0;
}
