#include "PeerConnection.h"

#include <algorithm>
#include <stdexcept>

#include "GatewayWire.h"
#include "SocketOptions.h"

namespace orv::gateway {
namespace {

constexpr uint64_t FIRST_BACKOFF_MS = 100;
constexpr uint64_t LONGEST_BACKOFF_MS = 5000;
constexpr uint64_t ATTEMPT_MS = 5000;

}  // namespace

void PeerConnection::setPeerKey(const std::optional<Key> &key, uint64_t nowMs) {
  if (!needsKey() || (key == peerKey_ && (key || state_ == State::NO_KEY))) return;
  peerKey_ = key;
  close();
  state_ = key ? State::WAITING : State::NO_KEY;
  whenMs_ = nowMs;
  backoffMs_ = 0;
}

bool PeerConnection::open() {
  try {
    socket_ = std::make_unique<ZmqSocket>(context_, ZMQ_DEALER);
    setCommonOptions(*socket_);
    // A socket has one connection in its life: what an old one still holds cannot come out of a new one.
    socket_->set(ZMQ_RECONNECT_IVL, -1);
    socket_->set(ZMQ_CONNECT_TIMEOUT, static_cast<int>(ATTEMPT_MS));
    socket_->set(ZMQ_SNDHWM, static_cast<int>(2 * WINDOW));
    if (needsKey()) {
      socket_->setBytes(ZMQ_CURVE_SERVERKEY, peerKey_->data(), peerKey_->size());
      socket_->setBytes(ZMQ_CURVE_PUBLICKEY, ownKeys_->publicKey.data(), ownKeys_->publicKey.size());
      socket_->setBytes(ZMQ_CURVE_SECRETKEY, ownKeys_->secretKey.data(), ownKeys_->secretKey.size());
    }
    monitor_ = std::make_unique<SocketMonitor>(context_, *socket_, name_ + "-" + std::to_string(++attempts_));
    return socket_->connect(endpoint_) == 0;
  } catch (const std::runtime_error &) {
    return false;  // no descriptors left, for example: the next attempt may find some
  }
}

void PeerConnection::close() {
  monitor_.reset();
  socket_.reset();
}

PeerConnection::Change PeerConnection::fail(Change change, uint64_t nowMs) {
  close();
  backoffMs_ = change == Change::LOST ? 0 : std::clamp(backoffMs_ * 2, FIRST_BACKOFF_MS, LONGEST_BACKOFF_MS);
  state_ = State::WAITING;
  whenMs_ = nowMs + backoffMs_;
  return change;
}

PeerConnection::Change PeerConnection::take(const SocketEvent &event, uint64_t nowMs) {
  switch (event.event) {
    case ZMQ_EVENT_HANDSHAKE_SUCCEEDED:
      state_ = State::UP;
      backoffMs_ = 0;
      return Change::UP;
    case ZMQ_EVENT_HANDSHAKE_FAILED_AUTH:
      return fail(Change::KEY_REFUSED, nowMs);
    case ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL:
    case ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL:
    case ZMQ_EVENT_CLOSED:
    case ZMQ_EVENT_DISCONNECTED:
      return fail(state_ == State::UP ? Change::LOST : Change::NOT_REACHED, nowMs);
    default:
      return Change::NONE;
  }
}

PeerConnection::Change PeerConnection::proceed(uint64_t nowMs) {
  while (monitor_ != nullptr) {
    const std::optional<SocketEvent> event = monitor_->next();
    if (!event) break;
    if (const Change change = take(*event, nowMs); change != Change::NONE) return change;
  }
  if (state_ == State::CONNECTING && nowMs >= whenMs_) return fail(Change::NOT_REACHED, nowMs);
  if (state_ != State::WAITING || nowMs < whenMs_) return Change::NONE;
  if (!open()) return fail(Change::NOT_REACHED, nowMs);
  state_ = State::CONNECTING;
  whenMs_ = nowMs + ATTEMPT_MS;
  return Change::NONE;
}

std::optional<uint64_t> PeerConnection::nextMs() const {
  if (state_ == State::WAITING || state_ == State::CONNECTING) return whenMs_;
  return std::nullopt;
}

bool PeerConnection::send(std::string_view frame) {
  return socket_ != nullptr && socket_->send({frame}) == 0;
}

std::optional<std::string> PeerConnection::receive() {
  if (socket_ == nullptr) return std::nullopt;
  auto parts = socket_->receive();
  if (!parts || parts->size() != 1) return std::nullopt;
  return std::move(parts->front().bytes);
}

}  // namespace orv::gateway
