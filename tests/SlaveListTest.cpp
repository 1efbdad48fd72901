// Slave nodes: one item, and the list of the start-up key slavenids.
#include <cstdint>
#include <string>
#include <vector>

#include "NodeFixture.h"
#include "StartupOptions.h"

using orvtest::Lines;

// The tests are in here as well: outside, the fixture's name is the function's too.
namespace {

class AddSlave : public orvtest::NodeTest {
 protected:
  struct Outcome {
    int result;
    std::string printed;  // on standard output

    bool operator==(const Outcome &) const = default;
    friend std::ostream &operator<<(std::ostream &stream, const Outcome &outcome) {
      return stream << outcome.result << ", \"" << outcome.printed << '"';
    }
  };

  static Outcome add(std::string item, unsigned index) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int result = ::AddSlave(item.data(), index);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    return {result, testing::internal::GetCapturedStdout()};
  }
};

class SlaveList : public orvtest::NodeTest {
 protected:
  struct Printed {
    std::string error;
    std::string output;
  };

  static Printed parse(std::string argument) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    parseStartupOptions(argument.data());
    Printed printed;
    printed.error = testing::internal::GetCapturedStderr();
    printed.output = testing::internal::GetCapturedStdout();
    return printed;
  }

  // What standard error gets of one list; the master node id of a fresh record is 0.
  static std::string errorOf(const std::string &list, int count) {
    return "Setting slavenids... " + list + "\n" + std::to_string(count) +
           " slavenids set\nMaster NID value in RT startup 0x0000\n";
  }
};

TEST_F(AddSlave, ValidItemSetsThreeTags) {
  EXPECT_EQ(add("0x2011:192.168.10.102:15156", 0),
            (Outcome{1,
                     "AddSlave/ slave 1 nid=0x2011\nAddSlave/ slave 1 ip=192.168.10.102\n"
                     "AddSlave/ slave 1 port=15156\n"}));
  EXPECT_EQ(tags(), (Lines{"orv.demo.slave1gwport u32 15156", "orv.demo.slave1ip string 192.168.10.102",
                           "orv.demo.slave1nid u16 8209"}));
}

TEST_F(AddSlave, WithoutTwoColonsNothingIsSetOrPrinted) {
  for (const char *item : {"", "0x2011", "0x2011:10.0.0.2", ":"}) {
    EXPECT_EQ(add(item, 0), (Outcome{0, ""})) << item;
  }
  EXPECT_EQ(tags(), Lines{});
}

TEST_F(AddSlave, NidZeroFails) {
  const Outcome failed{0, "AddSlave/ slave 1 nid=0x0\nFailed to get node id for slave 1\n"};
  EXPECT_EQ(add("0x0:10.0.0.2:1", 0), failed);
  EXPECT_EQ(add("x:10.0.0.2:1", 0), failed);
  EXPECT_EQ(add("::", 0), failed);
  EXPECT_EQ(tags(), Lines{});
}

TEST_F(AddSlave, NidKeepsTheLowSixteenBits) {
  EXPECT_EQ(add("0x10000:10.0.0.2:1", 0),
            (Outcome{0, "AddSlave/ slave 1 nid=0x0\nFailed to get node id for slave 1\n"}));
  EXPECT_EQ(add("0x1ABCD:10.0.0.2:1", 0).printed,
            "AddSlave/ slave 1 nid=0xabcd\nAddSlave/ slave 1 ip=10.0.0.2\nAddSlave/ slave 1 port=1\n");
  EXPECT_EQ(add("-1:10.0.0.2:1", 1).printed,
            "AddSlave/ slave 2 nid=0xffff\nAddSlave/ slave 2 ip=10.0.0.2\nAddSlave/ slave 2 port=1\n");
}

TEST_F(AddSlave, BadAddressLeavesTheNidSet) {
  EXPECT_EQ(add("0x2011:300.1.1.1:1", 0), (Outcome{0,
                                                   "AddSlave/ slave 1 nid=0x2011\nAddSlave/ slave 1 ip=300.1.1.1\n"
                                                   "AddSlave/ Failed to get GW IP for slave 1\n"}));
  EXPECT_EQ(tags(), (Lines{"orv.demo.slave1nid u16 8209"}));
}

TEST_F(AddSlave, EmptyAddressFails) {
  EXPECT_EQ(add("1::1", 0), (Outcome{0,
                                     "AddSlave/ slave 1 nid=0x1\nAddSlave/ slave 1 ip=\n"
                                     "AddSlave/ Failed to get GW IP for slave 1\n"}));
}

TEST_F(AddSlave, AddressIsOneOfVersion4InFullForm) {
  for (const std::string ip : {"10.0.2", "10.0.0.2 ", " 10.0.0.2", "010.0.0.2", "localhost"}) {
    EXPECT_EQ(add("1:" + ip + ":1", 0), (Outcome{0, "AddSlave/ slave 1 nid=0x1\nAddSlave/ slave 1 ip=" + ip +
                                                        "\nAddSlave/ Failed to get GW IP for slave 1\n"}));
  }
  EXPECT_EQ(tags(), (Lines{"orv.demo.slave1nid u16 1"}));
}

TEST_F(AddSlave, AddressIsCutAt15Characters) {
  EXPECT_EQ(add("1:192.168.100.101:1", 0).result, 1);
  EXPECT_EQ(
      add("1:192.168.100.1019999:1", 1),
      (Outcome{1, "AddSlave/ slave 2 nid=0x1\nAddSlave/ slave 2 ip=192.168.100.101\nAddSlave/ slave 2 port=1\n"}));
  EXPECT_EQ(tags(), (Lines{"orv.demo.slave1gwport u32 1", "orv.demo.slave1ip string 192.168.100.101",
                           "orv.demo.slave1nid u16 1", "orv.demo.slave2gwport u32 1",
                           "orv.demo.slave2ip string 192.168.100.101", "orv.demo.slave2nid u16 1"}));
}

TEST_F(AddSlave, PortZeroLeavesNidAndAddressSet) {
  const std::string before = "AddSlave/ slave 1 nid=0x1\nAddSlave/ slave 1 ip=10.0.0.2\n";
  for (const char *port : {"0", "", "x", " "}) {
    EXPECT_EQ(add(std::string("1:10.0.0.2:") + port, 0),
              (Outcome{0, before + "AddSlave/ slave 1 port=0\nAddSlave/ Failed to get GW port for slave 1\n"}));
  }
  EXPECT_EQ(tags(), (Lines{"orv.demo.slave1ip string 10.0.0.2", "orv.demo.slave1nid u16 1"}));
}

TEST_F(AddSlave, PortIsReadUpToTheFirstCharacterThatIsNoDigit) {
  EXPECT_EQ(add("0x2011:10.0.0.2:15156trailing", 0).result, 1);
  EXPECT_EQ(add("0x2011:10.0.0.2:7:8", 1).result, 1);
  const Lines set = tags();
  ASSERT_EQ(set.size(), 6u);
  EXPECT_EQ(set[0], "orv.demo.slave1gwport u32 15156");
  EXPECT_EQ(set[3], "orv.demo.slave2gwport u32 7");
}

TEST_F(AddSlave, PortFrom2To31UpIsPrintedNegative) {
  const std::string before = "AddSlave/ slave 1 nid=0x1\nAddSlave/ slave 1 ip=10.0.0.2\n";
  EXPECT_EQ(add("1:10.0.0.2:2147483648", 0), (Outcome{1, before + "AddSlave/ slave 1 port=-2147483648\n"}));
  EXPECT_EQ(tags()[0], "orv.demo.slave1gwport u32 2147483648");
  EXPECT_EQ(add("1:10.0.0.2:4294967296", 0), (Outcome{1, before + "AddSlave/ slave 1 port=-1\n"}));
  EXPECT_EQ(tags()[0], "orv.demo.slave1gwport u32 4294967295");
}

TEST_F(AddSlave, TagNamesHoldSlaveNumbersUpTo99) {
  EXPECT_EQ(add("1:10.0.0.2:3", 98).result, 1);
  EXPECT_EQ(tags(),
            (Lines{"orv.demo.slave99gwport u32 3", "orv.demo.slave99ip string 10.0.0.2", "orv.demo.slave99nid u16 1"}));
}

TEST_F(AddSlave, LongerTagNamesAreCut) {
  EXPECT_EQ(add("1:10.0.0.2:3", 99),
            (Outcome{1, "AddSlave/ slave 100 nid=0x1\nAddSlave/ slave 100 ip=10.0.0.2\nAddSlave/ slave 100 port=3\n"}));
  EXPECT_EQ(tags(),
            (Lines{"orv.demo.slave100gwpor u32 3", "orv.demo.slave100i string 10.0.0.2", "orv.demo.slave100ni u16 1"}));
}

TEST_F(SlaveList, TwoItemsAreTwoSlaves) {
  const std::string list = "0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157";
  const Printed printed = parse("slavenids=" + list);
  EXPECT_EQ(printed.error, errorOf(list, 2));
  EXPECT_EQ(printed.output,
            "AddSlave/ slave 1 nid=0x2011\nAddSlave/ slave 1 ip=192.168.10.102\nAddSlave/ slave 1 port=15156\n"
            "AddSlave/ slave 2 nid=0x3011\nAddSlave/ slave 2 ip=192.168.10.103\nAddSlave/ slave 2 port=15157\n");
  EXPECT_EQ(tags(), (Lines{"orv.demo.numberofslavenodes u32 2", "orv.demo.slave1gwport u32 15156",
                           "orv.demo.slave1ip string 192.168.10.102", "orv.demo.slave1nid u16 8209",
                           "orv.demo.slave2gwport u32 15157", "orv.demo.slave2ip string 192.168.10.103",
                           "orv.demo.slave2nid u16 12305"}));
}

TEST_F(SlaveList, OneItemIsOneSlave) {
  const Printed printed = parse("slavenids=1:10.0.0.2:3");
  EXPECT_EQ(printed.error, errorOf("1:10.0.0.2:3", 1));
  EXPECT_EQ(tags(), (Lines{"orv.demo.numberofslavenodes u32 1", "orv.demo.slave1gwport u32 3",
                           "orv.demo.slave1ip string 10.0.0.2", "orv.demo.slave1nid u16 1"}));
}

TEST_F(SlaveList, EmptyItemsBehindTheFirstDoNotCount) {
  const std::pair<std::string, int> lists[] = {{"a#", 1}, {"a##b", 2}, {"a###b##c#", 3}, {"a", 1}};
  for (const auto &[list, count] : lists) {
    const Printed printed = parse("slavenids=" + list);
    EXPECT_EQ(printed.error, errorOf(list, count));
    EXPECT_EQ(printed.output, "");
    EXPECT_EQ(tags(), (Lines{"orv.demo.numberofslavenodes u32 " + std::to_string(count)}));
  }
}

TEST_F(SlaveList, EmptyFirstItemCounts) {
  const Printed printed = parse("slavenids=#0x2011:10.0.0.2:1");
  EXPECT_EQ(printed.error, errorOf("#0x2011:10.0.0.2:1", 2));
  EXPECT_EQ(printed.output, "AddSlave/ slave 2 nid=0x2011\nAddSlave/ slave 2 ip=10.0.0.2\nAddSlave/ slave 2 port=1\n");
  EXPECT_EQ(tags(), (Lines{"orv.demo.numberofslavenodes u32 2", "orv.demo.slave2gwport u32 1",
                           "orv.demo.slave2ip string 10.0.0.2", "orv.demo.slave2nid u16 8209"}));
}

TEST_F(SlaveList, EmptyListCountsOneItem) {
  for (const std::string list : {"", "#", "##"}) {
    EXPECT_EQ(parse("slavenids=" + list).error, errorOf(list, 1));
  }
  EXPECT_EQ(tags(), (Lines{"orv.demo.numberofslavenodes u32 1"}));
}

TEST_F(SlaveList, BadItemCountsAndDoesNotStopTheList) {
  const std::string list = "0x0:10.0.0.2:1#1:10.0.0.3:2";
  const Printed printed = parse("slavenids=" + list);
  EXPECT_EQ(printed.error, errorOf(list, 2));
  EXPECT_EQ(printed.output,
            "AddSlave/ slave 1 nid=0x0\nFailed to get node id for slave 1\n"
            "AddSlave/ slave 2 nid=0x1\nAddSlave/ slave 2 ip=10.0.0.3\nAddSlave/ slave 2 port=2\n");
  EXPECT_EQ(tags(), (Lines{"orv.demo.numberofslavenodes u32 2", "orv.demo.slave2gwport u32 2",
                           "orv.demo.slave2ip string 10.0.0.3", "orv.demo.slave2nid u16 1"}));
}

TEST_F(SlaveList, SecondListOfAnArgumentGoesOnAtTheLastNumberOfTheFirst) {
  const Printed printed = parse("slavenids=1:10.0.0.1:1#2:10.0.0.2:2,nid=5,slavenids=3:10.0.0.3:3#4:10.0.0.4:4");
  EXPECT_EQ(printed.error,
            "Setting slavenids... 1:10.0.0.1:1#2:10.0.0.2:2\n2 slavenids set\nNID set to 0x0005\n"
            "Setting slavenids... 3:10.0.0.3:3#4:10.0.0.4:4\n3 slavenids set\n"
            "Master NID value in RT startup 0x0000\n");
  EXPECT_EQ(tags(),
            (Lines{"orv.demo.numberofslavenodes u32 3", "orv.demo.slave1gwport u32 1",
                   "orv.demo.slave1ip string 10.0.0.1", "orv.demo.slave1nid u16 1", "orv.demo.slave2gwport u32 3",
                   "orv.demo.slave2ip string 10.0.0.3", "orv.demo.slave2nid u16 3", "orv.demo.slave3gwport u32 4",
                   "orv.demo.slave3ip string 10.0.0.4", "orv.demo.slave3nid u16 4"}));
}

TEST_F(SlaveList, NextArgumentBeginsAtTheFirstNumberAgain) {
  parse("slavenids=1:10.0.0.1:1#2:10.0.0.2:2");
  EXPECT_EQ(parse("slavenids=3:10.0.0.3:3").error, errorOf("3:10.0.0.3:3", 1));
  const Lines set = tags();
  ASSERT_EQ(set.size(), 7u);
  EXPECT_EQ(set[0], "orv.demo.numberofslavenodes u32 1");
  EXPECT_EQ(set[3], "orv.demo.slave1nid u16 3");
  EXPECT_EQ(set[6], "orv.demo.slave2nid u16 2");
}

}  // namespace
