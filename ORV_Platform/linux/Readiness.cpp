#include "Readiness.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <vector>

#include "Descriptor.h"
#include "NodePaths.h"
#include "Platform.h"
#include "ProcessTree.h"
#include "ReadinessMessage.h"
#include "ReadyTag.h"
#include "RunningPrograms.h"
#include "StoreWriter.h"

namespace orv {
namespace {

// systemd's own receiver takes as much.
constexpr size_t MAX_MESSAGE_BYTES = 4096;
// Descriptors that one message may bring; the kernel closes what exceeds it.
constexpr size_t MAX_DESCRIPTORS = 16;

// How many messages are taken before the outputs and ends of programs have their turn.
constexpr int MESSAGES_AT_ONCE = 16;

std::string &address() {
  static auto *instance = new std::string;
  return *instance;
}

struct Received {
  std::string text;
  pid_t sender = 0;
};

// Closes the descriptors that came with a message: nothing is stored for programs, and closing answers a barrier.
void closePassedDescriptors(const cmsghdr *control) {
  const size_t bytes = control->cmsg_len - CMSG_LEN(0);
  for (size_t offset = 0; offset + sizeof(int) <= bytes; offset += sizeof(int)) {
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(control) + offset, sizeof descriptor);
    close(descriptor);
  }
}

// Whether there was a message; `passed` are its descriptors' control data, to be closed when it has been dealt with.
template <typename Handle>
bool takeMessage(int socket, Handle handle) {
  char text[MAX_MESSAGE_BYTES];
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred)) + CMSG_SPACE(MAX_DESCRIPTORS * sizeof(int))];
  iovec part = {text, sizeof text};
  msghdr message = {};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  const ssize_t length = recvmsg(socket, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  if (length < 0) return errno == EINTR;
  Received received;
  received.text.assign(text, static_cast<size_t>(length));
  for (cmsghdr *item = CMSG_FIRSTHDR(&message); item != nullptr; item = CMSG_NXTHDR(&message, item)) {
    if (item->cmsg_level != SOL_SOCKET || item->cmsg_type != SCM_CREDENTIALS) continue;
    ucred credentials = {};
    std::memcpy(&credentials, CMSG_DATA(item), sizeof credentials);
    received.sender = credentials.pid;
  }
  handle(received);
  for (cmsghdr *item = CMSG_FIRSTHDR(&message); item != nullptr; item = CMSG_NXTHDR(&message, item)) {
    if (item->cmsg_level == SOL_SOCKET && item->cmsg_type == SCM_RIGHTS) closePassedDescriptors(item);
  }
  return true;
}

// The node's EUs, with the programs that run now: the store is told of them a moment later.
EuProcesses euProcesses() {
  EuProcesses node;
  node.daemonPid = static_cast<uint32_t>(getpid());
  node.nodeDirectory = nodeDirectory();
  if (const NodeStore *store = openNodeStore()) node.eus = store->eus();
  for (const RunningProgram &program : runningPrograms()) {
    EuRecord eu;
    eu.id = program.euId;
    eu.name = program.euName;
    eu.pid = static_cast<uint32_t>(program.pid);
    eu.state = EuState::RUNNING;
    node.eus.push_back(eu);
  }
  return node;
}

void setReadyTag(const EuOfProcess &eu, pid_t sender) {
  Setter setter = identify(static_cast<uint32_t>(sender));
  setter.euName = eu.name;
  setter.euId = eu.id;
  recordTag(readyTagOf(eu.name), setter);
  Event event;
  event.kind = EventKind::PROGRAM_READY;
  event.euId = eu.id;
  event.text = "pid " + std::to_string(sender) + " is ready";
  recordEvent(std::move(event));
}

void handleMessage(const Received &received) {
  const ReadinessMessage message = parseReadinessMessage(received.text);
  if (!message.ready && !message.status) return;
  awaitProgramStarts();
  const std::optional<EuOfProcess> eu = euOfProcess(static_cast<uint32_t>(received.sender), euProcesses());
  if (!eu) {
    platformLog(SEVERITY_WARNING,
                "readiness message of pid " + std::to_string(received.sender) +
                    " refused: it is no program of this node, or had ended before it could be looked at (a program "
                    "that ends at once has to wait, as systemd-notify does)");
    return;
  }
  if (message.status) recordEuStatus(eu->id, *message.status);
  if (message.ready) setReadyTag(*eu, received.sender);
}

// "@name" for one without a path.
socklen_t fillAddress(const std::string &text, sockaddr_un &socketAddress) {
  socketAddress = {};
  socketAddress.sun_family = AF_UNIX;
  std::memcpy(socketAddress.sun_path, text.data(), text.size());
  if (text.front() == '@') socketAddress.sun_path[0] = '\0';
  return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + text.size());
}

}  // namespace

Status openReadinessSocket(int &descriptor) {
  const std::string id = std::to_string(getpid());
  std::string name = nodeDirectory() + "/notify";
  if (name.size() >= sizeof(sockaddr_un::sun_path)) name = "@orv-notify-" + id;
  Descriptor opened(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  sockaddr_un socketAddress;
  const socklen_t length = fillAddress(name, socketAddress);
  const int on = 1;
  if (name.front() != '@') unlink(name.c_str());
  if (opened.get() < 0 || setsockopt(opened.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0 ||
      bind(opened.get(), reinterpret_cast<const sockaddr *>(&socketAddress), length) != 0) {
    const int error = errno;
    return Status::failure(error, "no readiness socket " + name + ": " + std::strerror(error) +
                                      " (programs that speak the systemd protocol stay offline)");
  }
  address() = name;
  descriptor = opened.release();
  return Status::success();
}

const std::string &readinessAddress() {
  return address();
}

void takeReadinessMessages(int descriptor) {
  for (int i = 0; i < MESSAGES_AT_ONCE && takeMessage(descriptor, handleMessage); ++i) {
  }
}

void removeReadinessSocket() {
  if (!address().empty() && address().front() != '@') unlink(address().c_str());
}

}  // namespace orv
