// Waiting for messages through the C interface of libORV.so: time-outs, signals, deregistration, full queues, many
// threads.
#include <gtest/gtest.h>
#include <poll.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <thread>
#include <vector>

#include "SysComFixture.h"

using namespace orvtest;

namespace {

using SysComWait = SysComTest;

// --- waiting --------------------------------------------------------------------------------------------------------

TEST_F(SysComWait, TryingTakesWhatIsThereAndNothingElse) {
  registerFixed(FIXED);
  EXPECT_EQ(receive(FIXED, 0), nullptr);
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  EXPECT_NE(receive(FIXED, 0), nullptr);
  EXPECT_EQ(receive(FIXED, 0), nullptr);
}

TEST_F(SysComWait, WaitEndsNoSoonerThanItsTimeOut) {
  registerFixed(FIXED);
  timespec begin{};
  timespec end{};
  clock_gettime(CLOCK_MONOTONIC, &begin);
  EXPECT_EQ(receive(FIXED, 20), nullptr);
  clock_gettime(CLOCK_MONOTONIC, &end);
  EXPECT_GE((end.tv_sec - begin.tv_sec) * 1000000000LL + end.tv_nsec - begin.tv_nsec, 20000000LL);
}

TEST_F(SysComWait, WaitEndsWithTheMessage) {
  registerFixed(FIXED);
  for (const uint32_t timeoutMs : {LIMIT_MS, static_cast<uint32_t>(INT_MAX) + 1, ORV_SYSCOM_FOREVER}) {
    std::thread sender([] { EXPECT_EQ(send(7, LOCAL | FIXED), 0); });
    EXPECT_NE(receive(FIXED, timeoutMs), nullptr) << timeoutMs;
    sender.join();
  }
}

void ignoreSignal(int) {}

TEST_F(SysComWait, SignalHandlerEndsNoWait) {
  registerFixed(FIXED);
  struct sigaction action {};
  action.sa_handler = ignoreSignal;  // without SA_RESTART
  struct sigaction before {};
  ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
  std::atomic<bool> received{false};
  std::thread receiver([&received] { received = receive(FIXED) != nullptr; });
  for (int i = 0; i < 50; ++i) {
    pthread_kill(receiver.native_handle(), SIGUSR1);
    std::this_thread::yield();
  }
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  receiver.join();
  EXPECT_TRUE(received);
  sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(SysComWait, DescriptorIsReadableWhereAMessageWaits) {
  registerFixed(FIXED);
  pollfd waited{orvSysComUserDescriptor(FIXED), POLLIN, 0};
  ASSERT_GE(waited.fd, 0);
  EXPECT_EQ(poll(&waited, 1, 0), 0);
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  EXPECT_EQ(poll(&waited, 1, static_cast<int>(LIMIT_MS)), 1);
  EXPECT_EQ(waited.revents, POLLIN);
  EXPECT_NE(receive(FIXED, 0), nullptr);
  EXPECT_EQ(poll(&waited, 1, 0), 0);
}

// --- errors ---------------------------------------------------------------------------------------------------------

TEST_F(SysComWait, ThereIsNothingToReceiveForAStranger) {
  OrvSysComMessage *message = nullptr;
  EXPECT_EQ(orvSysComMsgReceive(FIXED, 0, &message), ENOENT);
  EXPECT_EQ(orvSysComMsgReceive(0x10000 | FIXED, 0, &message), ENOENT);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(orvSysComUserDescriptor(FIXED), -1);
}

TEST_F(SysComWait, PlaceForTheMessageHasToBeNamed) {
  registerFixed(FIXED);
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  EXPECT_EQ(orvSysComMsgReceive(FIXED, 0, nullptr), EINVAL);
  EXPECT_NE(receive(FIXED, 0), nullptr);
}

TEST_F(SysComWait, NothingIsReceivedAfterTheDeregistration) {
  registerFixed(FIXED);
  ASSERT_EQ(AaSysComUserDeregister(FIXED), 0);
  OrvSysComMessage *message = nullptr;
  EXPECT_EQ(orvSysComMsgReceive(FIXED, ORV_SYSCOM_FOREVER, &message), ENOENT);
  EXPECT_EQ(orvSysComUserDescriptor(FIXED), -1);
}

TEST_F(SysComWait, DeregistrationEndsEveryWait) {
  registerFixed(FIXED);
  std::atomic<int> waiting{0};
  std::atomic<int> canceled{0};
  std::vector<std::thread> receivers;
  for (int number = 0; number < 3; ++number) {
    receivers.emplace_back([&waiting, &canceled] {
      OrvSysComMessage *message = nullptr;
      ++waiting;
      const int32_t result = orvSysComMsgReceive(FIXED, ORV_SYSCOM_FOREVER, &message);
      // A thread that comes after the deregistration meets no user at all.
      if (result == ECANCELED || result == ENOENT) ++canceled;
    });
  }
  while (waiting < 3)
    std::this_thread::yield();
  EXPECT_EQ(AaSysComUserDeregister(FIXED), 0);
  for (std::thread &receiver : receivers)
    receiver.join();
  EXPECT_EQ(canceled, 3);
}

TEST_F(SysComWait, MessagesThatNobodyTookBeforeTheDeregistrationAreReported) {
  registerFixed(FIXED);
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  sendBytes(FIXED, "no message");
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  ASSERT_EQ(AaSysComUserDeregister(FIXED), 0);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING,
                                      "the user with CPID 0x04e7 was deregistered before it took 2 messages"),
            1u);
}

TEST_F(SysComWait, QueueThatIsFullIsReportedToTheSenderAndLosesNothing) {
  registerFixed(FIXED);
  constexpr uint32_t FAR_TOO_MANY = 100000;
  uint32_t sent = 0;
  int32_t result = 0;
  while (sent < FAR_TOO_MANY && (result = send(sent, LOCAL | FIXED)) == 0)
    ++sent;
  EXPECT_EQ(result, EAGAIN);
  EXPECT_GT(sent, 0u);
  for (uint32_t number = 0; number < sent; ++number) {
    const Message message = receive(FIXED, 0);
    ASSERT_NE(message, nullptr) << number;
    EXPECT_EQ(orvSysComMsgId(message.get()), number);
  }
  EXPECT_EQ(receive(FIXED, 0), nullptr);
  EXPECT_EQ(send(7, LOCAL | FIXED), 0) << "there is room again";
}

// --- many threads ---------------------------------------------------------------------------------------------------

TEST_F(SysComWait, EachMessageGoesToOneOfTheThreadsThatReceive) {
  constexpr int THREADS = 4;
  constexpr int PER_SENDER = 50;
  registerFixed(FIXED);
  std::vector<std::atomic<int>> seen(THREADS * PER_SENDER);
  std::atomic<int> taken{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < THREADS; ++number) {
    threads.emplace_back([&seen, &taken] {
      while (++taken <= THREADS * PER_SENDER) {
        const Message message = receive(FIXED);
        if (message == nullptr) return;
        ++seen.at(orvSysComMsgId(message.get()));
      }
    });
    threads.emplace_back([number] {
      for (int i = 0; i < PER_SENDER; ++i) {
        // A full queue is a matter of time here.
        while (send(static_cast<uint32_t>(number * PER_SENDER + i), LOCAL | FIXED) != 0)
          std::this_thread::yield();
      }
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  for (size_t id = 0; id < seen.size(); ++id)
    EXPECT_EQ(seen[id], 1) << id;
}

TEST_F(SysComWait, ThreadsMayRegisterReceiveAndDeregisterAtTheSameTime) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (uint32_t number = 0; number < 4; ++number) {
    threads.emplace_back([number, &failures] {
      for (uint32_t round = 0; round < 20; ++round) {
        const uint32_t cpid = 0x0100 + number;
        if (orvSysComUserRegister(cpid) != 0) ++failures;
        if (send(round, LOCAL | cpid) != 0) ++failures;
        const Message message = receive(cpid);
        if (message == nullptr || orvSysComMsgId(message.get()) != round) ++failures;
        if (AaSysComUserDeregister(cpid) != 0) ++failures;
      }
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
