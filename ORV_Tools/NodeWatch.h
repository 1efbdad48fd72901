// A node that is looked at for long: its store, which another may take the place of, and what to wake up for.
//
// The kernel tells of each change of the store's file, so that waiting costs nothing while nothing happens. A daemon
// that is started anew goes on with the store that there is, or makes a new one (its service manager has removed the
// node directory, or the file was damaged); the watch then changes over when everything of the old one has been read.
#ifndef ORV_TOOLS_NODEWATCH_H
#define ORV_TOOLS_NODEWATCH_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "Descriptor.h"
#include "NodeStore.h"
#include "Status.h"

namespace orv {

// For one thread of a process that looks at no other node. From the construction on SIGINT, SIGTERM, SIGWINCH and
// SIGTSTP do what `wait` says and nothing else.
class NodeWatch {
 public:
  explicit NodeWatch(std::string nodeDirectory);
  ~NodeWatch();
  NodeWatch(const NodeWatch &) = delete;
  NodeWatch &operator=(const NodeWatch &) = delete;

  // The store of the node; null where there is none, or none that can be read. It stays the same until `changeOver`.
  const NodeStore *store() const {
    return store_.get();
  }

  // Opens the store that is there now, where that is another than `store()`; success as well where there is nothing to
  // change over to. Fails where there is none, with ENOENT, which leaves everything as it is; and where what is there
  // cannot be read, after which there is no store.
  Status changeOver();

  // Whether another store is in the place of `store()`: what the old one tells can be read to its end, and then
  // `changeOver` opens the other.
  bool isReplaced() const;

  enum class Woken {
    CHANGED,      // the store has been written to, or may have been
    TIME,         // the limit
    END,          // SIGINT or SIGTERM
    RESIZED,      // SIGWINCH: the terminal has another size
    SUSPEND,      // SIGTSTP: the terminal's user wants his terminal back for a while
    KEY,          // standard input has something; only with `watchInput`
    READER_GONE,  // nobody reads standard output any more
  };

  // Waits until there is something to do; at most `limit`, and briefly only where there is no store to be told of.
  // Changes that come close together wake once.
  Woken wait(std::chrono::milliseconds limit);

  // Keys on standard input wake as well.
  void watchInput() {
    watchesInput_ = true;
  }

 private:
  Woken takeSignal();
  void watchDirectory();

  std::string directory_;
  std::string file_;
  std::unique_ptr<NodeStore> store_;
  uint64_t fileNumber_ = 0;  // st_ino and st_dev of the file that `store_` is of
  uint64_t fileDevice_ = 0;
  Descriptor signals_;
  Descriptor changes_;
  bool watchesInput_ = false;
};

}  // namespace orv

#endif
