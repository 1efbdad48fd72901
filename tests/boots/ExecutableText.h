// The text of the executables taken apart: "path args#tag|path|...".
#ifndef ORV_BOOTS_EXECUTABLETEXT_H
#define ORV_BOOTS_EXECUTABLETEXT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace boots {

struct Executable {
  std::string path;
  std::string args;
  std::string tag;
  uint32_t flags = 0;
};

struct Executables {
  std::vector<Executable> known;  // at most 3
  bool tooMany = false;
};

Executables readExecutables(std::string_view text);

}  // namespace boots

#endif
