// What the fuzz targets share: a node of their own (made before the first input), the input as a text, and checks that
// hold in every build.
//
// What a parser prints is not silenced here: run a target with -close_fd_mask=3, and libFuzzer sends the standard
// streams to nowhere, its own progress and the sanitizers' reports excepted.
#ifndef ORV_FUZZ_FUZZNODE_H
#define ORV_FUZZ_FUZZNODE_H

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "AaConfig.h"
#include "AaMem.h"
#include "AaStartup.h"
#include "Require.h"

namespace orvfuzz {

// To be called once per input: unsets all tags at every thousandth, so that a long run does not fill the node store.
void forgetTagsFromTimeToTime();

// The start-up record by its address: naming it would move the library's object into the target.
inline OrvStartupConfig &startupConfig() {
  static void *record = dlsym(RTLD_DEFAULT, "gOrvStartupConfig");
  require(record != nullptr);
  return *static_cast<OrvStartupConfig *>(record);
}

// The input up to its first NUL, which is where a command-line argument would end.
inline std::string textOf(const uint8_t *data, size_t size) {
  const auto *end = std::find(data, data + size, uint8_t{0});
  return std::string(data, end);
}

// A writable copy with nothing behind its NUL.
inline std::vector<char> writable(const std::string &text) {
  return std::vector<char>(text.c_str(), text.c_str() + text.size() + 1);
}

// The pieces between single separators, empty ones included.
inline std::vector<std::string> split(const std::string &text, const char *separators) {
  std::vector<std::string> pieces(1);
  for (const char character : text) {
    if (std::strchr(separators, character) != nullptr) {
      pieces.emplace_back();
    } else {
      pieces.back() += character;
    }
  }
  return pieces;
}

inline std::vector<std::string> withoutEmpty(std::vector<std::string> pieces) {
  std::erase(pieces, "");
  return pieces;
}

// A field holds a text with a NUL, and nothing but NULs behind it.
template <size_t SIZE>
bool isClearedBehindText(const char (&field)[SIZE]) {
  const char *end = std::find(field, field + SIZE, '\0');
  return end != field + SIZE && std::all_of(end, field + SIZE, [](char c) { return c == '\0'; });
}

// The text of string tag `name`; false where there is none.
inline bool readTag(const std::string &name, std::string &text) {
  char *buffer = nullptr;
  uint32_t length = 0;
  AaConfigTagGetString(name.c_str(), &buffer, &length);
  if (buffer == nullptr) return false;
  text.assign(buffer, length);
  AaMemUnRefDbg(&buffer, __FILE__, __LINE__);
  return true;
}

}  // namespace orvfuzz

#endif
