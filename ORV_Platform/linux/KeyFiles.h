// The gateway's keys: the node's own pair, and the public keys of the nodes that it trusts.
//
// Two files in the key directory (by default `gateway` in the state directory):
//   own-key        "public=<key>" and "secret=<key>", mode 0600
//   trusted-keys   a line "0x<node id> <key>" for each trusted node, mode 0640
// A key is a Curve25519 key of 32 bytes, written as 64 hexadecimal digits. A node has one key and a key belongs to one
// node. Both files are replaced as a whole, so that a reader needs no lock. A file that somebody else may change, and a
// secret that somebody else may read, is refused: it proves nothing.
#ifndef ORV_LINUX_KEYFILES_H
#define ORV_LINUX_KEYFILES_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Status.h"

namespace orv {

using Key = std::array<uint8_t, 32>;

struct KeyPair {
  Key publicKey{};
  Key secretKey{};
};

struct TrustedKey {
  uint16_t nid = 0;
  Key key{};
};

// The key directory where none is configured.
std::string defaultKeyDirectory(const std::string &stateDirectory);

std::string hexOf(const Key &key);
// Nothing for what is not 64 hexadecimal digits.
std::optional<Key> keyOf(std::string_view hex);

// Reads the node's own pair. Fails with ENOENT where there is none.
Status readKeyPair(const std::string &keyDirectory, KeyPair &keys);
// Writes it; the directory is made where it is missing. Fails with EEXIST where there is one and `replace` is false.
Status writeKeyPair(const std::string &keyDirectory, const KeyPair &keys, bool replace);

// The trusted keys, by node id; none where there is no such file. A malformed file is refused as a whole with EINVAL.
Status readTrustedKeys(const std::string &keyDirectory, std::vector<TrustedKey> &keys);
// Trusts `key` as node `nid`'s, in place of the one that it had. Fails with EEXIST where the key is another node's.
Status trustKey(const std::string &keyDirectory, const TrustedKey &trusted);
Status untrustKey(const std::string &keyDirectory, uint16_t nid, bool &wasTrusted);

}  // namespace orv

#endif
