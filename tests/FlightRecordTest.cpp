// The flight record: what is written comes back, whatever became of the rest of the file.
#include "FlightRecord.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "FlightCodec.h"
#include "FreshDirectory.h"

namespace {

using orv::FlightEntry;
using orv::FlightKind;
using orv::FlightRecord;
using orv::SlotState;

FlightEntry fullEntry() {
  FlightEntry entry;
  entry.kind = FlightKind::RESET_REQUESTED;
  entry.bootId = "11111111-2222-3333-4444-555555555555";
  entry.realtimeNs = 1700000000123456789;
  entry.boottimeNs = 4242424242;
  entry.stage = "waiting for pump (tag pump.online)";
  entry.means = "/dev/watchdog";
  entry.cause = orv::ResetCause::PROGRAM_ENDED;
  entry.euName = "pump";
  entry.path = "/opt/pump";
  entry.args = "-v \"two words\"";
  entry.tag = "pump.online";
  entry.result = -5;
  entry.waitStatus = 768;
  entry.lastWords = {"starting", "no water\xff"};
  entry.events = {{17, 3, 7, 0, "pid 5: wait status 768"}, {18, 0, 10, 4, ""}};
  entry.lastEnd = orv::LastEnd::PANIC;
  entry.boardWords = {"watchdog0: the watchdog reset the board"};
  entry.kernelRecords = {"dmesg-ramoops-0@1700000000"};
  entry.resetsInARow = 2;
  entry.ungracefulCount = 0xFFFFFFFF;
  entry.damagedEntries = 1;
  return entry;
}

void expectEqual(const FlightEntry &a, const FlightEntry &b) {
  EXPECT_EQ(a.sequence, b.sequence);
  EXPECT_EQ(orv::encodeFlightSlot(a), orv::encodeFlightSlot(b));
}

class FlightRecordTest : public testing::Test {
 protected:
  const std::string &state() const {
    return directory_.path();
  }
  std::string file() const {
    return directory_.path(orv::FLIGHT_RECORD_NAME);
  }
  FlightRecord read() const {
    FlightRecord record;
    const orv::Status status = orv::readFlightRecord(state(), record);
    EXPECT_TRUE(status.ok()) << status.message;
    return record;
  }
  void append(const std::string &means) const {
    FlightEntry entry = fullEntry();
    entry.means = means;
    const orv::Status status = orv::appendFlightEntry(state(), entry);
    EXPECT_TRUE(status.ok()) << status.message;
  }
  std::string meansOf(const FlightRecord &record) const {
    std::string text;
    for (const FlightEntry &entry : record.entries)
      text += entry.means + " ";
    return text;
  }
  // Overwrites bytes of the slot of entry `sequence`.
  void damage(uint64_t sequence, size_t offset, const std::string &bytes) const {
    const int descriptor = open(file().c_str(), O_WRONLY | O_CLOEXEC);
    const auto at = static_cast<off_t>(sequence % orv::FLIGHT_SLOT_COUNT * orv::FLIGHT_SLOT_SIZE + offset);
    EXPECT_EQ(pwrite(descriptor, bytes.data(), bytes.size(), at), static_cast<ssize_t>(bytes.size()));
    close(descriptor);
  }

  FreshDirectory directory_;
};

}  // namespace

TEST_F(FlightRecordTest, MissingFileIsAnEmptyRecord) {
  EXPECT_TRUE(read().entries.empty());
  EXPECT_EQ(read().damagedEntries, 0U);
}

TEST_F(FlightRecordTest, EntryComesBackAsItWasWritten) {
  FlightEntry entry = fullEntry();
  ASSERT_TRUE(orv::appendFlightEntry(state(), entry).ok());
  EXPECT_EQ(entry.sequence, 1U);
  const FlightRecord record = read();
  ASSERT_EQ(record.entries.size(), 1U);
  expectEqual(record.entries[0], entry);
  EXPECT_EQ(record.entries[0].waitStatus, 768);
  EXPECT_EQ(record.entries[0].result, -5);
  EXPECT_EQ(record.entries[0].lastWords[1], "no water\xff");
  EXPECT_EQ(record.entries[0].events[0].text, "pid 5: wait status 768");
  EXPECT_EQ(record.entries[0].ungracefulCount, 0xFFFFFFFFU);
}

TEST_F(FlightRecordTest, AllTheSpaceIsThereFromTheStart) {
  append("one");
  struct stat found {};
  ASSERT_EQ(stat(file().c_str(), &found), 0);
  EXPECT_EQ(found.st_size, static_cast<off_t>(orv::FLIGHT_SLOT_COUNT * orv::FLIGHT_SLOT_SIZE));
  EXPECT_GE(found.st_blocks * 512, found.st_size);
  EXPECT_EQ(found.st_mode & 07777, 0640U);
  EXPECT_EQ(read().damagedEntries, 0U);
  append("two");
  EXPECT_EQ(meansOf(read()), "one two ");
}

TEST_F(FlightRecordTest, SpaceThatNothingWasWrittenToIsAnEmptyRecord) {
  std::ofstream(file()) << std::string(orv::FLIGHT_SLOT_COUNT * orv::FLIGHT_SLOT_SIZE, '\0');
  EXPECT_TRUE(read().entries.empty());
  EXPECT_EQ(read().damagedEntries, 0U);
  append("one");
  EXPECT_EQ(meansOf(read()), "one ");
}

TEST_F(FlightRecordTest, NewestEntriesStay) {
  for (unsigned i = 1; i <= orv::FLIGHT_SLOT_COUNT + 3; ++i)
    append(std::to_string(i));
  const FlightRecord record = read();
  ASSERT_EQ(record.entries.size(), orv::FLIGHT_SLOT_COUNT);
  EXPECT_EQ(record.entries.front().means, "4");
  EXPECT_EQ(record.entries.back().means, "19");
  EXPECT_EQ(std::filesystem::file_size(file()), orv::FLIGHT_SLOT_COUNT * orv::FLIGHT_SLOT_SIZE);
}

TEST_F(FlightRecordTest, TornEntryIsSkippedAndCounted) {
  append("a");
  append("b");
  append("c");
  damage(2, 200, std::string(100, '\0'));
  EXPECT_EQ(meansOf(read()), "a c ");
  EXPECT_EQ(read().damagedEntries, 1U);
  damage(3, 0, "XXXX");
  EXPECT_EQ(meansOf(read()), "a ");
  EXPECT_EQ(read().damagedEntries, 2U);
  // The place of the torn one is the next to be written.
  append("d");
  EXPECT_EQ(meansOf(read()), "a d ");
  EXPECT_EQ(read().damagedEntries, 1U);
}

TEST_F(FlightRecordTest, EntryInTheWrongPlaceIsDamaged) {
  append("a");
  std::string slot = directory_.read(orv::FLIGHT_RECORD_NAME).substr(orv::FLIGHT_SLOT_SIZE, orv::FLIGHT_SLOT_SIZE);
  damage(5, 0, slot);
  EXPECT_EQ(meansOf(read()), "a ");
  EXPECT_EQ(read().damagedEntries, 1U);
}

TEST_F(FlightRecordTest, EveryByteOfAnEntryIsGuarded) {
  const std::string slot = orv::encodeFlightSlot(fullEntry());
  const size_t length = slot.find_last_not_of('\0') + 1;
  FlightEntry entry;
  ASSERT_EQ(orv::decodeFlightSlot(slot, entry), SlotState::GOOD);
  for (size_t i = 0; i < length; ++i) {
    for (const int bit : {0x01, 0x80}) {
      std::string damaged = slot;
      damaged[i] = static_cast<char>(damaged[i] ^ bit);
      EXPECT_EQ(orv::decodeFlightSlot(damaged, entry), SlotState::DAMAGED) << "byte " << i;
    }
  }
}

TEST_F(FlightRecordTest, EveryTornLengthIsDamaged) {
  const std::string slot = orv::encodeFlightSlot(fullEntry());
  const size_t length = slot.find_last_not_of('\0') + 1;
  FlightEntry entry;
  for (size_t written = 1; written < length; ++written) {
    std::string torn = slot.substr(0, written);
    torn.resize(orv::FLIGHT_SLOT_SIZE);
    EXPECT_EQ(orv::decodeFlightSlot(torn, entry), SlotState::DAMAGED) << written;
  }
}

TEST_F(FlightRecordTest, BytesAreTheSameOnEveryMachine) {
  FlightEntry entry;
  entry.sequence = 0x0102030405060708;
  const std::string slot = orv::encodeFlightSlot(entry);
  EXPECT_EQ(slot.substr(0, 12), std::string("ORVF\0\1\0\0\0\0\0\x41", 12));
  EXPECT_EQ(slot.substr(16, 9), std::string("\1\2\3\4\5\6\7\10\1"));
  EXPECT_EQ(slot.size(), orv::FLIGHT_SLOT_SIZE);
  EXPECT_EQ(orv::crc32("123456789"), 0xCBF43926U);
  EXPECT_EQ(orv::crc32(""), 0U);
}

TEST_F(FlightRecordTest, FiftyEventsAndTenLastWordsAlwaysFit) {
  FlightEntry entry = fullEntry();
  const std::string longText(5000, 'x');
  for (std::string *text : {&entry.stage, &entry.means, &entry.euName, &entry.path, &entry.args, &entry.tag})
    *text = longText;
  entry.boardWords.clear();
  entry.kernelRecords.clear();
  entry.events.assign(200, {1, 2, 10, 4, longText});
  entry.events.back().text = "the last one";
  entry.lastWords.assign(200, longText);
  entry.lastWords.back() = "last word";
  ASSERT_TRUE(orv::appendFlightEntry(state(), entry).ok());
  const FlightRecord record = read();
  ASSERT_EQ(record.entries.size(), 1U);
  EXPECT_EQ(record.entries[0].events.size(), orv::MAX_FLIGHT_EVENTS);
  EXPECT_EQ(record.entries[0].events.back().text, "the last one");
  EXPECT_EQ(record.entries[0].events[0].text, std::string(80, 'x'));
  EXPECT_EQ(record.entries[0].lastWords.size(), orv::MAX_FLIGHT_LAST_WORDS);
  EXPECT_EQ(record.entries[0].lastWords.back(), "last word");
  EXPECT_EQ(record.entries[0].path, std::string(255, 'x'));
}

TEST_F(FlightRecordTest, TextsAreCutBetweenCharacters) {
  FlightEntry entry;
  entry.means = std::string(254, 'x') + "\xC3\xA4";
  ASSERT_TRUE(orv::appendFlightEntry(state(), entry).ok());
  EXPECT_EQ(read().entries.at(0).means, std::string(254, 'x'));
}

TEST_F(FlightRecordTest, ListsOfAStartAreBounded) {
  FlightEntry entry;
  entry.boardWords.assign(1000, std::string(1000, 'b'));
  entry.kernelRecords.assign(1000, std::string(1000, 'k'));
  entry.events.assign(50, {1, 2, 10, 4, std::string(1000, 'e')});
  ASSERT_TRUE(orv::appendFlightEntry(state(), entry).ok());
  ASSERT_EQ(read().entries.size(), 1U);
  EXPECT_EQ(read().entries[0].boardWords.size(), 16U);
  EXPECT_EQ(read().entries[0].kernelRecords.size(), 16U);
}

TEST_F(FlightRecordTest, GarbageOfAnyLengthIsCountedAndWrittenOver) {
  directory_.write(orv::FLIGHT_RECORD_NAME, std::string(3 * orv::FLIGHT_SLOT_SIZE + 100, '\x5A'));
  EXPECT_EQ(read().damagedEntries, 4U);
  append("a");
  EXPECT_EQ(meansOf(read()), "a ");
  EXPECT_EQ(read().damagedEntries, 3U);
}

TEST_F(FlightRecordTest, WhatIsNoFileIsRefusedAtOnce) {
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  FlightRecord record;
  EXPECT_EQ(orv::readFlightRecord(state(), record).message,
            "cannot read the flight record " + file() + ": Invalid argument");
  FlightEntry entry;
  EXPECT_EQ(orv::appendFlightEntry(state(), entry).code, EINVAL);
}

TEST_F(FlightRecordTest, DirectoryThatCannotBeMadeIsAFailure) {
  FlightEntry entry;
  EXPECT_NE(orv::appendFlightEntry("/proc/no-such-place", entry).code, 0);
}

// A writer that is killed at any moment leaves whole entries, and at most the one torn that it was about to write.
TEST_F(FlightRecordTest, ProcessesKilledWhileWritingLeaveWholeEntries) {
  for (int round = 0; round < 20; ++round) {
    int ready[2];
    ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
      for (char count = 0;; ++count) {
        FlightEntry entry = fullEntry();
        if (!orv::appendFlightEntry(state(), entry).ok()) _exit(1);
        if (write(ready[1], &count, 1) < 0) _exit(2);
      }
    }
    char byte = 0;
    for (int i = 0; i <= round; ++i)
      ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ready[0]);
    close(ready[1]);
    const FlightRecord record = read();
    EXPECT_LE(record.damagedEntries, 1U);
    for (size_t i = 1; i < record.entries.size(); ++i)
      EXPECT_EQ(record.entries[i].sequence, record.entries[i - 1].sequence + 1);
  }
}
