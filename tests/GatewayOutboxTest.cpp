// The messages on their way to a peer: order, limits, times, and what is sent again.
#include "Outbox.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "GatewayWire.h"

namespace {

using namespace orv::gateway;

constexpr uint32_t TIMEOUT_MS = 10000;
constexpr uint64_t GRACE_MS = 1000;

void push(Outbox &outbox, uint32_t id, uint64_t nowMs = 0, const std::string &payload = "") {
  outbox.push({id, 0, 0, static_cast<uint32_t>(payload.size())}, payload, nowMs);
}

// Sends all that can be sent. Returns "id/sequence/oldest open" for each.
std::vector<std::string> sendAll(Outbox &outbox, uint64_t nowMs = 0) {
  std::vector<std::string> sent;
  while (const auto next = outbox.next()) {
    sent.push_back(std::to_string(next->message->header.messageId) + "/" + std::to_string(next->sequence) + "/" +
                   std::to_string(next->oldestOpen));
    outbox.sent(nowMs);
  }
  return sent;
}

std::vector<uint32_t> idsOf(const std::vector<QueuedMessage> &messages) {
  std::vector<uint32_t> ids;
  for (const QueuedMessage &message : messages)
    ids.push_back(message.header.messageId);
  return ids;
}

using Texts = std::vector<std::string>;
using Ids = std::vector<uint32_t>;

}  // namespace

TEST(GatewayOutbox, SendsInOrderAndNumbersFromOne) {
  Outbox outbox(10, TIMEOUT_MS);
  for (const uint32_t id : {11, 12, 13})
    push(outbox, id);
  EXPECT_EQ(sendAll(outbox), (Texts{"11/1/1", "12/2/1", "13/3/1"}));
  EXPECT_EQ(sendAll(outbox), Texts());
  EXPECT_EQ(outbox.size(), 3U);
}

TEST(GatewayOutbox, MessageThatWasNotSentIsOfferedAgain) {
  Outbox outbox(10, TIMEOUT_MS);
  push(outbox, 11);
  EXPECT_EQ(outbox.next()->sequence, 1U);
  EXPECT_EQ(sendAll(outbox), Texts{"11/1/1"});
}

TEST(GatewayOutbox, LimitCountsWhatIsUnderWayToo) {
  Outbox outbox(2, TIMEOUT_MS);
  push(outbox, 11);
  sendAll(outbox);
  EXPECT_TRUE(outbox.hasRoom());
  push(outbox, 12);
  EXPECT_FALSE(outbox.hasRoom());
  outbox.settle(1, 0);
  EXPECT_TRUE(outbox.hasRoom());
}

TEST(GatewayOutbox, VerdictTakesAMessageOutOnce) {
  Outbox outbox(10, TIMEOUT_MS);
  push(outbox, 11);
  push(outbox, 12);
  sendAll(outbox);
  EXPECT_EQ(outbox.settle(2, 0)->header.messageId, 12U);
  EXPECT_FALSE(outbox.settle(2, 0).has_value());
  EXPECT_EQ(outbox.settle(1, 0)->header.messageId, 11U);
  EXPECT_FALSE(outbox.settle(1, 0).has_value());
  EXPECT_FALSE(outbox.settle(0, 0).has_value());
  EXPECT_FALSE(outbox.settle(3, 0).has_value());
  EXPECT_EQ(outbox.size(), 0U);
}

TEST(GatewayOutbox, SendsAgainWhatHasNoVerdictUnderItsOldNumber) {
  Outbox outbox(10, TIMEOUT_MS);
  for (const uint32_t id : {11, 12, 13})
    push(outbox, id);
  sendAll(outbox);
  outbox.settle(2, 0);
  push(outbox, 14);
  outbox.sendAgain();
  EXPECT_EQ(sendAll(outbox), (Texts{"11/1/1", "13/3/1", "14/4/1"}));
  outbox.settle(1, 0);
  outbox.sendAgain();
  EXPECT_EQ(sendAll(outbox), (Texts{"13/3/3", "14/4/3"}));
}

TEST(GatewayOutbox, WindowHoldsTheRestBack) {
  Outbox outbox(5000, TIMEOUT_MS);
  for (uint32_t id = 1; id <= WINDOW + 1; ++id)
    push(outbox, id);
  EXPECT_EQ(sendAll(outbox).size(), WINDOW);
  outbox.settle(2, 0);  // the oldest is still open
  EXPECT_EQ(sendAll(outbox), Texts());
  outbox.settle(1, 0);
  EXPECT_EQ(sendAll(outbox), Texts{"1025/1025/3"});
}

TEST(GatewayOutbox, BytesUnderWayAreLimitedAndOneMessageAlwaysGoes) {
  Outbox outbox(5000, TIMEOUT_MS);
  const std::string large(orv::MAX_PAYLOAD_SIZE, 'x');
  for (uint32_t id = 1; id <= 40; ++id)
    push(outbox, id, 0, large);
  EXPECT_EQ(sendAll(outbox).size(), 16U);  // of 64 KiB: 1 MiB
  outbox.settle(5, 0);
  EXPECT_EQ(sendAll(outbox), Texts{"17/17/1"});
}

TEST(GatewayOutbox, TimeIsUpForWhatWasNotSentAndALittleLaterForWhatWas) {
  Outbox outbox(10, TIMEOUT_MS);
  push(outbox, 11, 100);
  sendAll(outbox);
  push(outbox, 12, 100);
  push(outbox, 13, 200);
  EXPECT_EQ(outbox.nextDeadlineMs(), 100 + TIMEOUT_MS);
  EXPECT_EQ(idsOf(outbox.expire(99 + TIMEOUT_MS)), Ids());
  EXPECT_EQ(idsOf(outbox.expire(100 + TIMEOUT_MS)), Ids{12});
  EXPECT_EQ(idsOf(outbox.expire(200 + TIMEOUT_MS)), Ids{13});
  EXPECT_EQ(outbox.nextDeadlineMs(), 100 + TIMEOUT_MS + GRACE_MS);
  EXPECT_EQ(idsOf(outbox.expire(100 + TIMEOUT_MS + GRACE_MS)), Ids{11});
  EXPECT_EQ(outbox.nextDeadlineMs(), std::nullopt);
  EXPECT_EQ(outbox.size(), 0U);
}

TEST(GatewayOutbox, WhatWasGivenUpIsNotOpenAnyMore) {
  Outbox outbox(10, TIMEOUT_MS);
  push(outbox, 11, 0);
  push(outbox, 12, 5000);
  sendAll(outbox);
  EXPECT_EQ(idsOf(outbox.expire(TIMEOUT_MS + GRACE_MS)), Ids{11});
  outbox.sendAgain();
  EXPECT_EQ(sendAll(outbox), Texts{"12/2/2"});
  EXPECT_FALSE(outbox.settle(1, 0).has_value());
}

TEST(GatewayOutbox, SilenceOfThePeerIsAnsweredOnlyWhileSomethingIsOpen) {
  Outbox outbox(10, TIMEOUT_MS);
  EXPECT_EQ(outbox.nudgeMs(), std::nullopt);
  push(outbox, 11);
  EXPECT_EQ(outbox.nudgeMs(), std::nullopt);
  sendAll(outbox, 500);
  EXPECT_EQ(outbox.nudgeMs(), 2500U);
  outbox.settle(1, 600);
  EXPECT_EQ(outbox.nudgeMs(), std::nullopt);
}

TEST(GatewayOutbox, TakeAllLeavesNothing) {
  Outbox outbox(10, TIMEOUT_MS);
  for (const uint32_t id : {11, 12})
    push(outbox, id);
  sendAll(outbox);
  outbox.settle(1, 0);
  push(outbox, 13);
  EXPECT_EQ(idsOf(outbox.takeAll()), (Ids{12, 13}));
  EXPECT_EQ(outbox.size(), 0U);
  EXPECT_EQ(outbox.nextDeadlineMs(), std::nullopt);
  push(outbox, 14);
  EXPECT_EQ(sendAll(outbox), Texts{"14/3/3"});
}
