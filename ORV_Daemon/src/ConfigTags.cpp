#include "ConfigTags.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "AaConfig.h"
#include "TextFields.h"

namespace {

// True when `value` is a whole number; `number` then holds it.
bool toWholeNumber(const char *value, int32_t &number) {
  const char *end = nullptr;
  errno = 0;
  number = toSigned32(value, 0, &end);
  if (errno == ERANGE || (errno != 0 && number == 0)) return false;
  return end != value && *end == '\0';
}

// Results not examined: a tag that the platform refuses must not stop the start-up.
void setTag(const char *name, const char *value, int shortValues) {
  int32_t number = 0;
  if (!toWholeNumber(value, number)) {
    AaConfigTagSetString(name, value);
  } else if (shortValues != 0) {
    AaConfigTagSetU16(name, static_cast<uint16_t>(number));
  } else {
    AaConfigTagSetU32(name, static_cast<uint32_t>(number));
  }
}

}  // namespace

int configTags(char *list, int shortValues) {
  constexpr const char *SEPARATORS = "=,";
  char *state = nullptr;
  char *name = strtok_r(list, SEPARATORS, &state);
  while (name != nullptr) {
    const char *value = strtok_r(nullptr, SEPARATORS, &state);
    if (value == nullptr) break;
    setTag(name, value, shortValues);
    name = strtok_r(nullptr, SEPARATORS, &state);
  }
  return 0;
}
