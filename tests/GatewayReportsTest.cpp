// What the gateway says of its peers: one line for each of them a second, and nothing lost from the counts.
#include "Reports.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace orv::gateway;
using Texts = std::vector<std::string>;

Texts textsOf(const std::vector<ReportLine> &lines) {
  Texts texts;
  for (const ReportLine &line : lines)
    texts.push_back(line.text);
  return texts;
}

}  // namespace

TEST(GatewayReports, FirstIsToldAtOnceAndTheNextASecondLater) {
  Reports reports;
  EXPECT_EQ(reports.nextMs(), std::nullopt);
  reports.count("node 0x2011", Cause::TIMED_OUT, "message 1");
  EXPECT_EQ(textsOf(reports.due(5000)),
            Texts{"gateway: node 0x2011: 1 message not delivered in time (1 in all); the last: message 1"});
  for (const char *message : {"message 2", "message 3"})
    reports.count("node 0x2011", Cause::TIMED_OUT, message);
  EXPECT_EQ(reports.nextMs(), 6000U);
  EXPECT_EQ(textsOf(reports.due(5999)), Texts());
  EXPECT_EQ(textsOf(reports.due(6000)),
            Texts{"gateway: node 0x2011: 2 messages not delivered in time (3 in all); the last: message 3"});
  EXPECT_EQ(reports.nextMs(), std::nullopt);
}

TEST(GatewayReports, LineHasAllThatWasCounted) {
  Reports reports;
  reports.count("node 0x2011", Cause::CONNECTION_LOST);
  reports.count("node 0x2011", Cause::CONNECTED);
  reports.count("node 0x2011", Cause::CONNECTION_LOST);
  reports.count("node 0x2011", Cause::USER_BUSY, "message 1");
  EXPECT_EQ(textsOf(reports.due(0)), Texts{"gateway: node 0x2011: connected, connection lost 2 times, 1 message for "
                                           "users that did not take them in time (1 in all); the last: message 1"});
}

TEST(GatewayReports, PeersAreToldApart) {
  Reports reports;
  reports.count("node 0x2011", Cause::CONNECTED);
  reports.count("address 10.0.0.1", Cause::UNTRUSTED_KEY);
  EXPECT_EQ(textsOf(reports.due(0)),
            (Texts{"gateway: address 10.0.0.1: 1 handshake refused: the key is not trusted (1 in all)",
                   "gateway: node 0x2011: connected"}));
}

TEST(GatewayReports, ConnectionAloneIsNoWarning) {
  Reports reports;
  reports.count("node 0x2011", Cause::CONNECTED);
  reports.count("node 0x3011", Cause::CONNECTION_LOST);
  const std::vector<ReportLine> lines = reports.due(0);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_FALSE(lines[0].isWarning);
  EXPECT_TRUE(lines[1].isWarning);
}

TEST(GatewayReports, RestIsToldWhateverTheTime) {
  Reports reports;
  reports.count("node 0x2011", Cause::FAILED);
  reports.due(1000);
  reports.count("node 0x2011", Cause::FAILED);
  EXPECT_EQ(textsOf(reports.rest()), Texts{"gateway: node 0x2011: 1 message not delivered there (2 in all)"});
  EXPECT_EQ(textsOf(reports.rest()), Texts());
}

TEST(GatewayReports, AddressesBeyondABoundAreCountedTogether) {
  Reports reports;
  for (int i = 0; i < 1000; ++i)
    reports.count("address " + std::to_string(i), Cause::BAD_HANDSHAKE);
  const Texts texts = textsOf(reports.due(0));
  EXPECT_EQ(texts.size(), 513U);
  EXPECT_EQ(texts.back(), "gateway: further addresses: 488 handshakes failed: it was none of a gateway (488 in all)");
  // Nodes are told apart all the same.
  reports.count("node 0x2011", Cause::CONNECTED);
  EXPECT_EQ(textsOf(reports.due(0)), Texts{"gateway: node 0x2011: connected"});
}
