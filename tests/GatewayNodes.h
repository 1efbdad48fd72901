// Nodes with gateways, on this machine: a master and two slaves, each a node of its own with its daemon as a process.
//
// They meet at a loopback address that is this test process's own, so that tests beside each other do not meet. Nodes
// without keys listen on 127.0.0.1 and nowhere else; these get ports that nobody has.
#ifndef ORV_TESTS_GATEWAYNODES_H
#define ORV_TESTS_GATEWAYNODES_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "HexText.h"
#include "TestNode.h"

constexpr uint16_t MASTER = 0x1011;
constexpr uint16_t FIRST_SLAVE = 0x2011;
constexpr uint16_t SECOND_SLAVE = 0x3011;

// The CPID of the first user of a node.
constexpr uint32_t FIRST_CPID = 0x1000;

constexpr uint32_t addressOf(uint16_t nid, uint32_t cpid = FIRST_CPID) {
  return static_cast<uint32_t>(nid) << 16 | cpid;
}
using orv::hexText;

// Where the gateways of the nodes are.
struct GatewayPlaces {
  struct Place {
    uint16_t nid;
    std::string address;
    uint16_t port;
  };
  std::vector<Place> nodes;  // the master first

  const Place &of(uint16_t nid) const;
  // What all daemons are told.
  std::string startupOptions() const;
};

// An address of this process's own, ports 15155 and up.
GatewayPlaces ownPlaces();
// 127.0.0.1, ports that are free now.
GatewayPlaces loopbackPlaces();

class GatewayNode {
 public:
  // `settings`: further attributes of <gateway>, each with a blank in front.
  GatewayNode(const GatewayPlaces &places, uint16_t nid, const std::string &settings = "");

  uint16_t nid() const {
    return nid_;
  }
  const TestNode &files() const {
    return node_;
  }
  TestNode &files() {
    return node_;
  }

  // Makes keys; the public one is kept.
  void makeKeys();
  const std::string &key() const {
    return key_;
  }
  void trust(const GatewayNode &other) const;

  // Starts the daemon, with `more` start-up options, and waits until it is up. `prefix` is a command to run it with.
  void start(const std::string &more = "", const std::vector<std::string> &prefix = {});
  DaemonProcess &daemon() {
    return *daemon_;
  }
  // Ends the daemon gracefully.
  void stop();
  void kill();

  // Starts the program of messages; `run` waits for its end and returns its output.
  std::unique_ptr<DaemonProcess> program(const std::vector<std::string> &arguments) const;
  std::vector<std::string> run(const std::vector<std::string> &arguments) const;
  // A program that has registered as the node's first user.
  std::unique_ptr<DaemonProcess> receiver(const std::vector<std::string> &arguments = {"receive"}) const;

  // Waits for a line of the gateway.
  void waitForLine(const std::string &part) const;
  void waitForConnection(const GatewayNode &other) const;
  // The gateway's lines so far.
  std::vector<std::string> lines() const;

 private:
  const GatewayPlaces places_;
  uint16_t nid_;
  TestNode node_;
  std::string key_;
  std::unique_ptr<DaemonProcess> daemon_;
};

// Makes keys for all nodes and lets each trust all others.
void trustEachOther(const std::vector<GatewayNode *> &nodes);

#endif
