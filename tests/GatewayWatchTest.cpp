// For whom something has happened: descriptors, and ZeroMQ sockets, whose descriptors do not tell everything.
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Watch.h"
#include "ZmqSocket.h"

namespace {

using orv::gateway::Watch;
using orv::gateway::ZmqSocket;

constexpr int LIMIT_MS = 60000;

class Context {
 public:
  ~Context() {
    zmq_ctx_term(handle_);
  }
  void *handle() const {
    return handle_;
  }

 private:
  void *handle_ = zmq_ctx_new();
};

class GatewayWatch : public testing::Test {
 protected:
  GatewayWatch() {
    EXPECT_EQ(receiver_.bind("inproc://watch"), 0);
    EXPECT_EQ(sender_.connect("inproc://watch"), 0);
    // Until it is used once, each end has the connection itself to tell of.
    EXPECT_EQ(sender_.send({"first"}), 0);
    while (!receiver_.receive()) {
    }
  }
  ~GatewayWatch() override {
    close(descriptor_);
  }
  static zmq_pollitem_t readable(const ZmqSocket &socket) {
    return {socket.handle(), 0, ZMQ_POLLIN, 0};
  }
  zmq_pollitem_t readableDescriptor() const {
    return {nullptr, descriptor_, ZMQ_POLLIN, 0};
  }
  void makeReadable() const {
    EXPECT_EQ(eventfd_write(descriptor_, 1), 0);
  }

  Context context_;
  ZmqSocket receiver_{context_.handle(), ZMQ_PAIR};
  ZmqSocket sender_{context_.handle(), ZMQ_PAIR};
  int descriptor_ = eventfd(0, EFD_CLOEXEC);
  Watch watch_;
};

TEST_F(GatewayWatch, NobodyIsReadyWhereNothingHappens) {
  watch_.begin(2);
  watch_.add(0, {readableDescriptor()}, true);
  watch_.add(1, {readable(receiver_)}, true);
  watch_.wait(0);
  EXPECT_FALSE(watch_.isReady(0));
  EXPECT_FALSE(watch_.isReady(1));
}

TEST_F(GatewayWatch, OnlyTheOwnerOfAReadyDescriptorIsReady) {
  makeReadable();
  watch_.begin(3);
  watch_.add(0, {readable(receiver_)}, true);
  watch_.add(1, {readable(receiver_), readableDescriptor()}, true);
  watch_.wait(LIMIT_MS);
  EXPECT_FALSE(watch_.isReady(0));
  EXPECT_TRUE(watch_.isReady(1));
  EXPECT_FALSE(watch_.isReady(2)) << "it waits for nothing";
}

TEST_F(GatewayWatch, DescriptorCanBeWaitedForUntilItIsWritable) {
  watch_.begin(1);
  watch_.add(0, {{nullptr, descriptor_, ZMQ_POLLOUT, 0}}, false);
  watch_.wait(LIMIT_MS);
  EXPECT_TRUE(watch_.isReady(0));
}

TEST_F(GatewayWatch, SocketThatGetsAMessageIsReady) {
  watch_.begin(1);
  watch_.add(0, {readable(receiver_)}, true);
  ASSERT_EQ(sender_.send({"second"}), 0);
  watch_.wait(LIMIT_MS);
  EXPECT_TRUE(watch_.isReady(0));
}

// The descriptor has told of both messages at once, and is silent about the second.
TEST_F(GatewayWatch, UsedSocketThatHasMoreIsReadyWithoutAWait) {
  ASSERT_EQ(sender_.send({"second"}), 0);
  ASSERT_EQ(sender_.send({"third"}), 0);
  ASSERT_TRUE(receiver_.receive().has_value());

  watch_.begin(1);
  watch_.add(0, {readable(receiver_)}, false);
  watch_.wait(0);
  EXPECT_FALSE(watch_.isReady(0)) << "nothing to be learned from the descriptor";

  watch_.begin(1);
  watch_.add(0, {readable(receiver_)}, true);
  watch_.wait(LIMIT_MS);
  EXPECT_TRUE(watch_.isReady(0));
}

TEST_F(GatewayWatch, SomebodyWhoIsReadyKeepsNobodyFromBeingSeen) {
  ASSERT_EQ(sender_.send({"second"}), 0);
  ASSERT_EQ(sender_.send({"third"}), 0);
  ASSERT_TRUE(receiver_.receive().has_value());
  makeReadable();
  watch_.begin(2);
  watch_.add(0, {readable(receiver_)}, true);
  watch_.add(1, {readableDescriptor()}, true);
  watch_.wait(LIMIT_MS);
  EXPECT_TRUE(watch_.isReady(0));
  EXPECT_TRUE(watch_.isReady(1));
}

TEST_F(GatewayWatch, EachBeginningForgetsTheOneBefore) {
  makeReadable();
  watch_.begin(1);
  watch_.add(0, {readableDescriptor()}, true);
  watch_.wait(LIMIT_MS);
  ASSERT_TRUE(watch_.isReady(0));
  watch_.begin(1);
  watch_.add(0, {readable(receiver_)}, true);
  watch_.wait(0);
  EXPECT_FALSE(watch_.isReady(0));
}

}  // namespace
