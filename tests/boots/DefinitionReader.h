// The application definition file taken apart, one read at a time, so that it can be followed through whatever the
// reads bring.
#ifndef ORV_BOOTS_DEFINITIONREADER_H
#define ORV_BOOTS_DEFINITIONREADER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace boots {

struct Application {
  std::string name;
  std::string path;
  std::string args;
  uint32_t flags = 0;
  std::string tag;
};

class DefinitionReader {
 public:
  // The result of the next read: a character, or none. Returns whether there has to be another read.
  bool read(std::optional<char> character);

  // At most 64; those without a path count.
  const std::vector<Application> &applications() const {
    return applications_;
  }

 private:
  bool endLine();

  std::vector<Application> applications_;
  std::string line_;
  char last_ = '\0';
};

// One line that is a definition.
Application readApplication(std::string_view line);

}  // namespace boots

#endif
