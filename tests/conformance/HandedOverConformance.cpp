// What the daemon hands over where the trace does not show it: the start-up context word from operation to operation,
// the bytes of a message, the writes of the signal handler. The linker puts the functions of this file before the real
// ones, in this program alone.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "ExpectedTrace.h"
#include "Startup.h"

using namespace orv::sim;

namespace {

// The context words that each operation was called with.
std::map<std::string, std::set<uint32_t>> gContexts;

// A message between its creation and its sending: every byte is FILLED, and the platform's own are kept aside.
constexpr char FILLED = 0x5a;
constexpr size_t HEADER_SIZE = 16;  // the simulated platform's
constexpr size_t SENDER_OFFSET = 8;
constexpr size_t SENDER_SIZE = 4;
struct Message {
  void *address = nullptr;
  std::string platformBytes;
};
bool gFillMessages = false;
Message gMessage;
std::vector<std::string> gSentBytes;  // as the daemon left them, the sender's set to FILLED again

struct Write {
  std::string text;
  size_t itemSize;
  size_t items;
  bool operator==(const Write &) const = default;
};
std::ostream &operator<<(std::ostream &stream, const Write &write) {
  return stream << '"' << write.text << "\" " << write.itemSize << " * " << write.items;
}
bool gRecordWrites = false;
std::vector<Write> gErrorWrites;

}  // namespace

// The operations by their names in the object files: their first argument is the context word.
extern "C" {
#define ORV_TAKES_CONTEXT(result, operation, symbol) \
  result __real_##symbol(uint32_t context);          \
  result __wrap_##symbol(uint32_t context);          \
  result __wrap_##symbol(uint32_t context) {         \
    gContexts[operation].insert(context);            \
    return __real_##symbol(context);                 \
  }
ORV_TAKES_CONTEXT(int32_t, "systemdNotify", _Z13systemdNotifyj)
ORV_TAKES_CONTEXT(int, "fullStartup", _Z11fullStartupj)
ORV_TAKES_CONTEXT(int, "shutdown", _Z8shutdownj)
ORV_TAKES_CONTEXT(int, "exeStart", _Z8exeStartj)
ORV_TAKES_CONTEXT(int, "ceShutdownWasGraceful", _Z21ceShutdownWasGracefulj)
ORV_TAKES_CONTEXT(void, "appStart", _Z8appStartj)
ORV_TAKES_CONTEXT(void, "boardReset", _Z10boardResetj)
ORV_TAKES_CONTEXT(uint32_t, "AaStartupCeUngracefulShutdownCount", AaStartupCeUngracefulShutdownCount)
#undef ORV_TAKES_CONTEXT

#define ORV_READY_WAIT(prefix) prefix##_Z9readyWaitjRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERj
#define ORV_EXE_RUN(prefix) prefix##_Z6exeRunjRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEES6_j
int ORV_READY_WAIT(__real_)(uint32_t context, const std::string &tagName, uint32_t &remainingMs);
int ORV_READY_WAIT(__wrap_)(uint32_t context, const std::string &tagName, uint32_t &remainingMs);
int ORV_EXE_RUN(__real_)(uint32_t context, const std::string &path, const std::string &args, uint32_t flags);
int ORV_EXE_RUN(__wrap_)(uint32_t context, const std::string &path, const std::string &args, uint32_t flags);

int ORV_READY_WAIT(__wrap_)(uint32_t context, const std::string &tagName, uint32_t &remainingMs) {
  gContexts["readyWait"].insert(context);
  return ORV_READY_WAIT(__real_)(context, tagName, remainingMs);
}

int ORV_EXE_RUN(__wrap_)(uint32_t context, const std::string &path, const std::string &args, uint32_t flags) {
  gContexts["exeRun"].insert(context);
  return ORV_EXE_RUN(__real_)(context, path, args, flags);
}

void *__real_AaSysComMsgCreate(uint32_t messageId, uint32_t payloadSize, uint32_t receiver);
void *__wrap_AaSysComMsgCreate(uint32_t messageId, uint32_t payloadSize, uint32_t receiver);
int32_t __real_AaSysComMsgSendWithPriority(void **message, uint32_t priority);
int32_t __wrap_AaSysComMsgSendWithPriority(void **message, uint32_t priority);
size_t __real_fwrite(const void *text, size_t itemSize, size_t items, FILE *stream);
size_t __wrap_fwrite(const void *text, size_t itemSize, size_t items, FILE *stream);

void *__wrap_AaSysComMsgCreate(uint32_t messageId, uint32_t payloadSize, uint32_t receiver) {
  void *message = __real_AaSysComMsgCreate(messageId, payloadSize, receiver);
  if (!gFillMessages || message == nullptr) return message;
  const size_t size = HEADER_SIZE + payloadSize;
  gMessage = {message, std::string(static_cast<const char *>(message), size)};
  std::memset(message, FILLED, size);
  return message;
}

int32_t __wrap_AaSysComMsgSendWithPriority(void **message, uint32_t priority) {
  if (gFillMessages && *message == gMessage.address) {
    std::string bytes(static_cast<const char *>(*message), gMessage.platformBytes.size());
    gMessage.platformBytes.replace(SENDER_OFFSET, SENDER_SIZE, bytes.substr(SENDER_OFFSET, SENDER_SIZE));
    gSentBytes.push_back(bytes.replace(SENDER_OFFSET, SENDER_SIZE, SENDER_SIZE, FILLED));
    std::memcpy(*message, gMessage.platformBytes.data(), gMessage.platformBytes.size());
  }
  return __real_AaSysComMsgSendWithPriority(message, priority);
}

size_t __wrap_fwrite(const void *text, size_t itemSize, size_t items, FILE *stream) {
  if (gRecordWrites && stream == stderr)
    gErrorWrites.push_back({std::string(static_cast<const char *>(text), itemSize * items), itemSize, items});
  return __real_fwrite(text, itemSize, items, stream);
}
}

namespace {

std::vector<Write> writesOfHandler(int number) {
  gErrorWrites.clear();
  simulate({}, [number] {
    gRecordWrites = true;
    shutdownSignalHandler(number);
    gRecordWrites = false;
  });
  return gErrorWrites;
}

}  // namespace

// A boot in which every operation is called that takes the word: an executable and an application with tags that are
// not set, and an application that fails.
TEST(HandedOverConformance, OneContextWordGoesThroughAllOperations) {
  Scenario scenario;
  scenario.files["/rom/AppDef.txt"] = "a;/a;;;2;\nb;/b;;;;b.up\n";
  scenario.tags["x.up"] = {};
  ProgramBehaviour program;
  program.path = "/a";
  program.runsForMs = 10;
  program.waitStatus = 256;
  scenario.programs = {program};
  gContexts.clear();
  boot(scenario, {"--startup=executable=/x#x.up"});
  const std::set<uint32_t> word = gContexts["fullStartup"];
  EXPECT_EQ(word.size(), 1u);
  for (const char *operation :
       {"systemdNotify", "shutdown", "exeStart", "ceShutdownWasGraceful", "AaStartupCeUngracefulShutdownCount",
        "appStart", "readyWait", "exeRun", "boardReset"}) {
    EXPECT_EQ(gContexts[operation], word) << operation;
  }
}

TEST(HandedOverConformance, OfAMessageOnlyTheSenderIsWritten) {
  gSentBytes.clear();
  gFillMessages = true;
  const SimulatedBoot result = boot({}, {"--startup=nid=0x1011,notifreceiver=0xf011315"});
  gFillMessages = false;
  EXPECT_EQ(gSentBytes,
            (std::vector<std::string>{std::string(HEADER_SIZE + 4, FILLED), std::string(HEADER_SIZE, FILLED)}));
  EXPECT_EQ(linesWith(result.trace, "sender 0x1011fffe, payload 4 bytes) = 0").size(), 1u);
  EXPECT_EQ(linesWith(result.trace, "sender 0xf011000, payload 0 bytes) = 0").size(), 1u);
}

TEST(HandedOverConformance, SignalHandlerWritesEachLineInOnePieceCharacterByCharacter) {
  const Write initiated = {"Initiated ORV-RT CE level shutdown\n", 1, 35};
  EXPECT_EQ(writesOfHandler(SIGINT), (std::vector<Write>{{"OrvDaemon - Got SIGINT\n", 1, 23}, initiated}));
  EXPECT_EQ(writesOfHandler(SIGTERM), (std::vector<Write>{{"OrvDaemon - Got SIGTERM\n", 1, 24}, initiated}));
  EXPECT_EQ(writesOfHandler(SIGUSR1), (std::vector<Write>{{"OrvDaemon - Got unknown signal\n", 1, 31}}));
}
