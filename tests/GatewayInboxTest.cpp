// What has come from a peer: new, repeated or ahead of its turn.
#include "Inbox.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace orv::gateway;
using Answer = Inbox::Answer;

constexpr uint64_t EPOCH = 5;

class GatewayInbox : public testing::Test {
 protected:
  Answer arrive(uint64_t sequence, uint64_t oldestOpen = 1, uint64_t epoch = EPOCH) {
    return inbox.arrive(epoch, sequence, oldestOpen).answer;
  }

  Inbox inbox;
};

}  // namespace

TEST_F(GatewayInbox, TakesMessagesInTheirOrder) {
  EXPECT_EQ(arrive(1), Answer::TAKE);
  EXPECT_EQ(arrive(3), Answer::LEAVE);
  EXPECT_EQ(arrive(2), Answer::TAKE);
  EXPECT_EQ(arrive(3), Answer::TAKE);
}

TEST_F(GatewayInbox, RepeatedMessageHasItsVerdictOnceThereIsOne) {
  EXPECT_EQ(arrive(1), Answer::TAKE);
  EXPECT_EQ(arrive(1), Answer::REPEATED);
  EXPECT_FALSE(inbox.arrive(EPOCH, 1, 1).verdict.has_value());
  EXPECT_TRUE(inbox.settle(EPOCH, 1, Verdict::NO_USER));
  EXPECT_EQ(inbox.arrive(EPOCH, 1, 1).verdict, Verdict::NO_USER);
}

TEST_F(GatewayInbox, WhatThePeerHasGivenUpIsNotWaitedFor) {
  EXPECT_EQ(arrive(1), Answer::TAKE);
  EXPECT_EQ(arrive(5, 4), Answer::LEAVE);
  EXPECT_EQ(arrive(5, 5), Answer::TAKE);
  EXPECT_EQ(arrive(6, 5), Answer::TAKE);
  EXPECT_EQ(arrive(4, 4), Answer::LEAVE);  // it was never here, and its turn is over
}

TEST_F(GatewayInbox, InboxThatIsNewBeginsWhereThePeerIs) {
  EXPECT_EQ(arrive(100, 99), Answer::LEAVE);
  EXPECT_EQ(arrive(99, 99), Answer::TAKE);
  EXPECT_EQ(arrive(100, 99), Answer::TAKE);
}

TEST_F(GatewayInbox, NewRunOfThePeerBeginsAnewAndTheOldOneIsOver) {
  EXPECT_EQ(arrive(1), Answer::TAKE);
  EXPECT_EQ(arrive(2), Answer::TAKE);
  EXPECT_EQ(arrive(1, 1, EPOCH + 1), Answer::TAKE);
  EXPECT_EQ(arrive(3, 1, EPOCH), Answer::LEAVE);
  EXPECT_FALSE(inbox.settle(EPOCH, 2, Verdict::DELIVERED));
  EXPECT_EQ(arrive(2, 1, EPOCH + 1), Answer::TAKE);
}

TEST_F(GatewayInbox, VerdictOnWhatWasNeverTakenIsNone) {
  EXPECT_FALSE(inbox.settle(EPOCH, 1, Verdict::DELIVERED));
  EXPECT_EQ(arrive(1), Answer::TAKE);
  EXPECT_FALSE(inbox.settle(EPOCH, 2, Verdict::DELIVERED));
}

TEST_F(GatewayInbox, MessageAWindowAgoIsForgotten) {
  for (uint64_t sequence = 1; sequence <= WINDOW + 1; ++sequence)
    ASSERT_EQ(arrive(sequence, sequence), Answer::TAKE);
  EXPECT_EQ(arrive(1, 1), Answer::LEAVE);
  EXPECT_EQ(arrive(2, 2), Answer::REPEATED);
}
