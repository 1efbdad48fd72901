// Which node a public key stands for: the trusted keys of the key directory, kept up to date while the gateway runs.
//
// Changes are learned from the kernel, so nobody looks at the files while nothing changes. Where the file cannot be
// used, nobody is trusted until it can.
#ifndef ORV_GATEWAY_TRUSTEDNODES_H
#define ORV_GATEWAY_TRUSTEDNODES_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Descriptor.h"
#include "KeyFiles.h"

namespace orv::gateway {

class TrustedNodes {
 public:
  explicit TrustedNodes(std::string keyDirectory);

  // To be polled for POLLIN; -1 where the directory cannot be watched, and watchError is then the errno.
  int descriptor() const {
    return watch_.get();
  }
  int watchError() const {
    return watchError_;
  }
  // Takes what the descriptor has to say. True when the keys may have changed and were read again.
  bool changed();
  // Reads the file. The result is of interest to a person.
  Status read();

  std::optional<uint16_t> nodeOf(const Key &key) const;
  std::optional<Key> keyOf(uint16_t nid) const;

 private:
  std::string keyDirectory_;
  Descriptor watch_;
  int watchError_ = 0;
  std::vector<TrustedKey> keys_;
};

}  // namespace orv::gateway

#endif
