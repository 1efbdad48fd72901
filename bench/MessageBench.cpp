// What one message within a node costs: creating, sending and receiving it through libORV.so, with the event that tells
// of it, beside a bare Unix socket pair's send and receive of as many bytes, and beside the bare system calls that the
// library makes of it (a socket of its own for each message, sent to a name). One thread does both ends.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "AaSysCom.h"
#include "BenchNode.h"
#include "SysComReceive.h"

namespace {

constexpr uint32_t LOCAL_NODE = 0x0FF00000;
constexpr uint32_t CPID = 0x04E7;
constexpr int64_t HEADER_BYTES = 16;

void payloadSizes(benchmark::internal::Benchmark *benchmark) {
  for (const int64_t bytes : {0, 64, 1024, 65520})
    benchmark->Arg(bytes);
}

bool sendMessage(uint32_t payloadBytes) {
  void *message = AaSysComMsgCreate(1, payloadBytes, LOCAL_NODE | CPID);
  return AaSysComMsgSendWithPriority(&message, 0) == 0;
}

bool receiveMessage(uint32_t payloadBytes) {
  OrvSysComMessage *message = nullptr;
  if (orvSysComMsgReceive(CPID, 0, &message) != 0) return false;
  const bool isWhole = orvSysComMsgPayloadSize(message) == payloadBytes;
  orvSysComMsgFree(message);
  return isWhole;
}

void BM_Message(benchmark::State &state) {
  const auto payloadBytes = static_cast<uint32_t>(state.range(0));
  if (orvSysComUserRegister(CPID) != 0) {
    state.SkipWithError("the CPID could not be registered");
    return;
  }
  for (auto _ : state) {
    if (!sendMessage(payloadBytes) || !receiveMessage(payloadBytes)) state.SkipWithError("the message was lost");
  }
  AaSysComUserDeregister(CPID);
}
BENCHMARK(BM_Message)->Apply(payloadSizes);

void BM_Bare_socketpair(benchmark::State &state) {
  std::vector<char> bytes(static_cast<size_t>(HEADER_BYTES + state.range(0)));
  int ends[2] = {-1, -1};
  if (socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends) != 0) state.SkipWithError("no socket pair");
  const auto size = static_cast<ssize_t>(bytes.size());
  for (auto _ : state) {
    if (send(ends[0], bytes.data(), bytes.size(), 0) != size || recv(ends[1], bytes.data(), bytes.size(), 0) != size) {
      state.SkipWithError("the datagram was lost");
    }
  }
  close(ends[0]);
  close(ends[1]);
}
BENCHMARK(BM_Bare_socketpair)->Apply(payloadSizes);

void BM_Bare_socket_sendto_name(benchmark::State &state) {
  const FreshDirectory directory;
  std::vector<char> bytes(static_cast<size_t>(HEADER_BYTES + state.range(0)));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  directory.path("receiver").copy(address.sun_path, sizeof address.sun_path - 1);
  const auto *generic = reinterpret_cast<const sockaddr *>(&address);
  const int receiver = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (bind(receiver, generic, sizeof address) != 0) state.SkipWithError("no socket");
  const auto size = static_cast<ssize_t>(bytes.size());
  for (auto _ : state) {
    const int sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int folder = open(directory.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    const bool sent = sendto(sender, bytes.data(), bytes.size(), MSG_DONTWAIT, generic, sizeof address) == size;
    close(folder);
    close(sender);
    if (!sent || recv(receiver, bytes.data(), bytes.size(), MSG_DONTWAIT) != size) {
      state.SkipWithError("the datagram was lost");
    }
  }
  close(receiver);
}
BENCHMARK(BM_Bare_socket_sendto_name)->Apply(payloadSizes);

}  // namespace

int main(int argc, char **argv) {
  return benchmarkOnNode(argc, argv);
}
