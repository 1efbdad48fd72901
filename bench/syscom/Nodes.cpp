#include "Nodes.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "Children.h"
#include "Descriptor.h"
#include "HexText.h"

namespace syscombench {
namespace {

constexpr unsigned START_LIMIT_MS = 60000;
constexpr unsigned STOP_LIMIT_MS = 60000;
constexpr unsigned LOOK_INTERVAL_MS = 10;

bool isFree(uint16_t port) {
  const orv::Descriptor probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int on = 1;
  setsockopt(probe.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  return bind(probe.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

// Below the range from which the kernel takes the ports of outgoing connections: the nodes' own connections to each
// other must not take a port that a node has yet to listen on.
std::vector<uint16_t> freePorts(size_t count) {
  constexpr uint32_t FIRST = 12000;
  constexpr uint32_t END = 32000;
  std::vector<uint16_t> ports;
  // Runs at the same time begin at different places.
  const uint32_t begin = FIRST + static_cast<uint32_t>(getpid()) * 131 % (END - FIRST);
  for (uint32_t i = 0; i < END - FIRST && ports.size() < count; ++i) {
    const auto port = static_cast<uint16_t>(FIRST + (begin - FIRST + i) % (END - FIRST));
    if (isFree(port)) ports.push_back(port);
  }
  if (ports.size() < count) throw std::runtime_error("too few free ports on loopback");
  return ports;
}

std::string contentOf(const std::string &file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

}  // namespace

Nodes::Nodes(std::string directory, std::string daemon, size_t count)
    : directory_(std::move(directory)), ports_(freePorts(count)) {
  for (size_t index = 0; index < count; ++index)
    start(index, daemon);
}

Nodes::~Nodes() {
  for (const pid_t daemon : daemons_)
    kill(daemon, SIGKILL);
  waitForAll(daemons_, STOP_LIMIT_MS);
}

std::string Nodes::path(size_t index, const std::string &name) const {
  return directory_ + "/" + std::to_string(index) + "/" + name;
}

std::string Nodes::startup(size_t index) const {
  std::string slaves;
  for (size_t other = 1; other < ports_.size(); ++other) {
    slaves += (slaves.empty() ? "" : "#") + orv::nidText(nidOf(other)) + ":127.0.0.1:" + std::to_string(ports_[other]);
  }
  return "--startup=nid=" + orv::nidText(nidOf(index)) + ",masternid=" + orv::nidText(nidOf(0)) +
         ",masterip=127.0.0.1,mastergwport=" + std::to_string(ports_[0]) +
         (slaves.empty() ? "" : ",slavenids=" + slaves);
}

void Nodes::start(size_t index, const std::string &daemon) {
  std::filesystem::create_directories(path(index, ""));
  std::ofstream(path(index, "AppDef.txt")) << "";
  std::ofstream(path(index, "platform.xml"))
      << "<orv><tags><tag name=\"app.hwapi.appcfg.filename\">" << path(index, "AppDef.txt") << "</tag></tags></orv>\n";
  daemons_.push_back(startProgram({daemon, startup(index)},
                                  {"ORV_NODE_DIR=" + nodeDirectory(index), "ORV_STATE_DIR=" + path(index, "state"),
                                   "ORV_CONFIG=" + path(index, "platform.xml")},
                                  path(index, "log")));
}

void Nodes::waitUntilUp() {
  for (size_t index = 0; index < daemons_.size(); ++index)
    waitUntilUp(index);
}

void Nodes::waitUntilUp(size_t index) {
  for (unsigned waitedMs = 0; waitedMs < START_LIMIT_MS && !isInterrupted(); waitedMs += LOOK_INTERVAL_MS) {
    if (contentOf(path(index, "log")).find("CE start-up complete") != std::string::npos) return;
    int waitStatus = 0;
    if (hasEnded(daemons_[index], waitStatus)) {
      daemons_.erase(daemons_.begin() + static_cast<std::ptrdiff_t>(index));
      break;
    }
    sleepMs(LOOK_INTERVAL_MS);
  }
  throw std::runtime_error("node " + std::to_string(index) +
                           " has not come up; its log: " + contentOf(path(index, "log")));
}

size_t Nodes::stop() {
  for (const pid_t daemon : daemons_)
    kill(daemon, SIGTERM);
  const size_t failed = waitForAll(daemons_, STOP_LIMIT_MS);
  daemons_.clear();
  return failed;
}

}  // namespace syscombench
