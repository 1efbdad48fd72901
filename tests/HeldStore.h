// A node's store whose lock somebody else has: whoever wants to write waits until this is gone.
#ifndef ORV_TESTS_HELDSTORE_H
#define ORV_TESTS_HELDSTORE_H

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "StoreEnvironment.h"

class HeldStore {
 public:
  explicit HeldStore(const std::string &nodeDirectory) {
    std::string setAside;
    const orv::Status opened =
        orv::StoreEnvironment::open(nodeDirectory + "/node.mdb", false, false, environment_, setAside);
    if (!opened.ok()) throw std::runtime_error(opened.message);
    transaction_.emplace(*environment_);
    if (transaction_->code() != 0) throw std::runtime_error("the store cannot be held");
  }

 private:
  std::unique_ptr<orv::StoreEnvironment> environment_;
  std::optional<orv::WriteTransaction> transaction_;
};

#endif
