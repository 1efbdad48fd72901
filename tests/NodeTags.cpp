// Prints the tags of the node directory that its first argument names, by name, one a line: name, type, value. With the
// second argument --forget it unsets them all instead.
//
// For tests of the daemon's operations, which set tags through libORV.so: a process may open a node store once only, so
// what the library has written is read by another process.
#include <cstdio>
#include <cstring>
#include <memory>

#include "NodeStore.h"

namespace {

void print(const orv::Tag &tag) {
  switch (tag.value.type) {
    case orv::TagType::STRING:
      std::printf("%s string %s\n", tag.name.c_str(), tag.value.text.c_str());
      break;
    case orv::TagType::U16:
      std::printf("%s u16 %u\n", tag.name.c_str(), tag.value.number);
      break;
    case orv::TagType::U32:
      std::printf("%s u32 %u\n", tag.name.c_str(), tag.value.number);
      break;
  }
}

orv::Status forget(orv::NodeStore &store) {
  for (const orv::Tag &tag : store.tags()) {
    bool wasSet = false;
    if (orv::Status status = store.unsetTag(tag.name, wasSet); !status.ok()) return status;
  }
  return orv::Status::success();
}

}  // namespace

int main(int argc, char **argv) {
  const bool forgets = argc == 3 && std::strcmp(argv[2], "--forget") == 0;
  if (argc != 2 && !forgets) return 2;
  std::unique_ptr<orv::NodeStore> store;
  orv::Status status = orv::NodeStore::open(argv[1], orv::NodeStore::Access::EXISTING, store);
  if (status.ok() && forgets) status = forget(*store);
  if (!status.ok()) {
    std::fprintf(stderr, "%s\n", status.message.c_str());
    return 1;
  }
  if (forgets) return 0;
  for (const orv::Tag &tag : store->tags())
    print(tag);
  return 0;
}
