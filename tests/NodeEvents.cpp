// Prints the events of the node directory that its argument names, one a line: time (CLOCK_MONOTONIC in ns), kind and
// code (all decimal), and text.
//
// For tests of libORV.so: a process may open a node store once only, so what the library has written is read by another
// process.
#include <cstdio>
#include <memory>

#include "NodeStore.h"

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  std::unique_ptr<orv::NodeStore> store;
  const orv::Status status = orv::NodeStore::open(argv[1], orv::NodeStore::Access::EXISTING, store);
  if (!status.ok()) {
    std::fprintf(stderr, "%s\n", status.message.c_str());
    return 1;
  }
  for (const orv::Event &event : store->events()) {
    std::printf("%llu %u %u %s\n", static_cast<unsigned long long>(event.monotonicNs),
                static_cast<unsigned>(event.kind), event.code, event.text.c_str());
  }
  return 0;
}
