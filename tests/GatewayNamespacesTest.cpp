// A master and two slaves, each in a network namespace of its own as on a machine of its own, joined by virtual cables.
//
//   slave 1 (10.77.1.2) ---- (10.77.1.1) master (10.77.0.1) (10.77.2.1) ---- (10.77.2.2) slave 2
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "GatewayNodes.h"
#include "MountNamespace.h"

namespace {

using Lines = std::vector<std::string>;

// Makes the three namespaces, named where only this process and its children see them. Returns why it cannot be done,
// or nothing.
std::string makeNamespaces() {
  const auto failed = [](const std::string &what) { return what + ": " + std::strerror(errno); };
  if (access("/usr/sbin/ip", X_OK) != 0 && access("/sbin/ip", X_OK) != 0) return "there is no program ip";
  if (!enterMountNamespace()) return failed("no mount namespace");
  if (unshare(CLONE_NEWNET) != 0) return failed("no network namespace");
  if (mount("none", "/run", "tmpfs", 0, nullptr) != 0) return failed("/run cannot be covered");
  const char *const COMMANDS[] = {
      "ip netns add master && ip -n master link set lo up && ip -n master addr add 10.77.0.1/32 dev lo",
      "ip netns add slave1 && ip -n slave1 link set lo up",
      "ip netns add slave2 && ip -n slave2 link set lo up",
      "ip link add c1 netns master type veth peer name c1 netns slave1",
      "ip link add c2 netns master type veth peer name c2 netns slave2",
      "for n in 1 2; do ip -n master addr add 10.77.$n.1/24 dev c$n && ip -n master link set c$n up || exit 1; done",
      "for n in 1 2; do ip -n slave$n addr add 10.77.$n.2/24 dev c$n && ip -n slave$n link set c$n up || exit 1; done",
      "for n in 1 2; do ip -n slave$n route add default via 10.77.$n.1 || exit 1; done",
      "ip netns exec master sh -c 'echo 1 > /proc/sys/net/ipv4/ip_forward'",
  };
  for (const char *command : COMMANDS) {
    if (std::system(("( " + std::string(command) + " ) 2>/dev/null").c_str()) != 0) {
      return std::string("this does not work here: ") + command;
    }
  }
  return "";
}

class GatewayNamespaces : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    missing = new std::string(makeNamespaces());
  }
  static void TearDownTestSuite() {
    delete missing;
  }
  void SetUp() override {
    // Skipped where kernel or container gives no namespaces, and with the reason that it had: there is no other way to
    // a cable that can be pulled. The other gateway tests need none and always run.
    if (!missing->empty()) GTEST_SKIP() << *missing;
  }

  static Lines in(const std::string &name) {
    return {access("/usr/sbin/ip", X_OK) == 0 ? "/usr/sbin/ip" : "/sbin/ip", "netns", "exec", name};
  }
  static void command(const std::string &text) {
    ASSERT_EQ(std::system(text.c_str()), 0) << text;
  }

  static std::string *missing;
  const GatewayPlaces places = {
      {{MASTER, "10.77.0.1", 15155}, {FIRST_SLAVE, "10.77.1.2", 15156}, {SECOND_SLAVE, "10.77.2.2", 15157}}};
};

std::string *GatewayNamespaces::missing = nullptr;

}  // namespace

TEST_F(GatewayNamespaces, InitialisationFinishedMessageOfEachSlaveArrivesAtTheMaster) {
  GatewayNode master(places, MASTER);
  GatewayNode slave1(places, FIRST_SLAVE);
  GatewayNode slave2(places, SECOND_SLAVE);
  trustEachOther({&master, &slave1, &slave2});
  master.start("", in("master"));
  const auto listener = master.receiver();
  const std::string notice = "notifreceiver=" + hexText(addressOf(MASTER));
  slave1.start(notice, in("slave1"));
  slave2.start(notice, in("slave2"));
  const std::string expected = "message 0x1b9d to 0x10111000 from 0x0f011000, payload 0";
  EXPECT_EQ(listener->waitForOutputLineWith("message 0x1b9d", 2), expected);
  EXPECT_EQ(listener->outputLines(), (Lines{"user 0x1000", expected, expected}));
  // The slaves reach each other too.
  const auto atSecond = slave2.receiver();
  EXPECT_EQ(slave1.run({"try", hexText(addressOf(SECOND_SLAVE)), "1"}), Lines{"1 times taken"});
  atSecond->waitForOutputLineWith("message 0x0a10");
  for (GatewayNode *node : {&master, &slave1, &slave2})
    node->stop();
}

TEST_F(GatewayNamespaces, CableThatIsPulledAndPutBackLosesNothing) {
  GatewayNode master(places, MASTER, " deliveryTimeoutS=\"120\"");
  GatewayNode slave1(places, FIRST_SLAVE, " deliveryTimeoutS=\"120\"");
  trustEachOther({&master, &slave1});
  master.start("", in("master"));
  slave1.start("", in("slave1"));
  slave1.waitForConnection(master);
  const auto listener = master.receiver({"count", "2000"});
  const auto sender = slave1.program({"send", hexText(addressOf(MASTER)), "2000"});
  sender->waitForOutputLineWith("5 tenths sent");
  command("ip -n master link set c1 down");
  // The kernel gives a silent connection up in its time.
  slave1.waitForLine("gateway: node 0x1011: connection lost");
  command("ip -n master link set c1 up");
  command("ip -n slave1 route replace default via 10.77.1.1");
  EXPECT_EQ(listener->waitForOutputLineWith("received"), "received 2000: 0 lost, 0 doubled, 0 out of order");
}
