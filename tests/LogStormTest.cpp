// A storm of log lines in a process that runs a CE: nobody waits for the sinks, and nothing piles up.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "AaPro.h"
#include "AaStartup.h"
#include "AaSysLog.h"
#include "PlatformNode.h"
#include "StormSize.h"

namespace {

using orvtest::PlatformNode;

// The journal's socket: it takes what the kernel lets it have unread, and nobody ever reads it.
void stallJournal(const std::string &nodeDirectory) {
  const std::string path = nodeDirectory + "/journal";
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
  setenv("ORV_JOURNAL_SOCKET", path.c_str(), 1);
}

const testing::Environment *const NODE_ENVIRONMENT = testing::AddGlobalTestEnvironment(new PlatformNode(stallJournal));

void *logLines(void *argument) {
  unsigned long count = 0;
  std::memcpy(&count, argument, sizeof count);
  for (unsigned long i = 0; i < count; ++i)
    AaSysLogPrint(2, "line %lu of a storm that does not end before all of it has been said", i);
  return nullptr;
}

}  // namespace

TEST(LogStorm, NeitherStopsWhoLogsNorGrows) {
  ASSERT_EQ(AaStartupCeStartup(), 0);
  constexpr unsigned long EUS = 4;
  constexpr unsigned long LINES_OF_EACH = STORM_LINES / EUS;
  logLines(const_cast<unsigned long *>(&EUS));  // what is made once is made before the measure is taken
  const std::string self = std::to_string(getpid());
  const unsigned long before = anonymousKib(self);
  ASSERT_GT(before, 0U);
  uint32_t id = 0;
  for (unsigned long i = 0; i < EUS; ++i) {
    ASSERT_EQ(AaProEuCreateAndStartJoinable(&id, "storm", logLines, 4096, 10, &LINES_OF_EACH, sizeof LINES_OF_EACH, 1),
              0);
  }
  // Joins the EUs: they end although the journal takes nothing any more.
  EXPECT_EQ(AaStartupCeShutdown(), 0);
  if (MEMORY_TELLS) {
    EXPECT_LT(anonymousKib(self), before + MAX_GROWTH_KIB);
  }
  // What the store had no time for is counted, not forgotten; the ring holds the latest.
  EXPECT_GT(PlatformNode::countEvents(orvtest::LOG_EVENT, 2, "of a storm"), 1000U);
}
