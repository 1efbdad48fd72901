#include "AaConfig.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "AaMem.h"
#include "HexText.h"
#include "Operation.h"

using namespace orv::sim;
using orv::hexText;

namespace {

int32_t setTag(Call call, const char *name, const TagValue &value, const std::string &valueText) {
  Simulation &simulation = beginOperation();
  const auto result = static_cast<int32_t>(simulation.answers().answer(call, name).value_or(0));
  recordCall(simulation, call, text(name) + ", " + valueText, result);
  if (result == 0) simulation.setTag(name, value);
  return result;
}

int32_t getString(Simulation &simulation, const char *name, char **characters, uint32_t *length) {
  const TagValue *value = simulation.tag(name);
  if (value == nullptr) return ENOENT;
  if (value->type != TagType::STRING) return EINVAL;
  // Its end is a NUL that does not count.
  auto *buffer = static_cast<char *>(std::malloc(value->text.size() + 1));
  if (buffer == nullptr) return ENOMEM;
  std::memcpy(buffer, value->text.c_str(), value->text.size() + 1);
  *characters = buffer;
  *length = static_cast<uint32_t>(value->text.size());
  simulation.buffers[buffer] = ++simulation.buffersMade;
  return 0;
}

int32_t readFile(Simulation &simulation, const char *path) {
  const auto &files = simulation.scenario().configFiles;
  const auto found = files.find(path);
  if (found == files.end()) return ENOENT;
  for (const auto &[name, value] : found->second)
    simulation.setTag(name, value);
  return 0;
}

}  // namespace

extern "C" {

int32_t AaConfigTagSetString(const char *name, const char *value) {
  return setTag(Call::TAG_SET_STRING, name, {TagType::STRING, 0, value}, text(value));
}

int32_t AaConfigTagSetU16(const char *name, uint16_t value) {
  return setTag(Call::TAG_SET_U16, name, {TagType::U16, value, ""}, std::to_string(value));
}

int32_t AaConfigTagSetU32(const char *name, uint32_t value) {
  return setTag(Call::TAG_SET_U32, name, {TagType::U32, value, ""}, std::to_string(value));
}

int32_t AaConfigTagReadFile(const char *path) {
  Simulation &simulation = beginOperation();
  const auto answer = simulation.answers().answer(Call::TAG_READ_FILE, path);
  const auto result = answer ? static_cast<int32_t>(*answer) : readFile(simulation, path);
  recordCall(simulation, Call::TAG_READ_FILE, text(path), result);
  return result;
}

int32_t AaConfigTagIsSet(const char *name) {
  Simulation &simulation = beginOperation();
  const auto answer = simulation.answers().answer(Call::TAG_IS_SET, name);
  const int32_t result = answer ? static_cast<int32_t>(*answer) : simulation.tag(name) != nullptr ? 1 : 0;
  simulation.trace().addTagTest(simulation.scheduler().nowMs(), simulation.actor(), name, result);
  return result;
}

int32_t AaConfigTagGetString(const char *name, char **characters, uint32_t *length) {
  Simulation &simulation = beginOperation();
  const auto answer = simulation.answers().answer(Call::TAG_GET_STRING, name);
  const auto result =
      answer && *answer != 0 ? static_cast<int32_t>(*answer) : getString(simulation, name, characters, length);
  std::string line = "AaConfigTagGetString(" + text(name) + ") = " + std::to_string(result);
  if (result == 0) line += ", buffer " + std::to_string(simulation.buffers[*characters]) + " " + quoted(*characters);
  simulation.record(line);
  return result;
}

uint32_t AaConfigRadGetValue(uint32_t number) {
  Simulation &simulation = beginOperation();
  const auto found = simulation.scenario().rad.find(number);
  const uint32_t value = found == simulation.scenario().rad.end() ? 0 : found->second;
  const auto result = static_cast<uint32_t>(simulation.answers().answer(Call::RAD_GET, number).value_or(value));
  recordCall(simulation, Call::RAD_GET, hexText(number), result);
  return result;
}

void AaMemUnRefDbg(char **buffer, const char *file, uint32_t line) {
  Simulation &simulation = beginOperation();
  const auto found = simulation.buffers.find(*buffer);
  const std::string name = found == simulation.buffers.end() ? "unknown" : std::to_string(found->second);
  simulation.record("AaMemUnRefDbg(buffer " + name + ", " + text(file) + ", " + std::to_string(line) + ")");
  if (found == simulation.buffers.end()) return;
  simulation.buffers.erase(found);
  std::free(*buffer);
  *buffer = nullptr;
}

}  // extern "C"
