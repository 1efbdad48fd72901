// The list of slave nodes: how it is cut into items and counted, and the tags of each slave.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ExpectedTrace.h"
#include "OptionBoots.h"
#include "StartupOptions.h"

using namespace orv::sim;

namespace {

class SlaveListConformance : public testing::TestWithParam<OptionCase> {};

// What a slave's node id and address print and set where they are good; and its port.
std::string slave(unsigned number, const std::string &nid, const std::string &nidValue, const std::string &ip) {
  const std::string n = std::to_string(number);
  return "out: AddSlave/ slave " + n + " nid=" + nid + "\nAaConfigTagSetU16(\"orv.demo.slave" + n + "nid\", " +
         nidValue + ") = 0\nout: AddSlave/ slave " + n + " ip=" + ip + "\nAaConfigTagSetString(\"orv.demo.slave" + n +
         "ip\", \"" + ip + "\") = 0\n";
}

std::string port(unsigned number, const std::string &value) {
  const std::string n = std::to_string(number);
  return "out: AddSlave/ slave " + n + " port=" + value + "\nAaConfigTagSetU32(\"orv.demo.slave" + n + "gwport\", " +
         value + ") = 0\n";
}

std::string setting(const std::string &list) {
  return "err: Setting slavenids... " + list + "\n";
}

std::string counted(unsigned count) {
  const std::string n = std::to_string(count);
  return "err: " + n + " slavenids set\nAaConfigTagSetU32(\"orv.demo.numberofslavenodes\", " + n + ") = 0\n";
}

const std::string END = "err: Master NID value in RT startup 0x0000\n";
const std::string ONE = "0x2011:10.0.0.2:1";
const std::string TWO = "0x3011:10.0.0.3:2";

std::string firstItem(unsigned number) {
  return slave(number, "0x2011", "8209", "10.0.0.2") + port(number, "1");
}
std::string secondItem(unsigned number) {
  return slave(number, "0x3011", "12305", "10.0.0.3") + port(number, "2");
}

// Behind a port, where it is not read: no separator of items, fields or options, and no digit first.
const std::string OTHER_CHARACTERS =
    "x !\"$%&'()*+-./0123456789;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~x";

OptionCase listCase(const std::string &name, const std::string &list, const std::string &items, unsigned count) {
  return {name, {"--startup=slavenids=" + list}, setting(list) + items + counted(count) + END};
}

struct Item {
  std::string text;
  int result;
  std::string lines;
};

// One item alone: what it prints and sets, and its result.
void expectItem(const Item &item, unsigned index) {
  SCOPED_TRACE(item.text);
  std::string text = item.text;
  int result = -1;
  const SimulatedBoot boot = simulate({}, [&] {
    result = AddSlave(text.data(), index);
    std::puts("next line");
  });
  EXPECT_TRUE(isTrace(boot.trace, byMain(item.lines + "\nout: next line") + "0.000 node end: exit status 0"));
  EXPECT_EQ(result, item.result);
}

}  // namespace

TEST_P(SlaveListConformance, PrintsCallsAndStores) {
  EXPECT_TRUE(bootsAs(GetParam()));
}

const OptionCase LIST_CASES[] = {
    listCase("TwoSlaves", "0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157",
             slave(1, "0x2011", "8209", "192.168.10.102") + port(1, "15156") +
                 slave(2, "0x3011", "12305", "192.168.10.103") + port(2, "15157"),
             2),
    listCase("OneSlave", ONE, firstItem(1), 1),
    listCase("SeparatorAtTheEndIsNoItem", ONE + "#", firstItem(1), 1),
    listCase("SeparatorsAtTheEndAreNoItems", ONE + "###", firstItem(1), 1),
    listCase("EmptyItemBetweenTwoIsNotCounted", ONE + "##" + TWO, firstItem(1) + secondItem(2), 2),
    listCase("EmptyFirstItemIsCounted", "#" + ONE, firstItem(2), 2),
    listCase("EmptyItemsBehindAnEmptyFirstAreNotCounted", "###" + ONE, firstItem(2), 2),
    listCase("SeparatorAloneIsOneItem", "#", "", 1),
    listCase("EmptyListIsOneItem", "", "", 1),
    listCase("ItemsWithoutColonsAreCountedSilently", "a#", "", 1),
    listCase("TwoItemsWithoutColonsAreCountedSilently", "a##b", "", 2),
    listCase("BlankIsAnItem", ONE + "# ", firstItem(1), 2),
    listCase("BadItemsAreCountedAndDoNotEndTheList", "0x0:10.0.0.2:1#x#" + ONE,
             "out: AddSlave/ slave 1 nid=0x0\nout: Failed to get node id for slave 1\n" + firstItem(3), 3),
    listCase("NoOtherCharacterSeparatesItems", ONE + OTHER_CHARACTERS, firstItem(1), 1),
    listCase("NoOtherCharacterSeparatesLaterItems", TWO + "#" + ONE + OTHER_CHARACTERS, secondItem(1) + firstItem(2),
             2),
    {"SecondKeyGoesOnFromTheCounterOfTheFirst",
     {"--startup=slavenids=" + ONE + "#" + TWO + ",slavenids=" + TWO + ",slavenids=" + ONE + "#" + TWO + "#" + ONE},
     setting(ONE + "#" + TWO) + firstItem(1) + secondItem(2) + counted(2) + setting(TWO) + secondItem(2) + counted(2) +
         setting(ONE + "#" + TWO + "#" + ONE) + firstItem(2) + secondItem(3) + firstItem(4) + counted(4) + END},
    {"CounterStaysAcrossOtherKeys",
     {"--startup=slavenids=#" + ONE + ",masternid=0,slavenids=" + TWO},
     setting("#" + ONE) + firstItem(2) + counted(2) + "err: Master NID set to 0x0000\n" + setting(TWO) + secondItem(2) +
         counted(2) + END},
    {"EachStartupArgumentCountsAnew",
     {"--startup=slavenids=" + ONE + "#" + TWO, "--startup=slavenids=" + TWO},
     setting(ONE + "#" + TWO) + firstItem(1) + secondItem(2) + counted(2) + END + setting(TWO) + secondItem(1) +
         counted(1) + END},
    {"KeyWithoutValueIsOneItem", {"--startup=slavenids"}, setting("") + counted(1) + END},
    {"RefusedTagsChangeNothing",
     {"--startup=slavenids=" + ONE},
     setting(ONE) +
         R"(out: AddSlave/ slave 1 nid=0x2011
            AaConfigTagSetU16("orv.demo.slave1nid", 8209) = 7
            out: AddSlave/ slave 1 ip=10.0.0.2
            AaConfigTagSetString("orv.demo.slave1ip", "10.0.0.2") = 8
            out: AddSlave/ slave 1 port=1
            AaConfigTagSetU32("orv.demo.slave1gwport", 1) = -1
            err: 1 slavenids set
            AaConfigTagSetU32("orv.demo.numberofslavenodes", 1) = -1
)" + END,
     "",
     {{"AaConfigTagSetU16", 0, {}, 7}, {"AaConfigTagSetString", 0, {}, 8}, {"AaConfigTagSetU32", 0, {}, -1}}},
};
INSTANTIATE_TEST_SUITE_P(Lists, SlaveListConformance, testing::ValuesIn(LIST_CASES), nameOf);

TEST(SlaveListConformance, ItemsWithoutTwoColonsFailSilently) {
  for (const char *text : {"", "0x2011", "0x2011:", ":", "0x2011:10.0.0.2", "0x2011 10.0.0.2 1"})
    expectItem({text, 0, ""}, 0);
}

TEST(SlaveListConformance, NodeIds) {
  const std::string failed = "\nout: Failed to get node id for slave 1";
  const Item rejected[] = {
      {"0x0:10.0.0.2:1", 0, "out: AddSlave/ slave 1 nid=0x0" + failed},
      {":10.0.0.2:1", 0, "out: AddSlave/ slave 1 nid=0x0" + failed},
      {"::", 0, "out: AddSlave/ slave 1 nid=0x0" + failed},
      {"abc:10.0.0.2:1", 0, "out: AddSlave/ slave 1 nid=0x0" + failed},
      {"0x10000:10.0.0.2:1", 0, "out: AddSlave/ slave 1 nid=0x0" + failed},
      {"-65536:10.0.0.2:1", 0, "out: AddSlave/ slave 1 nid=0x0" + failed},
      {"-2147483649:10.0.0.2:1", 0, "out: AddSlave/ slave 1 nid=0x0" + failed},
  };
  for (const Item &item : rejected)
    expectItem(item, 0);

  const Item accepted[] = {
      {"1:10.0.0.2:1", 1, slave(1, "0x1", "1", "10.0.0.2") + port(1, "1")},
      {"017x:10.0.0.2:1", 1, slave(1, "0xf", "15", "10.0.0.2") + port(1, "1")},
      {"0xABCD:10.0.0.2:1", 1, slave(1, "0xabcd", "43981", "10.0.0.2") + port(1, "1")},
      {"0xffff:10.0.0.2:1", 1, slave(1, "0xffff", "65535", "10.0.0.2") + port(1, "1")},
      {"0x12011:10.0.0.2:1", 1, slave(1, "0x2011", "8209", "10.0.0.2") + port(1, "1")},
      {"-1:10.0.0.2:1", 1, slave(1, "0xffff", "65535", "10.0.0.2") + port(1, "1")},
      {"4294967296:10.0.0.2:1", 1, slave(1, "0xffff", "65535", "10.0.0.2") + port(1, "1")},
  };
  for (const Item &item : accepted)
    expectItem(item, 0);
}

TEST(SlaveListConformance, Addresses) {
  const std::string nid = "out: AddSlave/ slave 1 nid=0x2011\nAaConfigTagSetU16(\"orv.demo.slave1nid\", 8209) = 0\n";
  // What stands between the colons, and what is left of it.
  const std::string rejected[][2] = {
      {"300.1.1.1", "300.1.1.1"},
      {"", ""},
      {"10.0.0", "10.0.0"},
      {"10.0.0.2 ", "10.0.0.2 "},
      {" 10.0.0.2", " 10.0.0.2"},
      {"10.0.0.2.3", "10.0.0.2.3"},
      {"10.0.0.256", "10.0.0.256"},
      {"0x7f.0.0.1", "0x7f.0.0.1"},
      {"localhost", "localhost"},
      {"master.of.all.slaves", "master.of.all.s"},
      {"fe80", "fe80"},
  };
  for (const auto &[text, kept] : rejected) {
    expectItem({"0x2011:" + text + ":1", 0,
                nid + "out: AddSlave/ slave 1 ip=" + kept + "\nout: AddSlave/ Failed to get GW IP for slave 1"},
               0);
  }
  const std::string accepted[][2] = {
      {"0.0.0.0", "0.0.0.0"},
      {"255.255.255.255", "255.255.255.255"},
      {"192.168.100.10", "192.168.100.10"},
      {"192.168.100.101", "192.168.100.101"},   // the longest that fits
      {"192.168.100.1012", "192.168.100.101"},  // cut, and an address again
      {"192.168.100.101.7.8.9", "192.168.100.101"},
  };
  for (const auto &[text, kept] : accepted)
    expectItem({"0x2011:" + text + ":1", 1, slave(1, "0x2011", "8209", kept) + port(1, "1")}, 0);
}

TEST(SlaveListConformance, Ports) {
  const std::string before = slave(1, "0x2011", "8209", "10.0.0.2");
  for (const char *text : {"0", "", "abc", "x1", "0x", ":1"}) {
    expectItem({std::string("0x2011:10.0.0.2:") + text, 0,
                before + "out: AddSlave/ slave 1 port=0\nout: AddSlave/ Failed to get GW port for slave 1"},
               0);
  }
  // The text, the number in the line and the number in the tag.
  const std::string accepted[][3] = {
      {"1", "1", "1"},
      {"15156trailing", "15156", "15156"},
      {"15156:0", "15156", "15156"},
      {"0x10000", "65536", "65536"},
      {"010", "8", "8"},
      {"2147483647", "2147483647", "2147483647"},
      {"2147483648", "-2147483648", "2147483648"},
      {"4294967295", "-1", "4294967295"},
      {"4294967296", "-1", "4294967295"},
      {"-1", "-1", "4294967295"},
      {"-4294967295", "1", "1"},
  };
  for (const auto &[text, printed, value] : accepted) {
    expectItem({"0x2011:10.0.0.2:" + text, 1,
                before + "out: AddSlave/ slave 1 port=" + printed + "\nAaConfigTagSetU32(\"orv.demo.slave1gwport\", " +
                    value + ") = 0"},
               0);
  }
}

TEST(SlaveListConformance, TagNamesHoldSlaveNumbersUpTo99AndAreCutBeyond) {
  struct Names {
    unsigned index;
    std::string number;
    std::string nid;
    std::string ip;
    std::string gwport;
  };
  const Names cases[] = {
      {0, "1", "slave1nid", "slave1ip", "slave1gwport"},
      {8, "9", "slave9nid", "slave9ip", "slave9gwport"},
      {9, "10", "slave10nid", "slave10ip", "slave10gwport"},
      {98, "99", "slave99nid", "slave99ip", "slave99gwport"},
      {99, "100", "slave100ni", "slave100i", "slave100gwpor"},
      {998, "999", "slave999ni", "slave999i", "slave999gwpor"},
      {999, "1000", "slave1000n", "slave1000", "slave1000gwpo"},
  };
  for (const Names &names : cases) {
    const std::string line = "out: AddSlave/ slave " + names.number;
    expectItem({ONE, 1,
                line + " nid=0x2011\nAaConfigTagSetU16(\"orv.demo." + names.nid + "\", 8209) = 0\n" + line +
                    " ip=10.0.0.2\nAaConfigTagSetString(\"orv.demo." + names.ip + "\", \"10.0.0.2\") = 0\n" + line +
                    " port=1\nAaConfigTagSetU32(\"orv.demo." + names.gwport + "\", 1) = 0\n"},
               names.index);
  }
}

TEST(SlaveListConformance, MessagesOfAFailureNameTheSlave) {
  expectItem({"0:10.0.0.2:1", 0, "out: AddSlave/ slave 12 nid=0x0\nout: Failed to get node id for slave 12"}, 11);
  expectItem({"1:x:1", 0,
              "out: AddSlave/ slave 12 nid=0x1\nAaConfigTagSetU16(\"orv.demo.slave12nid\", 1) = 0\n"
              "out: AddSlave/ slave 12 ip=x\nout: AddSlave/ Failed to get GW IP for slave 12"},
             11);
  expectItem({"1:10.0.0.2:0", 0,
              slave(12, "0x1", "1", "10.0.0.2") +
                  "out: AddSlave/ slave 12 port=0\nout: AddSlave/ Failed to get GW port for slave 12"},
             11);
}

TEST(SlaveListConformance, HundredSlavesOnOneCommandLine) {
  std::string list;
  std::string lines;
  for (unsigned number = 1; number <= 99; ++number) {
    list += (number == 1 ? "" : "#") + ONE;
    lines += firstItem(number);
  }
  list += "#" + TWO;
  lines += R"(
    out: AddSlave/ slave 100 nid=0x3011
    AaConfigTagSetU16("orv.demo.slave100ni", 12305) = 0
    out: AddSlave/ slave 100 ip=10.0.0.3
    AaConfigTagSetString("orv.demo.slave100i", "10.0.0.3") = 0
    out: AddSlave/ slave 100 port=2
    AaConfigTagSetU32("orv.demo.slave100gwpor", 2) = 0
)";
  EXPECT_TRUE(bootsAs(listCase("", list, lines, 100)));
}
