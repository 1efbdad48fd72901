#include "GatewayNodes.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace {

constexpr uint16_t FIRST_PORT = 15155;

// 127.x.y.z with the bits of the process id: nobody else on this machine has it.
std::string ownAddress() {
  const auto pid = static_cast<uint32_t>(getpid());
  in_addr address{htonl(0x7f000000U | (1U << 23) | (pid & 0x7fffffU))};
  char text[INET_ADDRSTRLEN] = "";
  return inet_ntop(AF_INET, &address, text, sizeof text);
}

// Ports of 127.0.0.1 that nobody has; the kernel gives a port out again only after all others.
std::vector<uint16_t> freePorts(size_t count) {
  std::vector<int> sockets;
  std::vector<uint16_t> ports;
  while (ports.size() < count) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &size) != 0) {
      throw std::runtime_error("no free port");
    }
    sockets.push_back(descriptor);
    ports.push_back(ntohs(address.sin_port));
  }
  for (const int descriptor : sockets)
    close(descriptor);
  return ports;
}

// What the daemon of a node is told in a build with ThreadSanitizer, which does not see how ZeroMQ's threads hand their
// messages to each other: the library is not compiled with it.
std::vector<std::string> sanitizerEnvironment([[maybe_unused]] const TestNode &node) {
#ifdef __SANITIZE_THREAD__
  node.writeFile("suppressions", "race:libzmq.so\n");
  const char *options = std::getenv("TSAN_OPTIONS");
  return {"TSAN_OPTIONS=" + std::string(options == nullptr ? "" : options) +
          " suppressions=" + node.path("suppressions")};
#else
  return {};
#endif
}

}  // namespace

const GatewayPlaces::Place &GatewayPlaces::of(uint16_t nid) const {
  const auto found = std::find_if(nodes.begin(), nodes.end(), [&](const Place &place) { return place.nid == nid; });
  if (found == nodes.end()) throw std::runtime_error("no place for node " + hexText(nid));
  return *found;
}

std::string GatewayPlaces::startupOptions() const {
  std::string slaves;
  for (size_t i = 1; i < nodes.size(); ++i) {
    slaves +=
        (i == 1 ? "" : "#") + hexText(nodes[i].nid) + ":" + nodes[i].address + ":" + std::to_string(nodes[i].port);
  }
  return "masternid=" + hexText(nodes[0].nid) + ",masterip=" + nodes[0].address +
         ",mastergwport=" + std::to_string(nodes[0].port) + ",slavenids=" + slaves;
}

GatewayPlaces ownPlaces() {
  const std::string address = ownAddress();
  return {
      {{MASTER, address, FIRST_PORT}, {FIRST_SLAVE, address, FIRST_PORT + 1}, {SECOND_SLAVE, address, FIRST_PORT + 2}}};
}

GatewayPlaces loopbackPlaces() {
  const std::vector<uint16_t> ports = freePorts(3);
  return {
      {{MASTER, "127.0.0.1", ports[0]}, {FIRST_SLAVE, "127.0.0.1", ports[1]}, {SECOND_SLAVE, "127.0.0.1", ports[2]}}};
}

GatewayNode::GatewayNode(const GatewayPlaces &places, uint16_t nid, const std::string &settings)
    : places_(places), nid_(nid) {
  node_.configure("<gateway address=\"" + places.of(nid).address + "\"" + settings + "/>");
}

void GatewayNode::makeKeys() {
  const CommandResult made = node_.orvctl({"keys", "generate"});
  if (made.output.size() != 1) throw std::runtime_error("no keys were made");
  key_ = made.output[0];
}

void GatewayNode::trust(const GatewayNode &other) const {
  const CommandResult done = node_.orvctl({"keys", "trust", hexText(other.nid()), other.key()});
  if (done.waitStatus != 0) throw std::runtime_error("the key was not trusted");
}

void GatewayNode::start(const std::string &more, const std::vector<std::string> &prefix) {
  ProcessStart start;
  start.arguments = prefix;
  start.arguments.insert(start.arguments.end(),
                         {ORV_DAEMON_EXE, "--startup=nid=" + hexText(nid_) + "," + places_.startupOptions() +
                                              (more.empty() ? "" : "," + more)});
  start.environment = node_.environment();
  for (const std::string &variable : sanitizerEnvironment(node_))
    start.environment.push_back(variable);
  daemon_ = std::make_unique<DaemonProcess>(start);
  daemon_->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
}

void GatewayNode::stop() {
  daemon_->signal(SIGTERM);
  const int waitStatus = daemon_->waitForExit();
  EXPECT_TRUE(WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == 0) << "wait status " << waitStatus;
  EXPECT_EQ(daemon_->errorLines().back(), "OrvDaemon: returned success");
}

void GatewayNode::kill() {
  daemon_->signal(SIGKILL);
  daemon_->waitForExit();
}

std::unique_ptr<DaemonProcess> GatewayNode::program(const std::vector<std::string> &arguments) const {
  ProcessStart start;
  start.arguments = {ORV_MESSAGE_PROGRAM};
  start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
  start.environment = node_.environment();
  return std::make_unique<DaemonProcess>(start);
}

std::vector<std::string> GatewayNode::run(const std::vector<std::string> &arguments) const {
  const auto process = program(arguments);
  process->waitForExit();
  return process->outputLines();
}

std::unique_ptr<DaemonProcess> GatewayNode::receiver(const std::vector<std::string> &arguments) const {
  auto process = program(arguments);
  process->waitForOutputLineWith("user 0x1000");
  return process;
}

void GatewayNode::waitForLine(const std::string &part) const {
  node_.waitForEvent(orv::EventKind::GATEWAY, part);
}

void GatewayNode::waitForConnection(const GatewayNode &other) const {
  waitForLine("gateway: node " + hexText(other.nid()) + ": connected");
}

std::vector<std::string> GatewayNode::lines() const {
  std::vector<std::string> texts;
  for (const orv::Event &event : node_.events()) {
    if (event.kind == orv::EventKind::GATEWAY) texts.push_back(event.text);
  }
  return texts;
}

void trustEachOther(const std::vector<GatewayNode *> &nodes) {
  for (GatewayNode *node : nodes)
    node->makeKeys();
  for (const GatewayNode *node : nodes) {
    for (const GatewayNode *other : nodes) {
      if (other != node) node->trust(*other);
    }
  }
}
