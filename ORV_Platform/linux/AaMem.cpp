#include "AaMem.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "MemBuffer.h"
#include "NoThrow.h"
#include "Platform.h"

namespace orv {
namespace {

constexpr uint32_t LIVE_MAGIC = 0x4f52564d;
constexpr uint32_t FREED_MAGIC = 0x64656164;

// Stands before the text of a buffer; as large as malloc's alignment, so that the text is aligned for any use.
struct alignas(std::max_align_t) BufferPrefix {
  std::atomic<uint32_t> magic;
  std::atomic<uint32_t> references;
};
static_assert(std::atomic<uint32_t>::is_always_lock_free);

BufferPrefix *prefixOf(char *text) {
  return reinterpret_cast<BufferPrefix *>(text - sizeof(BufferPrefix));
}

void complainOfStrangeBuffer(const char *file, uint32_t line) {
  platformLog(SEVERITY_ERROR, "AaMemUnRefDbg at " + std::string(file == nullptr ? "?" : file) + ":" +
                                  std::to_string(line) +
                                  " was given what is no platform buffer, or one that was released before; it is left "
                                  "alone (release each buffer once, by its own address)");
}

}  // namespace

char *createMemBuffer(std::string_view text) {
  void *block = std::malloc(sizeof(BufferPrefix) + text.size() + 1);
  if (block == nullptr) return nullptr;
  new (block) BufferPrefix{LIVE_MAGIC, 1};
  char *content = static_cast<char *>(block) + sizeof(BufferPrefix);
  // A view of no text may have a null address, which memcpy must not see.
  if (!text.empty()) std::memcpy(content, text.data(), text.size());
  content[text.size()] = '\0';
  return content;
}

}  // namespace orv

extern "C" void AaMemUnRefDbg(char **buffer, const char *file, uint32_t line) {
  if (buffer == nullptr || *buffer == nullptr) return;
  orv::BufferPrefix *prefix = orv::prefixOf(*buffer);
  *buffer = nullptr;
  if (prefix->magic.load(std::memory_order_relaxed) != orv::LIVE_MAGIC) {
    orv::withoutExceptions(0, [&] {
      orv::complainOfStrangeBuffer(file, line);
      return 0;
    });
    return;
  }
  if (prefix->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  // Makes a second release likely to be noticed, for as long as the memory has no new owner.
  prefix->magic.store(orv::FREED_MAGIC, std::memory_order_relaxed);
  std::free(prefix);
}
