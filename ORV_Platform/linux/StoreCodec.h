// How the records of the node store are packed into bytes.
//
// Every integer is big-endian: keys sort by number, and a store reads the same on every machine. A text is its length
// (4 bytes) and its bytes. Enumerations are one byte. The layout of all records together has one version, STORE_LAYOUT:
// whoever changes a record here raises it.
//
// Decoding never trusts its input: a record that is too short, too long or holds an unknown enumerator is refused as a
// whole.
#ifndef ORV_LINUX_STORECODEC_H
#define ORV_LINUX_STORECODEC_H

#include <cstdint>
#include <string>
#include <string_view>

#include "StoreRecords.h"

namespace orv {

constexpr uint32_t STORE_LAYOUT = 3;

// Keys. Decoding fails for one of another length.
std::string encodeKey(uint32_t number);
std::string encodeKey(uint64_t number);
bool decodeKey(std::string_view key, uint32_t &number);
bool decodeKey(std::string_view key, uint64_t &number);

// The key of a line of output: first all lines of one EU, by number, then those of the next.
std::string encodeLineKey(uint32_t euId, uint64_t number);
bool decodeLineKey(std::string_view key, uint32_t &euId, uint64_t &number);

// Records. What stands in the key (a tag's name, a number, an id, a sequence number) is not part of the encoded record;
// decoding leaves that field alone. After a failure the output is unspecified.
std::string encode(const Tag &tag);
std::string encode(const RadParameter &parameter);
std::string encode(const EuRecord &record);
std::string encode(const Event &event);
std::string encode(const RunInfo &run);
std::string encode(const OutputLine &line);
bool decode(std::string_view bytes, Tag &tag);
bool decode(std::string_view bytes, RadParameter &parameter);
bool decode(std::string_view bytes, EuRecord &record);
bool decode(std::string_view bytes, Event &event);
bool decode(std::string_view bytes, RunInfo &run);
bool decode(std::string_view bytes, OutputLine &line);

// The number of the run of an encoded RunInfo, which stands in front, without decoding the rest.
bool decodeRunNumber(std::string_view bytes, uint64_t &number);

}  // namespace orv

#endif
