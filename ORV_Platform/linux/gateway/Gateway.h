// The gateway of a node: one thread that carries messages between the node's message sockets and other nodes' gateways.
//
// The thread sleeps until something happens; it has a time to wake up at only while messages are under way, a peer is
// not connected, or something waits to be told.
#ifndef ORV_GATEWAY_GATEWAY_H
#define ORV_GATEWAY_GATEWAY_H

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Arrivals.h"
#include "Authenticator.h"
#include "Descriptor.h"
#include "GatewayInterface.h"
#include "KeyFiles.h"
#include "Listener.h"
#include "LocalDelivery.h"
#include "Peer.h"
#include "Reports.h"
#include "Status.h"
#include "TrustedNodes.h"
#include "Watch.h"

namespace orv::gateway {

class Gateway {
 public:
  // Makes everything and starts the thread. `settings` is not needed afterwards.
  static Status start(const OrvGatewayHost &host, const OrvGatewaySettings &settings,
                      std::unique_ptr<Gateway> &gateway);
  // Stops the thread as orvGatewayStop says.
  ~Gateway();
  Gateway(const Gateway &) = delete;
  Gateway &operator=(const Gateway &) = delete;

 private:
  struct Context {
    Context();
    ~Context();
    Context(const Context &) = delete;
    Context &operator=(const Context &) = delete;
    void *handle;
  };

  Gateway(const OrvGatewayHost &host, const OrvGatewaySettings &settings);
  Status open(const OrvGatewaySettings &settings);
  Status openKeys(const std::string &keyDirectory);
  Status openPeers(const OrvGatewaySettings &settings);
  void startThread();

  void run();
  void wait();
  std::optional<uint64_t> nextMs() const;
  void proceed();
  void readKeys(uint64_t nowMs);
  bool isFinished(uint64_t nowMs);
  void tell(const std::vector<ReportLine> &lines);
  void log(uint32_t severity, const std::string &text);

  OrvGatewayHost host_;
  PeerSettings settings_;
  Reports reports_;
  std::optional<KeyPair> keys_;
  std::unique_ptr<TrustedNodes> trusted_;
  Descriptor stop_;
  uint64_t stopsMs_ = 0;  // when to end at the latest; 0: not to end
  LocalDelivery users_;
  // Everything below has sockets of the context and has to end before it.
  Context context_;
  std::unique_ptr<Authenticator> authenticator_;
  std::unique_ptr<Listener> listener_;
  std::unique_ptr<Arrivals> arrivals_;
  std::vector<std::unique_ptr<Peer>> peers_;
  std::vector<bool> proceeded_;  // which of the peers did so in the last round
  Watch watch_;
  std::thread thread_;
};

}  // namespace orv::gateway

#endif
