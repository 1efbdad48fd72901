#include "check/ElfHeader.h"

#include <elf.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>

#include "RegularFile.h"

namespace orv::checking {
namespace {

// No program has as much of these; a file that claims to is damaged.
constexpr size_t MAX_SEGMENTS = 1024;
constexpr size_t MAX_DYNAMIC_ENTRIES = 16384;
constexpr size_t MAX_TEXT = 4096;

struct Layout32 {
  using Header = Elf32_Ehdr;
  using Segment = Elf32_Phdr;
  using Dynamic = Elf32_Dyn;
};

struct Layout64 {
  using Header = Elf64_Ehdr;
  using Segment = Elf64_Phdr;
  using Dynamic = Elf64_Dyn;
};

class File {
 public:
  explicit File(const std::string &path) {
    if (!openRegularFile(path, descriptor_).ok()) descriptor_ = -1;
  }
  ~File() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  File(const File &) = delete;
  File &operator=(const File &) = delete;

  bool isOpen() const {
    return descriptor_ >= 0;
  }
  // How many bytes of `size` there are at `offset`.
  size_t read(uint64_t offset, void *data, size_t size) const {
    if (offset > INT64_MAX) return 0;
    const ssize_t count = pread(descriptor_, data, size, static_cast<off_t>(offset));
    return count < 0 ? 0 : static_cast<size_t>(count);
  }

 private:
  int descriptor_ = -1;
};

template <typename Layout>
class Reader {
 public:
  Reader(const File &file, ElfHeader &header) : file_(file), header_(header) {}

  void read() {
    typename Layout::Header head;
    if (!readWhole(0, head)) return;
    header_.machine = number(head.e_machine);
    header_.type = number(head.e_type);
    const size_t count = number(head.e_phnum);
    if (count > MAX_SEGMENTS || (count != 0 && number(head.e_phentsize) != sizeof(typename Layout::Segment))) return;
    for (size_t i = 0; i < count; ++i) {
      typename Layout::Segment segment;
      if (!readWhole(number(head.e_phoff) + i * sizeof segment, segment)) return;
      segments_.push_back(segment);
    }
    header_.isWhole = readSegments();
  }

 private:
  template <typename Number>
  Number number(Number value) const {
    constexpr bool HERE_IS_LITTLE = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
    if ((header_.byteOrder == ELFDATA2LSB) == HERE_IS_LITTLE) return value;
    auto *bytes = reinterpret_cast<unsigned char *>(&value);
    std::reverse(bytes, bytes + sizeof value);
    return value;
  }

  template <typename Record>
  bool readWhole(uint64_t offset, Record &record) const {
    return file_.read(offset, &record, sizeof record) == sizeof record;
  }

  // A text that ends with a NUL.
  std::optional<std::string> textAt(uint64_t offset) const {
    char text[MAX_TEXT];
    const size_t length = file_.read(offset, text, sizeof text);
    const size_t end = std::string_view(text, length).find('\0');
    if (end == std::string_view::npos) return std::nullopt;
    return std::string(text, end);
  }

  bool readSegments() {
    for (const auto &segment : segments_) {
      const uint32_t type = number(segment.p_type);
      if (type == PT_INTERP) {
        const auto text = textAt(number(segment.p_offset));
        if (!text) return false;
        header_.interpreter = *text;
      }
      if (type == PT_DYNAMIC && !readDynamic(number(segment.p_offset), number(segment.p_filesz))) return false;
    }
    return true;
  }

  // Where in the file the byte at `address` of the memory comes from.
  std::optional<uint64_t> offsetOf(uint64_t address) const {
    for (const auto &segment : segments_) {
      const uint64_t begin = number(segment.p_vaddr);
      if (number(segment.p_type) != PT_LOAD || address < begin || address - begin >= number(segment.p_filesz)) continue;
      return number(segment.p_offset) + (address - begin);
    }
    return std::nullopt;
  }

  bool readDynamic(uint64_t offset, uint64_t size) {
    std::vector<uint64_t> needed;
    std::optional<uint64_t> texts;
    std::optional<uint64_t> rpath;
    std::optional<uint64_t> runpath;
    const uint64_t count = std::min<uint64_t>(size / sizeof(typename Layout::Dynamic), MAX_DYNAMIC_ENTRIES);
    for (uint64_t i = 0; i < count; ++i) {
      typename Layout::Dynamic entry;
      if (!readWhole(offset + i * sizeof entry, entry)) return false;
      const auto tag = static_cast<int64_t>(number(entry.d_tag));
      const uint64_t value = number(entry.d_un.d_val);
      if (tag == DT_NULL) break;
      if (tag == DT_NEEDED) needed.push_back(value);
      if (tag == DT_STRTAB) texts = offsetOf(value);
      if (tag == DT_RPATH) rpath = value;
      if (tag == DT_RUNPATH) runpath = value;
    }
    if (needed.empty() && !rpath && !runpath) return true;
    if (!texts) return false;
    for (const uint64_t place : needed) {
      const auto text = textAt(*texts + place);
      if (!text) return false;
      header_.needed.push_back(*text);
    }
    if (rpath) header_.rpath = textAt(*texts + *rpath).value_or("");
    if (runpath) header_.runpath = textAt(*texts + *runpath).value_or("");
    return true;
  }

  const File &file_;
  ElfHeader &header_;
  std::vector<typename Layout::Segment> segments_;
};

struct Machine {
  uint16_t number;
  const char *name;
};

constexpr Machine MACHINES[] = {{EM_386, "80386"},       {EM_X86_64, "x86-64"}, {EM_ARM, "ARM"},
                                {EM_AARCH64, "AArch64"}, {EM_PPC, "PowerPC"},   {EM_PPC64, "PowerPC64"},
                                {EM_MIPS, "MIPS"},       {EM_RISCV, "RISC-V"},  {EM_S390, "S/390"}};

}  // namespace

ElfHeader readElfHeader(const std::string &path) {
  ElfHeader header;
  const File file(path);
  unsigned char ident[EI_NIDENT] = {};
  if (!file.isOpen() || file.read(0, ident, sizeof ident) != sizeof ident) return header;
  if (std::memcmp(ident, ELFMAG, SELFMAG) != 0) return header;
  header.isElf = true;
  header.wordClass = ident[EI_CLASS];
  header.byteOrder = ident[EI_DATA];
  if (header.byteOrder != ELFDATA2LSB && header.byteOrder != ELFDATA2MSB) return header;
  if (header.wordClass == ELFCLASS32) Reader<Layout32>(file, header).read();
  if (header.wordClass == ELFCLASS64) Reader<Layout64>(file, header).read();
  return header;
}

std::string machineText(const ElfHeader &header) {
  const auto *found = std::find_if(std::begin(MACHINES), std::end(MACHINES),
                                   [&header](const Machine &machine) { return machine.number == header.machine; });
  const std::string name =
      found == std::end(MACHINES) ? "machine " + std::to_string(header.machine) : std::string(found->name);
  return name + (header.wordClass == ELFCLASS64 ? " (64 bits)" : " (32 bits)") +
         (header.byteOrder == ELFDATA2MSB ? ", big-endian" : "");
}

}  // namespace orv::checking
