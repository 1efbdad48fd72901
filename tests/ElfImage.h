// Small ELF files for tests: they say what they need to be loaded, and hold no code.
#ifndef ORV_TESTS_ELFIMAGE_H
#define ORV_TESTS_ELFIMAGE_H

#include <elf.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

struct ElfImage {
  uint16_t machine = EM_X86_64;
  std::string interpreter;
  std::vector<std::string> needed;
  std::string rpath;
  std::string runpath;

  // The file, little-endian.
  std::string bytes() const {
    const bool isNarrow = machine == EM_386 || machine == EM_ARM;
    return isNarrow ? make<Elf32_Ehdr, Elf32_Phdr, Elf32_Dyn>(ELFCLASS32)
                    : make<Elf64_Ehdr, Elf64_Phdr, Elf64_Dyn>(ELFCLASS64);
  }

 private:
  template <typename Record>
  static void append(std::string &file, const Record &record) {
    file.append(reinterpret_cast<const char *>(&record), sizeof record);
  }

  // Header, three segments' headers, interpreter, dynamic section, texts. Everything is loaded where it stands.
  template <typename Header, typename Segment, typename Dynamic>
  std::string make(unsigned char wordClass) const {
    std::string texts(1, '\0');
    std::vector<Dynamic> entries;
    const auto add = [&](auto tag, const std::string &text) {
      Dynamic entry = {};
      entry.d_tag = static_cast<decltype(entry.d_tag)>(tag);
      entry.d_un.d_val = static_cast<decltype(entry.d_un.d_val)>(texts.size());
      entries.push_back(entry);
      texts += text + std::string(1, '\0');
    };
    for (const std::string &name : needed)
      add(DT_NEEDED, name);
    if (!rpath.empty()) add(DT_RPATH, rpath);
    if (!runpath.empty()) add(DT_RUNPATH, runpath);
    const size_t interpreterAt = sizeof(Header) + 3 * sizeof(Segment);
    const size_t dynamicAt = interpreterAt + interpreter.size() + 1;
    const size_t dynamicSize = (entries.size() + 2) * sizeof(Dynamic);
    Dynamic table = {};
    table.d_tag = DT_STRTAB;
    table.d_un.d_val = static_cast<decltype(table.d_un.d_val)>(dynamicAt + dynamicSize);
    entries.push_back(table);
    entries.push_back({});

    Header header = {};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = wordClass;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_type = ET_DYN;
    header.e_machine = machine;
    header.e_phoff = sizeof header;
    header.e_phentsize = sizeof(Segment);
    header.e_phnum = 3;
    std::string file;
    append(file, header);
    append(file, segment<Segment>(PT_LOAD, 0, dynamicAt + dynamicSize + texts.size()));
    append(file, segment<Segment>(interpreter.empty() ? PT_NULL : PT_INTERP, interpreterAt, interpreter.size() + 1));
    append(file, segment<Segment>(PT_DYNAMIC, dynamicAt, dynamicSize));
    file += interpreter + std::string(1, '\0');
    for (const Dynamic &entry : entries)
      append(file, entry);
    return file + texts;
  }

  template <typename Segment>
  static Segment segment(uint32_t type, size_t offset, size_t size) {
    Segment result = {};
    result.p_type = type;
    result.p_offset = static_cast<decltype(result.p_offset)>(offset);
    result.p_vaddr = static_cast<decltype(result.p_vaddr)>(offset);
    result.p_filesz = static_cast<decltype(result.p_filesz)>(size);
    result.p_memsz = result.p_filesz;
    return result;
  }
};

#endif
