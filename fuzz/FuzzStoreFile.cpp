// The file of a node store: whatever is in it, the look at its pages ends with an answer.
//
// The first two bytes are the number of the transaction; the rest is the file. A store that works is no goal here: that
// LMDB is content with what is found sound is tested by NodeStoreDamageTest.
#include <cstdint>
#include <string_view>

#include "StoreCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  constexpr size_t NUMBER_BYTES = 2;
  if (size < NUMBER_BYTES) return 0;
  const std::string_view file(reinterpret_cast<const char *>(data), size);
  const auto transaction = static_cast<size_t>(data[0] | data[1] << 8);
  constexpr size_t MAX_BYTES = 1024UL * 1024;
  static_cast<void>(orv::isSoundStore(file.substr(NUMBER_BYTES), MAX_BYTES, transaction));
  return 0;
}
