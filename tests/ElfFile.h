// What a linked ELF file, executable or library, tells the dynamic linker. Both classes, in the machine's byte order.
#ifndef ORV_TESTS_ELFFILE_H
#define ORV_TESTS_ELFFILE_H

#include <cstdint>
#include <string>
#include <vector>

struct ElfSymbol {
  std::string name;
  bool defined = false;
  bool global = false;  // visible to other files: of global or weak binding and default visibility
  unsigned type = 0;    // STT_FUNC, STT_OBJECT, ...
  uint64_t value = 0;
};

struct ElfRelocation {
  uint64_t offset = 0;
  unsigned type = 0;
  uint64_t addend = 0;  // also where it stands in the place that is relocated
};

class ElfFile {
 public:
  // Throws for what is no such file.
  explicit ElfFile(const std::string &path);

  unsigned machine() const {
    return machine_;
  }
  // The texts of the dynamic section's entries with a tag (DT_NEEDED, DT_RUNPATH, ...), in their order.
  std::vector<std::string> dynamicTexts(int64_t tag) const;
  // The dynamic symbol table.
  const std::vector<ElfSymbol> &symbols() const {
    return symbols_;
  }
  // All relocations that the dynamic linker makes.
  const std::vector<ElfRelocation> &relocations() const {
    return relocations_;
  }
  // The NUL-terminated text at an address of the loaded file.
  std::string textAt(uint64_t address) const;
  // The pointer at an address, as the dynamic linker leaves it where the file is loaded at address 0.
  uint64_t pointerAt(uint64_t address) const;

 private:
  struct Segment {
    uint64_t address;
    uint64_t size;
    uint64_t offset;
  };
  struct DynamicEntry {
    int64_t tag;
    std::string text;
  };
  template <class Class>
  void parse();
  template <class Class>
  void parseSymbols(const typename Class::SectionHeader &section, const typename Class::SectionHeader &texts);
  template <class Class>
  void parseDynamic(const typename Class::SectionHeader &section, const typename Class::SectionHeader &texts);
  template <class Class, class Relocation>
  void parseRelocations(const typename Class::SectionHeader &section);
  template <class Record>
  Record at(uint64_t offset) const;
  std::string textIn(uint64_t offset) const;
  uint64_t offsetOf(uint64_t address) const;

  std::string bytes_;
  unsigned machine_ = 0;
  unsigned pointerBytes_ = 0;
  std::vector<Segment> segments_;
  std::vector<DynamicEntry> dynamic_;
  std::vector<ElfSymbol> symbols_;
  std::vector<ElfRelocation> relocations_;
};

#endif
