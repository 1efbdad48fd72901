#include "KeyGeneration.h"

#include <dlfcn.h>

#include <cerrno>
#include <string>

namespace orv::keys {
namespace {

constexpr const char *LIBRARY = "libzmq.so.5";
constexpr size_t TEXT_SIZE = 41;  // a key as the library writes it, with its NUL

using MakePair = int (*)(char *publicText, char *secretText);
using Decode = uint8_t *(*)(uint8_t *bytes, const char *text);

}  // namespace

Status generateKeyPair(KeyPair &pair) {
  void *library = dlopen(LIBRARY, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    return Status::failure(ENOENT, std::string("keys are made by ZeroMQ, which cannot be loaded: ") + dlerror() +
                                       " (install the package libzmq5)");
  }
  const auto makePair = reinterpret_cast<MakePair>(dlsym(library, "zmq_curve_keypair"));
  const auto decode = reinterpret_cast<Decode>(dlsym(library, "zmq_z85_decode"));
  char publicText[TEXT_SIZE] = "";
  char secretText[TEXT_SIZE] = "";
  const bool made = makePair != nullptr && decode != nullptr && makePair(publicText, secretText) == 0 &&
                    decode(pair.publicKey.data(), publicText) != nullptr &&
                    decode(pair.secretKey.data(), secretText) != nullptr;
  return made ? Status::success() : Status::failure(ENOTSUP, "the ZeroMQ library here cannot encrypt");
}

}  // namespace orv::keys
