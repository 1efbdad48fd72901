// One record of a node store, of the kind that the first byte says: whatever the bytes, decoding gives an answer, and
// what it accepts is what encoding would have written.
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

#include "Require.h"
#include "StoreCodec.h"

namespace {

using orvfuzz::require;

template <typename Record>
void tryRecord(std::string_view bytes) {
  Record record;
  if (orv::decode(bytes, record)) require(orv::encode(record) == bytes);
}

void tryKeys(std::string_view bytes) {
  uint32_t euId = 0;
  uint64_t number = 0;
  if (orv::decodeKey(bytes, euId)) require(orv::encodeKey(euId) == bytes);
  if (orv::decodeKey(bytes, number)) require(orv::encodeKey(number) == bytes);
  if (orv::decodeLineKey(bytes, euId, number)) require(orv::encodeLineKey(euId, number) == bytes);
  require(orv::decodeRunNumber(bytes, number) == (bytes.size() >= sizeof number));
}

constexpr void (*TRIALS[])(std::string_view bytes) = {tryRecord<orv::Tag>,
                                                      tryRecord<orv::RadParameter>,
                                                      tryRecord<orv::EuRecord>,
                                                      tryRecord<orv::Event>,
                                                      tryRecord<orv::RunInfo>,
                                                      tryRecord<orv::OutputLine>,
                                                      tryKeys};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  TRIALS[data[0] % std::size(TRIALS)](std::string_view(reinterpret_cast<const char *>(data), size).substr(1));
  return 0;
}
