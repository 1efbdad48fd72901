// The nodes of the run: as many daemons, each with a node directory, a state directory and a gateway port of its own on
// loopback. The first is the master; each knows all others from its list of slave nodes.
#ifndef ORV_BENCH_NODES_H
#define ORV_BENCH_NODES_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace syscombench {

// The node id of node `index`.
constexpr uint16_t nidOf(size_t index) {
  constexpr size_t FIRST_NID = 0x1001;
  return static_cast<uint16_t>(FIRST_NID + index);
}

class Nodes {
 public:
  // Makes the nodes' directories in `directory` and starts `count` daemons of the program `daemon`. Throws
  // std::exception where that cannot be done.
  Nodes(std::string directory, std::string daemon, size_t count);
  // Ends what is left of them, the hard way.
  ~Nodes();
  Nodes(const Nodes &) = delete;
  Nodes &operator=(const Nodes &) = delete;

  // Waits until every daemon has completed its start-up. Throws std::runtime_error with the end of its log where one
  // does not, or has no gateway.
  void waitUntilUp();

  // Ends all of them with SIGTERM. Returns how many have not ended as they should.
  size_t stop();

  std::string nodeDirectory(size_t index) const {
    return path(index, "node");
  }

 private:
  std::string path(size_t index, const std::string &name) const;
  std::string startup(size_t index) const;
  void start(size_t index, const std::string &daemon);
  void waitUntilUp(size_t index);

  std::string directory_;
  std::vector<uint16_t> ports_;
  std::vector<pid_t> daemons_;
};

}  // namespace syscombench

#endif
