#include "AaConfig.h"

#include <cerrno>
#include <optional>
#include <string>

#include "MemBuffer.h"
#include "NoThrow.h"
#include "Platform.h"
#include "PlatformConfig.h"
#include "StartupStage.h"

namespace {

using orv::Status;
using orv::TagType;
using orv::TagValue;

// The code of every operation where this process has no node store; nodeStore() has said why.
constexpr int32_t NO_STORE = ENODEV;

int32_t setTag(const char *name, const TagValue &value) {
  orv::NodeStore *store = orv::nodeStore();
  if (store == nullptr) return NO_STORE;
  const Status status = store->setTag(name, value);
  if (!status.ok()) orv::platformLog(orv::SEVERITY_WARNING, status.message);
  return status.code;
}

int32_t setNumberTag(const char *name, TagType type, uint32_t number) {
  if (name == nullptr) return EINVAL;
  return orv::withoutExceptions<int32_t>(ENOMEM, [&] { return setTag(name, TagValue{type, number, {}}); });
}

Status readConfiguration(const char *path) {
  orv::NodeStore *store = orv::nodeStore();
  if (store != nullptr) return orv::applyPlatformConfig(*store, path);
  return Status::failure(NO_STORE, std::string(path) + " is not applied: this process has no node store");
}

int32_t getString(const char *name, char **text, uint32_t *length) {
  const orv::NodeStore *store = orv::nodeStore();
  if (store == nullptr) return NO_STORE;
  const std::optional<orv::Tag> tag = store->tag(name);
  if (!tag) return ENOENT;
  if (tag->value.type != TagType::STRING) {
    orv::platformLog(orv::SEVERITY_WARNING, "tag " + tag->name + " is a number (" + std::to_string(tag->value.number) +
                                                ") and not a text; set it with type string for who reads it as one");
    return EINVAL;
  }
  char *buffer = orv::createMemBuffer(tag->value.text);
  if (buffer == nullptr) return ENOMEM;
  *text = buffer;
  *length = static_cast<uint32_t>(tag->value.text.size());
  return 0;
}

}  // namespace

extern "C" {

int32_t AaConfigTagSetString(const char *name, const char *text) {
  if (name == nullptr || text == nullptr) return EINVAL;
  return orv::withoutExceptions<int32_t>(ENOMEM, [&] { return setTag(name, TagValue{TagType::STRING, 0, text}); });
}

int32_t AaConfigTagSetU16(const char *name, uint16_t value) {
  return setNumberTag(name, TagType::U16, value);
}

int32_t AaConfigTagSetU32(const char *name, uint32_t value) {
  return setNumberTag(name, TagType::U32, value);
}

int32_t AaConfigTagReadFile(const char *path) {
  if (path == nullptr) return EINVAL;
  return orv::withoutExceptions<int32_t>(ENOMEM, [&] {
    const Status status = readConfiguration(path);
    if (!status.ok()) orv::platformComplain(orv::SEVERITY_ERROR, status.message);
    return status.code;
  });
}

int32_t AaConfigTagIsSet(const char *name) {
  if (name == nullptr) return 0;
  return orv::withoutExceptions<int32_t>(0, [&] {
    const orv::NodeStore *store = orv::nodeStore();
    const bool isSet = store != nullptr && store->tagIsSet(name);
    if (orv::inStartupEu()) orv::noteTagAsked(name, isSet);
    return isSet ? 1 : 0;
  });
}

int32_t AaConfigTagGetString(const char *name, char **text, uint32_t *length) {
  if (name == nullptr || text == nullptr || length == nullptr) return EINVAL;
  return orv::withoutExceptions<int32_t>(ENOMEM, [&] { return getString(name, text, length); });
}

uint32_t AaConfigRadGetValue(uint32_t number) {
  return orv::withoutExceptions<uint32_t>(0, [&] {
    const orv::NodeStore *store = orv::nodeStore();
    return store == nullptr ? 0 : store->rad(number);
  });
}

}  // extern "C"
