#include "Authenticator.h"

#include <algorithm>
#include <stdexcept>

namespace orv::gateway {
namespace {

// The parts of a question, in their order.
enum Question { VERSION, REQUEST_ID, DOMAIN, ADDRESS, IDENTITY, MECHANISM, CREDENTIALS };

}  // namespace

Authenticator::Authenticator(void *context, const TrustedNodes *trusted, Reports &reports)
    : questions_(context, ZMQ_REP), trusted_(trusted), reports_(reports) {
  if (questions_.bind("inproc://zeromq.zap.01") != 0) {
    throw std::runtime_error(std::string("cannot answer for the handshakes: ") + zmq_strerror(zmq_errno()));
  }
}

void Authenticator::answer() {
  while (const auto question = questions_.receive()) {
    if (question->size() <= MECHANISM) continue;
    const auto textOf = [&](Question part) -> const std::string & { return (*question)[part].bytes; };
    const std::optional<std::string> user = admit(textOf(ADDRESS), textOf(MECHANISM), *question);
    const std::string id = user.value_or("");
    static_cast<void>(questions_.send({textOf(VERSION), textOf(REQUEST_ID), user ? "200" : "400",
                                       user ? "OK" : "not trusted", id, std::string_view()}));
  }
}

std::optional<std::string> Authenticator::admit(const std::string &address, const std::string &mechanism,
                                                const std::vector<Part> &question) {
  if (trusted_ == nullptr) {
    if (mechanism == "NULL" && address.starts_with("127.")) return "";
    reports_.count("address " + address, Cause::BAD_HANDSHAKE);
    return std::nullopt;
  }
  Key key{};
  if (mechanism == "CURVE" && question.size() > CREDENTIALS && question[CREDENTIALS].bytes.size() == key.size()) {
    const std::string &bytes = question[CREDENTIALS].bytes;
    std::copy(bytes.begin(), bytes.end(), key.begin());
    if (trusted_->nodeOf(key)) return hexOf(key);
  }
  reports_.count("address " + address, Cause::UNTRUSTED_KEY, "key " + hexOf(key));
  return std::nullopt;
}

}  // namespace orv::gateway
