// The pairs without a node: what the transport under the messages can do at best.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zmq.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <system_error>

#include "Children.h"
#include "Programs.h"

namespace syscombench {
namespace {

constexpr uint32_t SENDER = 0;
constexpr uint32_t RECEIVER = 1;

[[noreturn]] void fail(const std::string &what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// The bytes that a message of a node has on its way: the header and the payload, which begins with the stamp.
class Bytes {
 public:
  explicit Bytes(const Board &board) : bytes_(HEADER_BYTES + board.payloadBytes) {}
  std::vector<char> &with(const Stamp &stamp) {
    std::memcpy(bytes_.data() + HEADER_BYTES, &stamp, sizeof stamp);
    return bytes_;
  }
  std::vector<char> &buffer() {
    return bytes_;
  }
  Stamp stamp() const {
    Stamp stamp{};
    std::memcpy(&stamp, bytes_.data() + HEADER_BYTES, sizeof stamp);
    return stamp;
  }

 private:
  static constexpr size_t HEADER_BYTES = 16;
  std::vector<char> bytes_;
};

// `send` and `receive` block and return the number of bytes; below 0: a failure, which ends the process.
using Transfer = std::function<int(std::vector<char> &bytes)>;

int sendAll(Board &board, const Transfer &send) {
  Bytes bytes(board);
  board.workers[SENDER].isReady.store(1);
  for (uint32_t run = waitForRun(board, SENDER); run != Board::QUIT; run = waitForRun(board, SENDER)) {
    sendDuringRun(board, SENDER, run, [&](const Stamp &stamp) {
      if (send(bytes.with(stamp)) < 0) fail("a bare message could not be sent");
      return true;
    });
  }
  return 0;
}

// Ends with the message of no source, which is the sender's last.
int receiveAll(Board &board, const Transfer &receive) {
  Bytes bytes(board);
  board.workers[RECEIVER].isReady.store(1);
  for (;;) {
    if (receive(bytes.buffer()) < 0) fail("a bare message could not be received");
    if (bytes.stamp().source >= MAX_WORKERS) return 0;
    takeArrival(board, board.workers[RECEIVER], bytes.stamp());
  }
}

int sendUntilTheEnd(Board &board, const Transfer &send) {
  const int result = sendAll(board, send);
  Bytes last(board);
  if (send(last.with(Stamp{0, MAX_WORKERS, 0})) < 0) fail("the last bare message could not be sent");
  return result;
}

// --- ZeroMQ ---------------------------------------------------------------------------------------------------------

struct EndContext {
  void operator()(void *context) const {
    zmq_ctx_term(context);
  }
};
struct CloseSocket {
  void operator()(void *socket) const {
    zmq_close(socket);
  }
};

// One socket in a context of its own, everything as libzmq has it.
class ZmqEnd {
 public:
  explicit ZmqEnd(int type) : context_(zmq_ctx_new()), socket_(zmq_socket(context_.get(), type)) {}
  void *get() const {
    return socket_.get();
  }

 private:
  std::unique_ptr<void, EndContext> context_;
  std::unique_ptr<void, CloseSocket> socket_;
};

std::vector<pid_t> startPushPull(Board &board) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail("no pipe");
  const int readEnd = ends[0];
  const int writeEnd = ends[1];
  const pid_t receiver = forkChild([&board, writeEnd] {
    const ZmqEnd pull(ZMQ_PULL);
    char endpoint[64] = "";
    size_t length = sizeof endpoint;
    if (zmq_bind(pull.get(), "tcp://127.0.0.1:*") != 0 ||
        zmq_getsockopt(pull.get(), ZMQ_LAST_ENDPOINT, endpoint, &length) != 0) {
      fail("no ZeroMQ socket");
    }
    if (write(writeEnd, endpoint, sizeof endpoint) != sizeof endpoint) fail("the endpoint could not be told");
    return receiveAll(board,
                      [&](std::vector<char> &bytes) { return zmq_recv(pull.get(), bytes.data(), bytes.size(), 0); });
  });
  close(writeEnd);
  char endpoint[64] = "";
  const bool isKnown = read(readEnd, endpoint, sizeof endpoint) == sizeof endpoint;
  close(readEnd);
  if (!isKnown) throw std::runtime_error("the receiver of the bare ZeroMQ pair has not come up");
  const std::string where = endpoint;
  const pid_t sender = forkChild([&board, where] {
    const ZmqEnd push(ZMQ_PUSH);
    if (zmq_connect(push.get(), where.c_str()) != 0) fail("no ZeroMQ connection");
    return sendUntilTheEnd(
        board, [&](std::vector<char> &bytes) { return zmq_send(push.get(), bytes.data(), bytes.size(), 0); });
  });
  return {sender, receiver};
}

// --- Unix socket pair -----------------------------------------------------------------------------------------------

std::vector<pid_t> startSocketPair(Board &board) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends) != 0) fail("no socket pair");
  const int sendEnd = ends[0];
  const int receiveEnd = ends[1];
  const pid_t sender = forkChild([&board, sendEnd] {
    return sendUntilTheEnd(board, [=](std::vector<char> &bytes) {
      return static_cast<int>(send(sendEnd, bytes.data(), bytes.size(), 0));
    });
  });
  const pid_t receiver = forkChild([&board, receiveEnd] {
    return receiveAll(board, [=](std::vector<char> &bytes) {
      return static_cast<int>(recv(receiveEnd, bytes.data(), bytes.size(), 0));
    });
  });
  close(sendEnd);
  close(receiveEnd);
  return {sender, receiver};
}

}  // namespace

std::vector<pid_t> startBarePair(Board &board, BarePair kind) {
  return kind == BarePair::ZEROMQ_PUSH_PULL ? startPushPull(board) : startSocketPair(board);
}

}  // namespace syscombench
