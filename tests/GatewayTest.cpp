// Two nodes and their gateways: what arrives, what does not, and what is said of it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "GatewayNodes.h"
#include "ProcessTable.h"

namespace {

using Lines = std::vector<std::string>;

std::string textOf(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

// The local addresses, as the kernel writes them, of the sockets that listen on `port`.
Lines listeningAddresses(pid_t pid, uint16_t port) {
  std::istringstream table(textOf("/proc/" + std::to_string(pid) + "/net/tcp"));
  Lines found;
  for (std::string line; std::getline(table, line);) {
    std::istringstream words(line);
    std::string number;
    std::string local;
    std::string remote;
    std::string state;
    words >> number >> local >> remote >> state;
    char wanted[8];
    std::snprintf(wanted, sizeof wanted, ":%04X", port);
    if (state == "0A" && local.ends_with(wanted)) found.push_back(local.substr(0, local.size() - 5));
  }
  return found;
}

// Two nodes that trust each other, not started yet.
class Gateway : public testing::Test {
 protected:
  void makeNodes(const std::string &settings = "") {
    master = std::make_unique<GatewayNode>(places, MASTER, settings);
    slave = std::make_unique<GatewayNode>(places, FIRST_SLAVE, settings);
    trustEachOther({master.get(), slave.get()});
  }
  void startNodes() {
    master->start();
    slave->start();
    master->waitForConnection(*slave);
    slave->waitForConnection(*master);
  }

  GatewayPlaces places = ownPlaces();
  std::unique_ptr<GatewayNode> master;
  std::unique_ptr<GatewayNode> slave;
};

}  // namespace

TEST_F(Gateway, CarriesMessagesBothWays) {
  makeNodes();
  startNodes();
  const auto atMaster = master->receiver();
  const auto atSlave = slave->receiver();
  EXPECT_EQ(slave->run({"try", hexText(addressOf(MASTER)), "1"}), Lines{"1 times taken"});
  EXPECT_EQ(master->run({"try", hexText(addressOf(FIRST_SLAVE)), "1"}), Lines{"1 times taken"});
  EXPECT_EQ(atMaster->waitForOutputLineWith("message"), "message 0x0a10 to 0x10111000 from 0x00000000, payload 4");
  EXPECT_EQ(atSlave->waitForOutputLineWith("message"), "message 0x0a10 to 0x20111000 from 0x00000000, payload 4");
  master->stop();
  slave->stop();
}

TEST_F(Gateway, InitialisationFinishedMessageOfASlaveArrivesAtTheMaster) {
  makeNodes();
  master->start();
  const auto listener = master->receiver();
  slave->start("notifreceiver=" + hexText(addressOf(MASTER)));
  EXPECT_EQ(listener->waitForOutputLineWith("message"), "message 0x1b9d to 0x10111000 from 0x0f011000, payload 0");
}

TEST_F(Gateway, LargestMessageArrivesWhole) {
  makeNodes();
  startNodes();
  const auto listener = master->receiver({"count", "3"});
  EXPECT_EQ(slave->run({"send", hexText(addressOf(MASTER)), "3", "65520"}).back(), "sent 3");
  EXPECT_EQ(listener->waitForOutputLineWith("received"), "received 3: 0 lost, 0 doubled, 0 out of order");
}

TEST_F(Gateway, PeerThatGoesAwayAndComesBackGetsWhatWasSentMeanwhile) {
  makeNodes(" deliveryTimeoutS=\"600\"");
  startNodes();
  slave->kill();
  master->waitForLine("gateway: node 0x2011: connection lost");
  EXPECT_EQ(master->run({"send", hexText(addressOf(FIRST_SLAVE)), "100"}).back(), "sent 100");
  // Messages for a user that is not there are not kept, and users come after the gateway: so it lets the master in when
  // the user is there.
  EXPECT_EQ(slave->files().orvctl({"keys", "untrust", hexText(MASTER)}).waitStatus, 0);
  slave->start();
  const auto listener = slave->receiver({"count", "100"});
  slave->trust(*master);
  EXPECT_EQ(listener->waitForOutputLineWith("received"), "received 100: 0 lost, 0 doubled, 0 out of order");
}

TEST_F(Gateway, MessagesThatCannotBeDeliveredInTimeAreCounted) {
  makeNodes(" deliveryTimeoutS=\"1\"");
  master->start();
  EXPECT_EQ(master->run({"try", hexText(addressOf(FIRST_SLAVE)), "3"}), Lines{"3 times taken"});
  // With whatever else was to be told at that moment.
  master->waitForLine("not delivered in time (3 in all); the last: message 0x0a10 from 0x00000000 to 0x20111000");
}

TEST_F(Gateway, QueueForAPeerThatIsAwayIsBoundedAndEveryMessageIsAccountedFor) {
  makeNodes(" queue=\"20\" deliveryTimeoutS=\"600\"");
  master->start();
  // Before the queue stands the one that the kernel gives each socket, which holds one more than its limit.
  const int limit = 20 + std::stoi(textOf("/proc/sys/net/unix/max_dgram_qlen")) + 1;
  const int count = limit + 50;
  const Lines results = master->run({"try", hexText(addressOf(FIRST_SLAVE)), std::to_string(count)});
  ASSERT_EQ(results.size(), 2U);
  const int taken = std::stoi(results[0]);
  EXPECT_EQ(results[0], std::to_string(taken) + " times taken");
  EXPECT_LE(taken, limit);
  EXPECT_EQ(results[1], std::to_string(count - taken) + " times Resource temporarily unavailable");
  master->waitForLine("over the limit of the queue (" + std::to_string(count - taken) + " in all of process ");
  master->stop();
  master->waitForLine("undelivered at the end of the gateway (" + std::to_string(taken) + " in all)");
}

TEST_F(Gateway, SenderThatIsTooFastIsToldOfOnceASecond) {
  makeNodes(" queue=\"1\" deliveryTimeoutS=\"60\"");
  master->start();
  master->run({"try", hexText(addressOf(FIRST_SLAVE)), "5000"});
  unsigned warnings = 0;
  uint64_t firstNs = 0;
  uint64_t lastNs = 0;
  for (const orv::Event &event : master->files().events()) {
    if (event.kind == orv::EventKind::LOG && event.text.find("over the limit of the queue") != std::string::npos) {
      ++warnings;
    }
    if (event.kind != orv::EventKind::MESSAGE_UNDELIVERED) continue;
    if (firstNs == 0) firstNs = event.monotonicNs;
    lastNs = event.monotonicNs;
  }
  // The first at once, one for each second, and what was left at the end.
  EXPECT_GE(warnings, 2U);
  EXPECT_LE(warnings, 2U + (lastNs - firstNs) / 1000000000U);
}

TEST_F(Gateway, WhatIsLeftAtTheEndIsCounted) {
  makeNodes(" deliveryTimeoutS=\"60\"");
  master->start();
  EXPECT_EQ(master->run({"try", hexText(addressOf(FIRST_SLAVE)), "3"}), Lines{"3 times taken"});
  master->stop();
  // With whatever else was to be told at that moment.
  master->waitForLine("3 messages undelivered at the end of the gateway (3 in all)");
}

TEST_F(Gateway, UserThatIsNotThereIsReportedWhereTheMessageCameFrom) {
  makeNodes();
  startNodes();
  EXPECT_EQ(slave->run({"try", hexText(addressOf(MASTER, 0x4e7)), "2"}), Lines{"2 times taken"});
  slave->waitForLine("for users that are not there (2 in all); the last: message 0x0a10 from 0x00000000 to 0x101104e7");
}

TEST_F(Gateway, UserThatTakesNothingHoldsNobodyUp) {
  makeNodes(" deliveryTimeoutS=\"2\"");
  startNodes();
  const auto holder = master->receiver({"hold"});
  const auto listener = master->program({"count", "50"});
  listener->waitForOutputLineWith("user 0x1001");
  // More than the queue of a user's socket holds.
  EXPECT_EQ(slave->run({"try", hexText(addressOf(MASTER)), "1"}), Lines{"1 times taken"});
  EXPECT_EQ(slave->run({"send", hexText(addressOf(MASTER)), "600"}).back(), "sent 600");
  EXPECT_EQ(slave->run({"send", hexText(addressOf(MASTER, 0x1001)), "50"}).back(), "sent 50");
  EXPECT_EQ(listener->waitForOutputLineWith("received"), "received 50: 0 lost, 0 doubled, 0 out of order");
  slave->waitForLine("for users that did not take them in time");
}

TEST_F(Gateway, NodeThatIsNoPeerIsRefusedWithTheReason) {
  makeNodes();
  master->start();
  EXPECT_EQ(master->run({"try", hexText(addressOf(0x4011)), "1"}), Lines{"1 times No route to host"});
  master->files().waitForEvent(orv::EventKind::LOG,
                               "message 0x0a10 to 0x40111000 refused: node 0x4011 is another node and this node's "
                               "gateway has no way to it");
}

TEST_F(Gateway, KeyThatIsNotTrustedIsRefusedUntilItIs) {
  makeNodes();
  GatewayNode stranger(places, SECOND_SLAVE);
  stranger.makeKeys();
  stranger.trust(*master);
  master->start();
  stranger.start();
  // Whatever loopback address is connected to, the connection comes from this one.
  master->waitForLine(
      "gateway: address 127.0.0.1: 1 handshake refused: the key is not trusted (1 in all); the last: key " +
      stranger.key());
  stranger.waitForLine("gateway: node 0x1011: refuses the connection: this node's key is not trusted there");
  // No restart is needed for it to be let in.
  master->trust(stranger);
  stranger.waitForConnection(*master);
  master->waitForConnection(stranger);
  const auto listener = master->receiver();
  EXPECT_EQ(stranger.run({"try", hexText(addressOf(MASTER)), "1"}), Lines{"1 times taken"});
  listener->waitForOutputLineWith("message 0x0a10");
}

TEST_F(Gateway, NodeThatIsNotTrustedAnyMoreIsCutOff) {
  makeNodes();
  startNodes();
  const auto listener = master->receiver();
  EXPECT_EQ(master->files().orvctl({"keys", "untrust", "0x2011"}).waitStatus, 0);
  master->waitForLine("gateway: node 0x2011: connection lost");
  EXPECT_EQ(slave->run({"try", hexText(addressOf(MASTER)), "1"}), Lines{"1 times taken"});
  master->waitForLine("1 message from a node that is not trusted any more");
  EXPECT_EQ(listener->outputLines(), Lines{"user 0x1000"});
}

TEST_F(Gateway, SenderOnAnotherNodeIsNotBelieved) {
  makeNodes();
  startNodes();
  const auto listener = master->receiver();
  slave->run({"claim", hexText(addressOf(MASTER)), "0x30111000"});
  master->waitForLine(
      "gateway: node 0x2011: 1 message claiming to come from another node (1 in all); the last: message 0x0a10 from "
      "0x30111000 to 0x10111000");
  slave->waitForLine("1 message refused there: their sender claims to be on another node");
  slave->run({"claim", hexText(addressOf(MASTER)), "0x20111000"});
  EXPECT_EQ(listener->waitForOutputLineWith("message"), "message 0x0a10 to 0x10111000 from 0x20111000, payload 0");
}

TEST_F(Gateway, KeysThatOthersCanReadAreOfNoUse) {
  makeNodes();
  const std::string path = master->files().path("state/gateway/own-key");
  std::filesystem::permissions(path, std::filesystem::perms(0640));
  master->start();
  const std::string reason = "the gateway has no use for its keys: " + path + " is open to others (chmod 600 " + path +
                             ", and make new keys if somebody else may have had it)";
  master->daemon().waitForErrorLine("Error/ORV/platform, " + reason + "; messages to other nodes are refused");
  EXPECT_EQ(master->files().tagText("orv.gateway.state"), "string " + reason);
  // Nobody listens: a second node gets the port.
  GatewayNode second(places, MASTER);
  second.makeKeys();
  second.start();
  EXPECT_EQ(second.files().tagText("orv.gateway.state"), "string up");
}

TEST_F(Gateway, UnknownProtocolIsRefusedAndTheNodeStartsWithLocalMessages) {
  makeNodes();
  master->start("syscomgwprotocol=UDPCP");
  const std::string reason =
      "there is no SysCom gateway protocol \"UDPCP\" (there is: TCP); messages to other nodes are refused";
  EXPECT_EQ(countLinesWith("Error/ORV/platform, " + reason, master->daemon().errorLines()), 1U);
  EXPECT_EQ(textOf("/proc/" + std::to_string(master->daemon().pid()) + "/maps").find("libORVGateway"),
            std::string::npos);
  const auto listener = master->receiver();
  EXPECT_EQ(master->run({"try", hexText(addressOf(FIRST_SLAVE)), "1"}), Lines{"1 times No route to host"});
  master->files().waitForEvent(orv::EventKind::LOG,
                               "message 0x0a10 to 0x20111000 refused: node 0x2011 is another node and this node has no "
                               "gateway: " +
                                   reason);
  EXPECT_EQ(master->run({"try", hexText(addressOf(MASTER)), "1"}), Lines{"1 times taken"});
  listener->waitForOutputLineWith("message 0x0a10");
}

TEST_F(Gateway, ProtocolTcpIsThisOne) {
  makeNodes();
  master->start("syscomgwprotocol=TCP");
  EXPECT_EQ(master->files().tagText("orv.gateway.state"), "string up");
}

TEST_F(Gateway, NodesWithoutKeysMeetOnTheLoopbackAloneAndSaySo) {
  places = loopbackPlaces();
  master = std::make_unique<GatewayNode>(places, MASTER);
  slave = std::make_unique<GatewayNode>(places, FIRST_SLAVE);
  startNodes();
  master->waitForLine("gateway: there are no keys in " + master->files().path("state/gateway") +
                      ", so only nodes on this machine are reached, at 127.0.0.1 and without encryption (make keys "
                      "with `orvctl keys generate`)");
  EXPECT_EQ(listeningAddresses(master->daemon().pid(), places.of(MASTER).port), Lines{"0100007F"});
  const auto listener = master->receiver();
  EXPECT_EQ(slave->run({"try", hexText(addressOf(MASTER)), "1"}), Lines{"1 times taken"});
  listener->waitForOutputLineWith("message 0x0a10");
}

TEST_F(Gateway, WithoutKeysANodeElsewhereIsNotReached) {
  places = loopbackPlaces();
  places.nodes[1].address = "192.0.2.1";
  master = std::make_unique<GatewayNode>(places, MASTER);
  master->start();
  master->waitForLine("gateway: node 0x2011 at 192.0.2.1 is not reached, since this node has no keys");
  EXPECT_EQ(master->run({"try", hexText(addressOf(FIRST_SLAVE)), "1"}), Lines{"1 times No route to host"});
}

TEST_F(Gateway, IsNotLoadedByANodeWithoutAPort) {
  TestNode node;
  const auto daemon = node.startedDaemon({"--startup=nid=0x1011"});
  const std::string maps = textOf("/proc/" + std::to_string(daemon->pid()) + "/maps");
  EXPECT_EQ(maps.find("libORVGateway"), std::string::npos);
  EXPECT_EQ(maps.find("libzmq"), std::string::npos);
  EXPECT_EQ(node.tagText("orv.gateway.state"), "not set");
  expectGracefulEnd(*daemon);
}

TEST_F(Gateway, IsLoadedByANodeWithAPort) {
  makeNodes();
  master->start();
  EXPECT_NE(textOf("/proc/" + std::to_string(master->daemon().pid()) + "/maps").find("libORVGateway"),
            std::string::npos);
}

TEST_F(Gateway, LibraryThatIsMissingIsReportedAndTheNodeStarts) {
  makeNodes();
  const std::string directory = master->files().path("lib");
  std::filesystem::create_directory(directory);
  for (const char *name : {"/libORV.so", "/libTARNDDAL.so"})
    std::filesystem::create_symlink(std::string(ORV_LINUX_DIR) + name, directory + name);
  ProcessStart start;
  start.environment = {"LD_LIBRARY_PATH=" + directory};
  const auto daemon = master->files().startedDaemon({"--startup=nid=0x1011," + places.startupOptions()}, start);
  const std::string reason = "the gateway cannot be loaded: " + directory +
                             "/libORVGateway.so: cannot open shared object file: No such file or directory";
  daemon->waitForErrorLine("Error/ORV/platform, " + reason + "; messages to other nodes are refused");
  EXPECT_EQ(master->files().tagText("orv.gateway.state"), "string " + reason);
}

TEST_F(Gateway, PortThatSomebodyElseHasIsReportedAndTheNodeStarts) {
  makeNodes();
  master->start();
  GatewayNode second(places, MASTER);
  second.makeKeys();
  second.start();
  const std::string place = places.of(MASTER).address + ":" + std::to_string(places.of(MASTER).port);
  second.daemon().waitForErrorLine("Error/ORV/platform, the gateway cannot listen on " + place +
                                   ": Address already in use; messages to other nodes are refused");
}
