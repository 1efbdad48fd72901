#include "Gateway.h"

#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "Clock.h"
#include "Texts.h"

namespace orv::gateway {
namespace {

constexpr uint32_t SEVERITY_INFO = 2;
constexpr uint32_t SEVERITY_WARNING = 3;
constexpr uint32_t SEVERITY_ERROR = 4;

// How long the end waits for messages that are on their way to connected peers.
constexpr uint64_t ENDING_MS = 2000;

uint64_t clockMs() {
  return monotonicNs() / NS_PER_MS;
}

// A number that no other run of any node has. 0 is none.
uint64_t drawEpoch() {
  uint64_t epoch = 0;
  while (epoch == 0) {
    if (getrandom(&epoch, sizeof epoch, 0) != sizeof epoch) epoch = 0;
  }
  return epoch;
}

bool isLoopback(std::string_view address) {
  return address.starts_with("127.");
}

}  // namespace

Gateway::Context::Context() : handle(zmq_ctx_new()) {
  if (handle == nullptr) throw std::runtime_error("cannot start ZeroMQ");
}

Gateway::Context::~Context() {
  while (zmq_ctx_term(handle) != 0 && zmq_errno() == EINTR) {
  }
}

Gateway::Gateway(const OrvGatewayHost &host, const OrvGatewaySettings &settings)
    : host_(host),
      settings_{settings.nid, drawEpoch(), settings.nodeDirectory, settings.queueLimit, settings.deliveryTimeoutMs},
      stop_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      users_(settings.nodeDirectory, settings.queueLimit) {}

Status Gateway::start(const OrvGatewayHost &host, const OrvGatewaySettings &settings,
                      std::unique_ptr<Gateway> &gateway) {
  try {
    std::unique_ptr<Gateway> made(new Gateway(host, settings));
    if (Status status = made->open(settings); !status.ok()) return status;
    made->startThread();
    gateway = std::move(made);
    return Status::success();
  } catch (const std::runtime_error &error) {
    return Status::failure(EIO, error.what());
  }
}

Status Gateway::open(const OrvGatewaySettings &settings) {
  if (stop_.get() < 0) return Status::failure(errno, "no descriptor for the gateway");
  if (Status status = openKeys(settings.keyDirectory); !status.ok()) return status;
  authenticator_ = std::make_unique<Authenticator>(context_.handle, trusted_.get(), reports_);
  listener_ = std::make_unique<Listener>(context_.handle, keys_ ? &*keys_ : nullptr, reports_);
  const std::string configured = settings.address;
  const std::string address = !keys_ ? "127.0.0.1" : configured.empty() ? "0.0.0.0" : configured;
  if (Status status = listener_->bind(address, settings.port); !status.ok()) return status;
  if (Status status = openPeers(settings); !status.ok()) return status;
  std::set<uint16_t> peers;
  for (const auto &peer : peers_)
    peers.insert(peer->nid());
  arrivals_ = std::make_unique<Arrivals>(settings.nid, peers, trusted_.get(), *listener_, users_, reports_);
  log(SEVERITY_INFO, "gateway: " + nodeText(settings.nid) + " listens on " + address + ":" +
                         std::to_string(settings.port) + (keys_ ? "" : ", without encryption") +
                         ", peers: " + std::to_string(peers.size()));
  if (!keys_) {
    log(SEVERITY_WARNING, std::string("gateway: there are no keys in ") + settings.keyDirectory +
                              ", so only nodes on this machine are reached, at 127.0.0.1 and without encryption (make "
                              "keys with `orvctl keys generate`)");
  }
  return Status::success();
}

Status Gateway::openKeys(const std::string &keyDirectory) {
  KeyPair keys;
  const Status found = readKeyPair(keyDirectory, keys);
  if (found.code == ENOENT) return Status::success();
  // Keys that cannot be used are no reason to go on without any.
  if (!found.ok()) return Status::failure(found.code, "the gateway has no use for its keys: " + found.message);
  if (zmq_has("curve") == 0) return Status::failure(ENOTSUP, "this ZeroMQ library cannot encrypt");
  keys_ = keys;
  trusted_ = std::make_unique<TrustedNodes>(keyDirectory);
  if (const Status read = trusted_->read(); !read.ok()) {
    log(SEVERITY_ERROR, "gateway: no node is trusted: " + read.message);
  }
  if (trusted_->descriptor() < 0) {
    log(SEVERITY_WARNING, "gateway: what becomes trusted, or untrusted, is not seen before the next start: " +
                              keyDirectory + " cannot be watched: " + std::strerror(trusted_->watchError()) +
                              " (more is to be had by the sysctls fs.inotify.*)");
  }
  return Status::success();
}

Status Gateway::openPeers(const OrvGatewaySettings &settings) {
  for (uint32_t i = 0; i < settings.peerCount; ++i) {
    const OrvGatewayPeer &each = settings.peers[i];
    if (!keys_ && !isLoopback(each.address)) {
      log(SEVERITY_WARNING,
          "gateway: " + nodeText(each.nid) + " at " + each.address + " is not reached, since this node has no keys");
      continue;
    }
    const std::string endpoint = "tcp://" + std::string(each.address) + ":" + std::to_string(each.port);
    auto peer =
        std::make_unique<Peer>(context_.handle, settings_, each.nid, endpoint, keys_ ? &*keys_ : nullptr, reports_);
    if (Status status = peer->open(); !status.ok()) return status;
    if (trusted_ != nullptr) {
      const std::optional<Key> key = trusted_->keyOf(each.nid);
      peer->setKey(key, clockMs());
      if (!key) log(SEVERITY_WARNING, "gateway: " + nodeText(each.nid) + " is not reached before its key is trusted");
    }
    peers_.push_back(std::move(peer));
  }
  return Status::success();
}

void Gateway::startThread() {
  // The node's signals are the daemon's own business.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  thread_ = std::thread([this] {
    pthread_setname_np(pthread_self(), "orvGateway");
    run();
  });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Gateway::~Gateway() {
  if (!thread_.joinable()) return;
  const uint64_t one = 1;
  static_cast<void>(!write(stop_.get(), &one, sizeof one));  // cannot fail: nobody has written before
  thread_.join();
}

void Gateway::run() {
  while (!isFinished(clockMs())) {
    wait();
    proceed();
  }
  for (const auto &peer : peers_)
    peer->giveUp();
  tell(reports_.rest());
}

void Gateway::wait() {
  // Behind the peers, the gateway itself.
  const size_t self = peers_.size();
  proceeded_.resize(self, false);
  watch_.begin(self + 1);
  std::vector<zmq_pollitem_t> items = {{authenticator_->handle(), 0, ZMQ_POLLIN, 0},
                                       {listener_->handle(), 0, ZMQ_POLLIN, 0},
                                       {listener_->monitorHandle(), 0, ZMQ_POLLIN, 0}};
  if (stopsMs_ == 0) items.push_back({nullptr, stop_.get(), ZMQ_POLLIN, 0});
  if (trusted_ != nullptr && trusted_->descriptor() >= 0) {
    items.push_back({nullptr, trusted_->descriptor(), ZMQ_POLLIN, 0});
  }
  for (const int descriptor : users_.waiting())
    items.push_back({nullptr, descriptor, ZMQ_POLLOUT, 0});
  watch_.add(self, items, true);
  for (size_t i = 0; i < self; ++i) {
    items.clear();
    peers_[i]->appendTo(items);
    watch_.add(i, items, proceeded_[i]);
  }
  int timeoutMs = -1;
  if (const std::optional<uint64_t> next = nextMs()) {
    const uint64_t now = clockMs();
    timeoutMs = *next <= now ? 0 : static_cast<int>(std::min<uint64_t>(*next - now, INT_MAX));
  }
  watch_.wait(timeoutMs);
}

std::optional<uint64_t> Gateway::nextMs() const {
  std::optional<uint64_t> next = reports_.nextMs();
  const auto consider = [&](std::optional<uint64_t> time) {
    if (time) next = std::min(next.value_or(UINT64_MAX), *time);
  };
  consider(users_.nextDeadlineMs());
  for (const auto &peer : peers_)
    consider(peer->nextMs());
  if (stopsMs_ != 0) consider(stopsMs_);
  return next;
}

void Gateway::proceed() {
  const uint64_t now = clockMs();
  if (trusted_ != nullptr && trusted_->changed()) readKeys(now);
  authenticator_->answer();
  listener_->watch();
  arrivals_->proceed(now);
  for (size_t i = 0; i < peers_.size(); ++i) {
    proceeded_[i] = watch_.isReady(i) || peers_[i]->nextMs().value_or(UINT64_MAX) <= now;
    if (proceeded_[i]) peers_[i]->proceed(now);
  }
  tell(reports_.due(now));
}

void Gateway::readKeys(uint64_t nowMs) {
  if (const Status read = trusted_->read(); !read.ok()) {
    log(SEVERITY_ERROR, "gateway: no node is trusted from here on: " + read.message);
  }
  for (const auto &peer : peers_)
    peer->setKey(trusted_->keyOf(peer->nid()), nowMs);
}

bool Gateway::isFinished(uint64_t nowMs) {
  uint64_t count = 0;
  if (stopsMs_ == 0 && read(stop_.get(), &count, sizeof count) == sizeof count) stopsMs_ = nowMs + ENDING_MS;
  if (stopsMs_ == 0) return false;
  if (nowMs >= stopsMs_) return true;
  return std::all_of(peers_.begin(), peers_.end(), [](const auto &peer) { return peer->isDone(); });
}

void Gateway::tell(const std::vector<ReportLine> &lines) {
  for (const ReportLine &line : lines)
    log(line.isWarning ? SEVERITY_WARNING : SEVERITY_INFO, line.text);
}

void Gateway::log(uint32_t severity, const std::string &text) {
  host_.log(severity, text.c_str());
  host_.event(text.c_str());
}

}  // namespace orv::gateway
