#include "GatewayLoader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "AaStartup.h"
#include "Clock.h"
#include "GatewayInterface.h"
#include "GatewayPlan.h"
#include "HexText.h"
#include "KeyFiles.h"
#include "NodePaths.h"
#include "Platform.h"
#include "StoreWriter.h"
#include "SysComDelivery.h"
#include "SysComUsers.h"

namespace orv {
namespace {

constexpr const char *LIBRARY_NAME = "libORVGateway.so";
constexpr uint32_t MS_PER_S = 1000;

// The daemon's own. Touched by its main thread alone.
struct RunningGateway {
  void *gateway = nullptr;
  OrvGatewayStop stop = nullptr;
};
RunningGateway gRunning;

void logForGateway(uint32_t severity, const char *text) {
  platformLog(severity, text);
}

void recordForGateway(const char *text) {
  Event event;
  event.kind = EventKind::GATEWAY;
  event.text = text;
  recordEvent(std::move(event));
}

void setState(NodeStore &store, const std::string &text) {
  const Status status = store.setTag(GATEWAY_STATE_TAG, {TagType::STRING, 0, text.substr(0, MAX_TAG_TEXT_LENGTH)});
  if (!status.ok()) platformLog(SEVERITY_WARNING, status.message);
}

GatewayRecord recordOfProcess() {
  const OrvStartupConfig &record = gOrvStartupConfig;
  const std::string masterIp(record.masterIp, strnlen(record.masterIp, sizeof record.masterIp));
  return {record.nid, record.masterNid, masterIp, record.sysComGwProtocol == nullptr ? "" : record.sysComGwProtocol};
}

// The library beside this one, so that an installation needs no search path.
std::string libraryPath() {
  Dl_info self{};
  if (dladdr(&gRunning, &self) == 0 || self.dli_fname == nullptr) return LIBRARY_NAME;
  const std::string path = self.dli_fname;
  return path.substr(0, path.rfind('/') + 1) + LIBRARY_NAME;
}

// Never unloaded: ZeroMQ's own threads may still be on their way out.
Status loadLibrary(OrvGatewayStart &start, OrvGatewayStop &stop) {
  void *library = dlopen(libraryPath().c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return Status::failure(ENOENT, std::string("the gateway cannot be loaded: ") + dlerror());
  start = reinterpret_cast<OrvGatewayStart>(dlsym(library, "orvGatewayStart"));
  stop = reinterpret_cast<OrvGatewayStop>(dlsym(library, "orvGatewayStop"));
  if (start != nullptr && stop != nullptr) return Status::success();
  return Status::failure(ENOENT, libraryPath() + " is no gateway");
}

Status runGateway(const GatewayPlan &plan) {
  OrvGatewayStart start = nullptr;
  if (Status status = loadLibrary(start, gRunning.stop); !status.ok()) return status;
  const OrvGatewayHost host = {logForGateway, recordForGateway};
  const std::string nodes = nodeDirectory();
  const std::string keys = plan.keyDirectory.empty() ? defaultKeyDirectory(stateDirectory()) : plan.keyDirectory;
  std::vector<OrvGatewayPeer> peers;
  for (const GatewayPeer &peer : plan.peers)
    peers.push_back({peer.nid, peer.port, peer.address.c_str()});
  OrvGatewaySettings settings{};
  settings.version = ORV_GATEWAY_VERSION;
  settings.nid = gOrvStartupConfig.nid;
  settings.port = plan.port;
  settings.address = plan.address.c_str();
  settings.nodeDirectory = nodes.c_str();
  settings.keyDirectory = keys.c_str();
  settings.queueLimit = plan.queueLimit;
  settings.deliveryTimeoutMs = plan.deliveryTimeoutS * MS_PER_S;
  settings.peers = peers.data();
  settings.peerCount = static_cast<uint32_t>(peers.size());
  char failure[1024] = "";
  const int32_t result = start(&host, &settings, &gRunning.gateway, failure, sizeof failure);
  return result == 0 ? Status::success() : Status::failure(result, failure);
}

// The messages of this process that found the queue to a node full. Never destroyed: EUs may still send while the
// process exits.
struct Refusals {
  struct OfNode {
    uint64_t saidNs = 0;
    uint64_t since = 0;
    uint64_t total = 0;
  };
  std::mutex mutex;
  std::map<uint16_t, OfNode> nodes;
};

Refusals &refusals() {
  static auto *instance = new Refusals;
  return *instance;
}

// What is to be said of them now, which counts as said.
std::string tellRefusals(uint16_t nid, Refusals::OfNode &node) {
  std::string text = "gateway: node " + nidText(nid) + ": " + std::to_string(node.since) +
                     (node.since == 1 ? " message" : " messages") + " over the limit of the queue (" +
                     std::to_string(node.total) + " in all of process " + std::to_string(getpid()) + ")";
  node.since = 0;
  recordForGateway(text.c_str());
  return text;
}

// The sentence for one more of them; empty where it is too soon for another one.
std::string countRefusal(uint16_t nid) {
  Refusals &all = refusals();
  const std::lock_guard lock(all.mutex);
  Refusals::OfNode &node = all.nodes[nid];
  ++node.since;
  ++node.total;
  const uint64_t now = monotonicNs();
  if (node.saidNs != 0 && now - node.saidNs < NS_PER_S) return "";
  node.saidNs = now;
  return tellRefusals(nid, node);
}

// A process that ends says what it has not said yet.
struct LastRefusals {
  LastRefusals() = default;
  ~LastRefusals() {
    try {
      Refusals &all = refusals();
      const std::lock_guard lock(all.mutex);
      for (auto &[nid, node] : all.nodes) {
        if (node.since != 0) platformLog(SEVERITY_WARNING, tellRefusals(nid, node));
      }
    } catch (const std::exception &) {
      // No memory to say it with.
    }
  }
  LastRefusals(const LastRefusals &) = delete;
  LastRefusals &operator=(const LastRefusals &) = delete;
};
const LastRefusals LAST_REFUSALS;

}  // namespace

void startGateway(NodeStore &store) {
  const GatewayRecord record = recordOfProcess();
  if (Status status = checkGatewayProtocol(record.protocol); !status.ok()) {
    platformComplain(SEVERITY_ERROR, status.message);
    setState(store, status.message);
    return;
  }
  const GatewayPlan plan = planGateway(record, [&](const std::string &name) -> std::optional<TagValue> {
    const std::optional<Tag> tag = store.tag(name);
    return tag ? std::optional(tag->value) : std::nullopt;
  });
  if (plan.port == 0 && plan.peers.empty()) return;
  for (const std::string &problem : plan.problems)
    platformComplain(SEVERITY_WARNING, "gateway: " + problem);
  if (plan.port == 0) return;
  const Status status = runGateway(plan);
  if (!status.ok()) platformComplain(SEVERITY_ERROR, status.message + "; messages to other nodes are refused");
  setState(store, status.ok() ? GATEWAY_STATE_UP : status.message);
}

void stopGateway(NodeStore *store) {
  if (gRunning.gateway == nullptr) return;
  gRunning.stop(gRunning.gateway);
  gRunning.gateway = nullptr;
  if (store != nullptr) setState(*store, "it was shut down");
}

Status sendThroughGateway(const MessageHeader &header) {
  const uint16_t nid = nodeOf(header.receiver);
  const int error = sendToGatewaySocket(nodeDirectory(), nid, &header, sizeof header + header.payloadSize);
  if (error == 0) return Status::success();
  if (error == EAGAIN) return Status::failure(EAGAIN, countRefusal(nid));
  // Nobody listens there; anything else is a want of this process's own.
  if (error == ENOENT || error == ECONNREFUSED) return Status::failure(EHOSTUNREACH, noWayText(header, nodeStore()));
  return Status::failure(
      error, messageText(header) + " not delivered: this node's gateway cannot be reached: " + std::strerror(error));
}

}  // namespace orv
