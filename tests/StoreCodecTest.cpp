// The packed form of the store's records: nothing is lost on the way, and nothing but a whole record is accepted.
#include "StoreCodec.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

orv::Tag someTag() {
  orv::Tag tag;
  tag.value = {orv::TagType::STRING, 0, std::string("a\0b\xff", 4)};
  tag.setter = {0xfffffffe, 0x1112131415161718, 1000, "/usr/bin/radio", "radioCtrl", 12};
  tag.run = 3;
  tag.setNs = 0x0102030405060708;
  return tag;
}

orv::EuRecord someEu() {
  orv::EuRecord record;
  record.state = orv::EuState::LAUNCH_FAILED;
  record.finished = true;
  record.name = "radioCtrl";
  record.path = "/usr/bin/radio";
  record.args = "-v 'a b'";
  record.supervisionFlags = 3;
  record.pid = 4194304;
  record.result = std::numeric_limits<int32_t>::min();
  record.waitStatus = -1;
  record.createdNs = 1;
  record.startedNs = 2;
  record.endedNs = std::numeric_limits<uint64_t>::max();
  return record;
}

orv::Event someEvent() {
  orv::Event event;
  event.monotonicNs = 5;
  event.pid = 6;
  event.euId = 7;
  event.kind = orv::EventKind::RESET_REQUESTED;
  event.code = 8;
  event.text = "text";
  return event;
}

orv::RunInfo someRun() {
  orv::RunInfo run;
  run.number = 0x2122232425262728;
  run.state = orv::RunState::UP;
  run.daemonPid = 9;
  run.startedNs = 10;
  run.startedRealtimeNs = 11;
  run.nid = 0xffff;
  run.ceName = "CE-1";
  run.masterNid = 0x1234;
  return run;
}

orv::OutputLine someLine() {
  orv::OutputLine line;
  line.monotonicNs = 12;
  line.partial = true;
  line.text = std::string("\x1b[0m\0", 5);
  return line;
}

// Every piece of a good record that is not the whole of it, and the record with something after it.
template <typename Record>
void expectOnlyTheWholeIsAccepted(const Record &record) {
  const std::string bytes = orv::encode(record);
  Record decoded;
  EXPECT_TRUE(orv::decode(bytes, decoded));
  EXPECT_EQ(orv::encode(decoded), bytes);
  for (size_t length = 0; length < bytes.size(); ++length)
    EXPECT_FALSE(orv::decode(std::string_view(bytes).substr(0, length), decoded)) << length;
  EXPECT_FALSE(orv::decode(bytes + '\0', decoded));
}

// Any byte may have any value: decoding gives an answer, and what it accepts is what encoding would have written.
template <typename Record>
void expectAnyByteIsHandled(const Record &record) {
  const std::string bytes = orv::encode(record);
  for (size_t position = 0; position < bytes.size(); ++position) {
    for (int value = 0; value < 256; ++value) {
      std::string changed = bytes;
      changed[position] = static_cast<char>(value);
      Record decoded;
      if (orv::decode(changed, decoded)) {
        EXPECT_EQ(orv::encode(decoded), changed) << position << " " << value;
      }
    }
  }
}

TEST(StoreCodec, TagKeepsAllItsFields) {
  orv::Tag tag;
  ASSERT_TRUE(orv::decode(orv::encode(someTag()), tag));
  EXPECT_EQ(tag.value.type, orv::TagType::STRING);
  EXPECT_EQ(tag.value.text, std::string("a\0b\xff", 4));
  EXPECT_EQ(tag.setter.pid, 0xfffffffeU);
  EXPECT_EQ(tag.setter.startTicks, 0x1112131415161718U);
  EXPECT_EQ(tag.setter.uid, 1000U);
  EXPECT_EQ(tag.setter.executable, "/usr/bin/radio");
  EXPECT_EQ(tag.setter.euName, "radioCtrl");
  EXPECT_EQ(tag.setter.euId, 12U);
  EXPECT_EQ(tag.run, 3U);
  EXPECT_EQ(tag.setNs, 0x0102030405060708U);
}

TEST(StoreCodec, EuKeepsAllItsFields) {
  orv::EuRecord record;
  ASSERT_TRUE(orv::decode(orv::encode(someEu()), record));
  EXPECT_EQ(record.state, orv::EuState::LAUNCH_FAILED);
  EXPECT_TRUE(record.finished);
  EXPECT_EQ(record.name, "radioCtrl");
  EXPECT_EQ(record.path, "/usr/bin/radio");
  EXPECT_EQ(record.args, "-v 'a b'");
  EXPECT_EQ(record.supervisionFlags, 3U);
  EXPECT_EQ(record.pid, 4194304U);
  EXPECT_EQ(record.result, std::numeric_limits<int32_t>::min());
  EXPECT_EQ(record.waitStatus, -1);
  EXPECT_EQ(record.createdNs, 1U);
  EXPECT_EQ(record.startedNs, 2U);
  EXPECT_EQ(record.endedNs, std::numeric_limits<uint64_t>::max());
}

TEST(StoreCodec, EventKeepsAllItsFields) {
  orv::Event event;
  ASSERT_TRUE(orv::decode(orv::encode(someEvent()), event));
  EXPECT_EQ(event.monotonicNs, 5U);
  EXPECT_EQ(event.pid, 6U);
  EXPECT_EQ(event.euId, 7U);
  EXPECT_EQ(event.kind, orv::EventKind::RESET_REQUESTED);
  EXPECT_EQ(event.code, 8U);
  EXPECT_EQ(event.text, "text");
}

TEST(StoreCodec, RunKeepsAllItsFields) {
  orv::RunInfo run;
  ASSERT_TRUE(orv::decode(orv::encode(someRun()), run));
  EXPECT_EQ(run.number, 0x2122232425262728U);
  EXPECT_EQ(run.state, orv::RunState::UP);
  EXPECT_EQ(run.daemonPid, 9U);
  EXPECT_EQ(run.startedNs, 10U);
  EXPECT_EQ(run.startedRealtimeNs, 11U);
  EXPECT_EQ(run.nid, 0xffffU);
  EXPECT_EQ(run.ceName, "CE-1");
  EXPECT_EQ(run.masterNid, 0x1234U);
}

TEST(StoreCodec, RunNumberIsReadAlone) {
  uint64_t number = 0;
  EXPECT_TRUE(orv::decodeRunNumber(orv::encode(someRun()), number));
  EXPECT_EQ(number, someRun().number);
  EXPECT_FALSE(orv::decodeRunNumber("", number));
  EXPECT_FALSE(orv::decodeRunNumber("1234567", number));
}

TEST(StoreCodec, LineOfOutputKeepsAllItsFields) {
  orv::OutputLine line;
  ASSERT_TRUE(orv::decode(orv::encode(someLine()), line));
  EXPECT_EQ(line.monotonicNs, 12U);
  EXPECT_TRUE(line.partial);
  EXPECT_EQ(line.text, std::string("\x1b[0m\0", 5));
}

TEST(StoreCodec, RadParameterKeepsAllItsFields) {
  orv::RadParameter parameter;
  ASSERT_TRUE(orv::decode(orv::encode(orv::RadParameter{1, 0xdeadbeef, orv::RadOrigin::CONFIGURATION}), parameter));
  EXPECT_EQ(parameter.value, 0xdeadbeefU);
  EXPECT_EQ(parameter.origin, orv::RadOrigin::CONFIGURATION);
}

TEST(StoreCodec, OnlyWholeRecordsAreAccepted) {
  expectOnlyTheWholeIsAccepted(someTag());
  expectOnlyTheWholeIsAccepted(someEu());
  expectOnlyTheWholeIsAccepted(someEvent());
  expectOnlyTheWholeIsAccepted(someRun());
  expectOnlyTheWholeIsAccepted(someLine());
  expectOnlyTheWholeIsAccepted(orv::RadParameter{1, 2, orv::RadOrigin::OPERATOR});
}

TEST(StoreCodec, AnyByteMayBeWrong) {
  expectAnyByteIsHandled(someTag());
  expectAnyByteIsHandled(someEu());
  expectAnyByteIsHandled(someEvent());
  expectAnyByteIsHandled(someRun());
  expectAnyByteIsHandled(someLine());
  expectAnyByteIsHandled(orv::RadParameter{1, 2, orv::RadOrigin::OPERATOR});
}

TEST(StoreCodec, EnumeratorsOutsideTheirListAreRefused) {
  orv::RadParameter parameter;
  for (const char origin : {'\0', '\3', '\xff'})
    EXPECT_FALSE(orv::decode(std::string(4, '\0') + origin, parameter));
  for (const char origin : {'\1', '\2'})
    EXPECT_TRUE(orv::decode(std::string(4, '\0') + origin, parameter));
}

TEST(StoreCodec, KeysSortAsTheirNumbers) {
  const uint32_t numbers[] = {0, 1, 255, 256, 65535, 65536, 0x7fffffff, 0x80000000, 0xffffffff};
  for (size_t i = 1; i < std::size(numbers); ++i)
    EXPECT_LT(orv::encodeKey(numbers[i - 1]), orv::encodeKey(numbers[i]));
  EXPECT_LT(orv::encodeKey(uint64_t{0xffffffff}), orv::encodeKey(uint64_t{0x100000000}));
}

TEST(StoreCodec, KeysOfLinesSortByEuAndThenByNumber) {
  EXPECT_LT(orv::encodeLineKey(1, 0xffffffffffffffff), orv::encodeLineKey(2, 0));
  EXPECT_LT(orv::encodeLineKey(2, 255), orv::encodeLineKey(2, 256));
  uint32_t euId = 0;
  uint64_t number = 0;
  EXPECT_TRUE(orv::decodeLineKey(orv::encodeLineKey(7, 8), euId, number));
  EXPECT_EQ(euId, 7U);
  EXPECT_EQ(number, 8U);
  EXPECT_FALSE(orv::decodeLineKey(orv::encodeKey(uint64_t{7}), euId, number));
}

TEST(StoreCodec, KeysOfAnotherLengthAreRefused) {
  uint32_t number = 0;
  uint64_t longNumber = 0;
  EXPECT_TRUE(orv::decodeKey(orv::encodeKey(uint32_t{77}), number));
  EXPECT_EQ(number, 77U);
  EXPECT_FALSE(orv::decodeKey(orv::encodeKey(uint64_t{77}), number));
  EXPECT_FALSE(orv::decodeKey(orv::encodeKey(uint32_t{77}), longNumber));
  EXPECT_FALSE(orv::decodeKey("", number));
}

}  // namespace
