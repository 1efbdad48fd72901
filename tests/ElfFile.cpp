#include "ElfFile.h"

#include <elf.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

struct Class32 {
  using Header = Elf32_Ehdr;
  using SectionHeader = Elf32_Shdr;
  using ProgramHeader = Elf32_Phdr;
  using Symbol = Elf32_Sym;
  using Dynamic = Elf32_Dyn;
  using Rel = Elf32_Rel;
  using Rela = Elf32_Rela;
  using Pointer = uint32_t;
  static unsigned relocationType(uint32_t info) {
    return ELF32_R_TYPE(info);
  }
};

struct Class64 {
  using Header = Elf64_Ehdr;
  using SectionHeader = Elf64_Shdr;
  using ProgramHeader = Elf64_Phdr;
  using Symbol = Elf64_Sym;
  using Dynamic = Elf64_Dyn;
  using Rel = Elf64_Rel;
  using Rela = Elf64_Rela;
  using Pointer = uint64_t;
  static unsigned relocationType(uint64_t info) {
    return static_cast<unsigned>(ELF64_R_TYPE(info));
  }
};

std::string contentOf(const std::string &path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

}  // namespace

ElfFile::ElfFile(const std::string &path) : bytes_(contentOf(path)) {
  if (bytes_.size() < EI_NIDENT || bytes_.compare(0, SELFMAG, ELFMAG) != 0) {
    throw std::runtime_error(path + " is no ELF file");
  }
  if (bytes_[EI_CLASS] == ELFCLASS64) {
    parse<Class64>();
  } else {
    parse<Class32>();
  }
}

std::vector<std::string> ElfFile::dynamicTexts(int64_t tag) const {
  std::vector<std::string> texts;
  for (const DynamicEntry &entry : dynamic_) {
    if (entry.tag == tag) texts.push_back(entry.text);
  }
  return texts;
}

std::string ElfFile::textAt(uint64_t address) const {
  return textIn(offsetOf(address));
}

uint64_t ElfFile::pointerAt(uint64_t address) const {
  const auto isHere = [&](const ElfRelocation &relocation) { return relocation.offset == address; };
  const auto found = std::find_if(relocations_.begin(), relocations_.end(), isHere);
  if (found != relocations_.end()) return found->addend;
  const uint64_t offset = offsetOf(address);
  return pointerBytes_ == sizeof(uint64_t) ? at<uint64_t>(offset) : at<uint32_t>(offset);
}

template <class Record>
Record ElfFile::at(uint64_t offset) const {
  Record record;
  if (offset > bytes_.size() || bytes_.size() - offset < sizeof record)
    throw std::runtime_error("the file is cut short");
  std::memcpy(&record, bytes_.data() + offset, sizeof record);
  return record;
}

std::string ElfFile::textIn(uint64_t offset) const {
  const auto begin = static_cast<size_t>(offset);  // a file that was read into memory has no larger ones
  const size_t end = bytes_.find('\0', begin);
  if (end == std::string::npos) throw std::runtime_error("the file is cut short");
  return bytes_.substr(begin, end - begin);
}

uint64_t ElfFile::offsetOf(uint64_t address) const {
  for (const Segment &segment : segments_) {
    if (address >= segment.address && address - segment.address < segment.size) {
      return segment.offset + (address - segment.address);
    }
  }
  throw std::runtime_error("the file has nothing at that address");
}

template <class Class>
void ElfFile::parse() {
  using SectionHeader = typename Class::SectionHeader;
  const auto header = at<typename Class::Header>(0);
  machine_ = header.e_machine;
  pointerBytes_ = sizeof(typename Class::Pointer);
  for (unsigned i = 0; i < header.e_phnum; ++i) {
    const auto segment = at<typename Class::ProgramHeader>(header.e_phoff + uint64_t{i} * header.e_phentsize);
    if (segment.p_type == PT_LOAD) segments_.push_back({segment.p_vaddr, segment.p_filesz, segment.p_offset});
  }
  std::vector<SectionHeader> sections;
  for (unsigned i = 0; i < header.e_shnum; ++i) {
    sections.push_back(at<SectionHeader>(header.e_shoff + uint64_t{i} * header.e_shentsize));
  }
  for (const SectionHeader &section : sections) {
    if (section.sh_type == SHT_DYNSYM) parseSymbols<Class>(section, sections.at(section.sh_link));
    if (section.sh_type == SHT_DYNAMIC) parseDynamic<Class>(section, sections.at(section.sh_link));
    if (section.sh_type == SHT_REL) parseRelocations<Class, typename Class::Rel>(section);
    if (section.sh_type == SHT_RELA) parseRelocations<Class, typename Class::Rela>(section);
  }
}

template <class Class>
void ElfFile::parseSymbols(const typename Class::SectionHeader &section, const typename Class::SectionHeader &texts) {
  using Symbol = typename Class::Symbol;
  for (uint64_t done = 0; done + sizeof(Symbol) <= section.sh_size; done += sizeof(Symbol)) {
    const auto raw = at<Symbol>(section.sh_offset + done);
    // The two classes pack binding, type and visibility alike.
    const unsigned binding = ELF64_ST_BIND(raw.st_info);
    ElfSymbol symbol;
    symbol.name = textIn(texts.sh_offset + raw.st_name);
    symbol.defined = raw.st_shndx != SHN_UNDEF;
    symbol.global = binding != STB_LOCAL && ELF64_ST_VISIBILITY(raw.st_other) == STV_DEFAULT;
    symbol.type = ELF64_ST_TYPE(raw.st_info);
    symbol.value = raw.st_value;
    symbols_.push_back(symbol);
  }
}

template <class Class>
void ElfFile::parseDynamic(const typename Class::SectionHeader &section, const typename Class::SectionHeader &texts) {
  using Dynamic = typename Class::Dynamic;
  for (uint64_t done = 0; done + sizeof(Dynamic) <= section.sh_size; done += sizeof(Dynamic)) {
    const auto entry = at<Dynamic>(section.sh_offset + done);
    if (entry.d_tag == DT_NULL) return;
    for (const int64_t tag : {DT_NEEDED, DT_RUNPATH, DT_RPATH, DT_SONAME}) {
      if (entry.d_tag != tag) continue;
      dynamic_.push_back({tag, textIn(texts.sh_offset + entry.d_un.d_val)});
    }
  }
}

template <class Class, class Relocation>
void ElfFile::parseRelocations(const typename Class::SectionHeader &section) {
  for (uint64_t done = 0; done + sizeof(Relocation) <= section.sh_size; done += sizeof(Relocation)) {
    const auto raw = at<Relocation>(section.sh_offset + done);
    ElfRelocation relocation;
    relocation.offset = raw.r_offset;
    relocation.type = Class::relocationType(raw.r_info);
    if constexpr (requires { raw.r_addend; }) {
      relocation.addend = static_cast<uint64_t>(raw.r_addend);
    } else {
      relocation.addend = at<typename Class::Pointer>(offsetOf(raw.r_offset));
    }
    relocations_.push_back(relocation);
  }
}
