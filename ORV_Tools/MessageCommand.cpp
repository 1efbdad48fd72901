#include "MessageCommand.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "Clock.h"
#include "Descriptor.h"
#include "HexText.h"
#include "Output.h"
#include "RegularFile.h"
#include "SysComDelivery.h"
#include "SysComMessage.h"
#include "SysComReception.h"
#include "SysComUsers.h"
#include "Words.h"

namespace orv {
namespace {

constexpr double LONGEST_TIMEOUT_S = 1e9;  // over 30 years

// --- send -----------------------------------------------------------------------------------------------------------

// Nothing after having said why not.
std::optional<std::string> payloadOf(const MessageArguments &arguments) {
  if (!arguments.payloadFile) return arguments.payload;
  std::string payload;
  const Status status = readRegularFile(*arguments.payloadFile, MAX_PAYLOAD_SIZE, payload);
  if (status.ok()) return payload;
  complain(status.message);
  return std::nullopt;
}

// Header and payload in one piece.
std::vector<unsigned char> messageOf(const MessageArguments &arguments, const std::string &payload) {
  const MessageHeader header{arguments.messageId, arguments.receiver, arguments.sender,
                             static_cast<uint32_t>(payload.size())};
  std::vector<unsigned char> message(sizeof header + payload.size());
  std::memcpy(message.data(), &header, sizeof header);
  std::copy(payload.begin(), payload.end(), message.begin() + sizeof header);
  return message;
}

Status deliver(const Arguments &arguments, const NodeStore &store, const MessageHeader &header) {
  const std::string directory = nodeDirectoryOf(arguments);
  const std::optional<RunInfo> run = store.run();
  const uint16_t node = nodeOf(header.receiver);
  if (isOwnNode(node, run ? run->nid : uint16_t{0})) return deliverInNode(directory, header);
  const int error = sendToGatewaySocket(directory, node, &header, sizeof header + header.payloadSize);
  if (error == 0) return Status::success();
  if (error == EAGAIN)
    return Status::failure(error, messageText(header) + " not taken: the queue of the gateway is full");
  return Status::failure(EHOSTUNREACH, noWayText(header, &store));
}

// --- listen ---------------------------------------------------------------------------------------------------------

// A user of the node for as long as the object lives.
class Listener {
 public:
  explicit Listener(MessageSocket socket) : socket_(std::move(socket)) {}
  ~Listener() {
    removeMessageSocketName(socket_);
    close(socket_.descriptor);
  }
  Listener(const Listener &) = delete;
  Listener &operator=(const Listener &) = delete;

  int descriptor() const {
    return socket_.descriptor;
  }
  // Ends the reception: nobody sends to it any more, and what is left in the queue is said.
  void end() const {
    removeMessageSocketName(socket_);
    const uint32_t left = discardMessages(socket_.descriptor);
    if (left != 0) complain(std::to_string(left) + (left == 1 ? " more message" : " more messages") + " not taken");
  }

 private:
  MessageSocket socket_;
};

Status bindListener(const std::string &nodeDirectory, uint16_t cpid, MessageSocket &socket) {
  MessageDirectory directory;
  if (Status status = directory.makeAndLock(nodeDirectory); !status.ok()) return status;
  Status bound = directory.bind(cpid, socket);
  if (bound.code != EADDRINUSE) return bound;
  return Status::failure(EADDRINUSE, "a program of the node receives under CPID " + hexText(cpid, 4) +
                                         " already (end it first, or listen to another CPID)");
}

// SIGINT and SIGTERM as a descriptor: the name of the listener has to go before the tool does.
int signalDescriptor() {
  sigset_t ending;
  sigemptyset(&ending);
  sigaddset(&ending, SIGINT);
  sigaddset(&ending, SIGTERM);
  sigprocmask(SIG_BLOCK, &ending, nullptr);
  return signalfd(-1, &ending, SFD_CLOEXEC);
}

std::string hexBytes(const OrvSysComMessage &message) {
  std::string text;
  for (uint32_t i = 0; i < message.header.payloadSize; ++i) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02x", message.payload()[i]);
    text += digits;
  }
  return text;
}

std::string payloadText(const OrvSysComMessage &message) {
  const uint32_t size = message.header.payloadSize;
  std::string text = ", " + std::to_string(size) + (size == 1 ? " byte" : " bytes");
  if (size == 0) return text;
  const std::string bytes(reinterpret_cast<const char *>(message.payload()), size);
  return text + ": " + (printable(bytes) == bytes ? "\"" + bytes + "\"" : hexBytes(message));
}

std::string lineText(const OrvSysComMessage &message) {
  return hexText(message.header.messageId, 4) + " from " + hexText(message.header.sender, 8) + " to " +
         hexText(message.header.receiver, 8) + ", pid " + std::to_string(message.senderPid) + ", uid " +
         std::to_string(message.senderUid) + payloadText(message) + "\n";
}

std::string lineJson(const OrvSysComMessage &message) {
  return "{\"id\":\"" + hexText(message.header.messageId, 4) + "\",\"sender\":\"" + hexText(message.header.sender, 8) +
         "\",\"receiver\":\"" + hexText(message.header.receiver, 8) +
         "\",\"pid\":" + std::to_string(message.senderPid) + ",\"uid\":" + std::to_string(message.senderUid) +
         ",\"gid\":" + std::to_string(message.senderGid) +
         ",\"payloadSize\":" + std::to_string(message.header.payloadSize) + ",\"payload\":\"" + hexBytes(message) +
         "\"}\n";
}

// Why the listening ended.
enum class End { COUNT, TIME, SIGNAL, FAILED };

struct Listening {
  const MessageArguments &arguments;
  int descriptor;
  int signals;
  uint32_t received = 0;

  bool isComplete() const {
    return arguments.count && received >= *arguments.count;
  }

  // Prints what is there, as far as it was asked for. Returns 0 or the errno.
  int takeAll() {
    for (Received message; !isComplete();) {
      const int taken = takeMessage(descriptor, message);
      if (taken == EBADMSG) {
        complain("passed over " + std::to_string(message->header.payloadSize) + " bytes of process " +
                 std::to_string(message->senderPid) + ", which are no message");
        continue;
      }
      if (taken != 0) return taken == EAGAIN || taken == EINTR ? 0 : taken;
      ++received;
      const int written = writeOutput(arguments.json ? lineJson(*message) : lineText(*message));
      if (written != 0) return written;
    }
    return 0;
  }

  // `error` is set with FAILED.
  End run(std::optional<uint64_t> deadlineNs, int &error) {
    for (;;) {
      error = takeAll();
      if (error != 0) return End::FAILED;
      if (isComplete()) return End::COUNT;
      pollfd waited[] = {{descriptor, POLLIN, 0}, {signals, POLLIN, 0}};
      const int count = poll(waited, std::size(waited), pollTimeoutMs(deadlineNs));
      if (count == 0 && pollTimeoutMs(deadlineNs) == 0) return End::TIME;
      if (count > 0 && waited[1].revents != 0) return End::SIGNAL;
    }
  }
};

std::optional<uint64_t> deadlineOf(const MessageArguments &arguments) {
  if (!arguments.timeoutS) return std::nullopt;
  return monotonicNs() +
         static_cast<uint64_t>(std::min(*arguments.timeoutS, LONGEST_TIMEOUT_S) * static_cast<double>(NS_PER_S));
}

int exitCodeOf(End end, const Listening &listening, int error) {
  if (end == End::FAILED && error != EPIPE) {
    complain(std::string("cannot go on listening: ") + std::strerror(error));
    return EXIT_FAILED;
  }
  // A reader that has seen enough, such as head, is no failure.
  if (end == End::FAILED || end == End::COUNT) return EXIT_DONE;
  const std::optional<uint32_t> &wanted = listening.arguments.count;
  if (!wanted && (end == End::SIGNAL || listening.received > 0)) return EXIT_DONE;
  complain(std::to_string(listening.received) + " of " + (wanted ? std::to_string(*wanted) : "any number of") +
           " messages came" + (end == End::TIME ? " in time" : " before the signal"));
  return EXIT_NO;
}

}  // namespace

int msgSend(const Arguments &arguments, const MessageArguments &message) {
  const std::optional<std::string> payload = payloadOf(message);
  if (!payload) return EXIT_FAILED;
  if (payload->size() > MAX_PAYLOAD_SIZE) {
    complain("a payload of " + std::to_string(payload->size()) + " bytes is over the limit of " +
             std::to_string(MAX_PAYLOAD_SIZE));
    return EXIT_USAGE;
  }
  const std::unique_ptr<NodeStore> store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  const std::vector<unsigned char> bytes = messageOf(message, *payload);
  const auto &header = *reinterpret_cast<const MessageHeader *>(bytes.data());
  const Status delivered = deliver(arguments, *store, header);
  const Status recorded = store->appendEvent(outcomeEvent(header, delivered.ok()));
  if (!recorded.ok()) complain(recorded.message);
  if (delivered.ok()) return EXIT_DONE;
  complain(delivered.message);
  return EXIT_NO;
}

int msgListen(const Arguments &arguments, const MessageArguments &message) {
  const std::optional<uint64_t> deadlineNs = deadlineOf(message);
  // Whether there is a node; its store is not held open for as long as the listening may take.
  if (!openNode(arguments)) return EXIT_FAILED;
  const Descriptor signals(signalDescriptor());
  MessageSocket socket;
  const Status bound = bindListener(nodeDirectoryOf(arguments), static_cast<uint16_t>(message.cpid), socket);
  if (!bound.ok()) {
    complain(bound.message);
    return EXIT_FAILED;
  }
  const Listener listener(std::move(socket));
  Listening listening{message, listener.descriptor(), signals.get()};
  int error = 0;
  const End end = listening.run(deadlineNs, error);
  listener.end();
  return exitCodeOf(end, listening, error);
}

}  // namespace orv
