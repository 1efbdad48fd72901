#include "AaFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Operation.h"

using namespace orv::sim;

namespace {

OpenFile *openFile(Simulation &simulation, const void *handle) {
  for (OpenFile &file : simulation.files) {
    if (&file == handle) return &file;
  }
  return nullptr;
}

std::string fileText(const OpenFile *file) {
  return file == nullptr ? "no file" : "file " + std::to_string(file->number);
}

}  // namespace

extern "C" {

void *AaFileOpen(const char *name, const char *mode) {
  Simulation &simulation = beginOperation();
  const std::string arguments = text(name) + ", " + text(mode);
  const auto found = simulation.scenario().files.find(name);
  const bool refused = simulation.answers().answer(Call::FILE_OPEN, name) == 0;
  if (refused || found == simulation.scenario().files.end()) {
    simulation.record("AaFileOpen(" + arguments + ") = null");
    return nullptr;
  }
  OpenFile &file = simulation.files.emplace_back();
  file.number = ++simulation.filesOpened;
  file.content = &found->second;
  simulation.record("AaFileOpen(" + arguments + ") = " + fileText(&file));
  return &file;
}

uint32_t AaFileRead(void *buffer, uint32_t itemSize, uint32_t itemCount, void *handle) {
  Simulation &simulation = beginOperation();
  OpenFile *file = openFile(simulation, handle);
  const auto answer = simulation.answers().answer(Call::FILE_READ);
  uint32_t items = 0;
  if (file != nullptr && itemSize != 0) {
    const size_t left = (file->content->size() - file->position) / itemSize;
    items = static_cast<uint32_t>(std::min<size_t>(left, itemCount));
    if (answer && *answer >= 0) items = std::min(items, static_cast<uint32_t>(*answer));
    std::memcpy(buffer, file->content->data() + file->position, size_t{items} * itemSize);
    file->position += size_t{items} * itemSize;
  }
  if (items == 1 && itemSize == 1 && itemCount == 1) {
    simulation.trace().addCharacterRead(simulation.scheduler().nowMs(), simulation.actor(), file->number,
                                        *static_cast<const unsigned char *>(buffer));
  } else {
    recordCall(simulation, Call::FILE_READ,
               std::to_string(itemSize) + ", " + std::to_string(itemCount) + ", " + fileText(file), items);
  }
  return items;
}

int32_t AaFileClose(void *handle) {
  Simulation &simulation = beginOperation();
  const OpenFile *file = openFile(simulation, handle);
  const auto answer = simulation.answers().answer(Call::FILE_CLOSE);
  const auto result = static_cast<int32_t>(answer.value_or(file == nullptr ? EINVAL : 0));
  recordCall(simulation, Call::FILE_CLOSE, fileText(file), result);
  simulation.files.remove_if([handle](const OpenFile &candidate) { return &candidate == handle; });
  return result;
}

}  // extern "C"
