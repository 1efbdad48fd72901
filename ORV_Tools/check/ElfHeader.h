// What an ELF file says of itself: for which processor it is, and which files it needs to be loaded.
#ifndef ORV_TOOLS_CHECK_ELFHEADER_H
#define ORV_TOOLS_CHECK_ELFHEADER_H

#include <cstdint>
#include <string>
#include <vector>

namespace orv::checking {

struct ElfHeader {
  bool isElf = false;
  bool isWhole = false;     // what the header leads to could be read
  uint8_t wordClass = 0;    // ELFCLASS32, ELFCLASS64
  uint8_t byteOrder = 0;    // ELFDATA2LSB, ELFDATA2MSB
  uint16_t machine = 0;     // EM_*
  uint16_t type = 0;        // ET_*
  std::string interpreter;  // empty: none
  std::vector<std::string> needed;
  std::string rpath;
  std::string runpath;
};

// Reads the file at `path`; one that cannot be read is no ELF file. What it says is believed no further than its size.
ElfHeader readElfHeader(const std::string &path);

// "x86-64 (64 bits)".
std::string machineText(const ElfHeader &header);

}  // namespace orv::checking

#endif
