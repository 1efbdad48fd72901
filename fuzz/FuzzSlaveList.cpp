// One list of slave nodes, and its first item once more at a position of its own.
#include <arpa/inet.h>

#include "FuzzNode.h"
#include "StartupOptions.h"

using orvfuzz::require;

namespace {

// The tag's name as it is set: cut to what its buffer holds besides the NUL.
std::string tagName(unsigned slave, const char *field, size_t bufferSize) {
  return ("orv.demo.slave" + std::to_string(slave) + field).substr(0, bufferSize - 1);
}

void checkItem(const std::string &item, unsigned index) {
  std::vector<char> argument = orvfuzz::writable(item);
  const int result = AddSlave(argument.data(), index);
  require(result == 0 || result == 1);
  const std::vector<std::string> fields = orvfuzz::split(item, ":");
  if (fields.size() < 3) require(result == 0);
  if (result == 0) return;
  require(AaConfigTagIsSet(tagName(index + 1, "nid", 20).c_str()) != 0);
  require(AaConfigTagIsSet(tagName(index + 1, "gwport", 23).c_str()) != 0);
  std::string ip;
  require(orvfuzz::readTag(tagName(index + 1, "ip", 19), ip));
  require(ip == fields[1].substr(0, 15));
  in_addr address{};
  require(inet_pton(AF_INET, ip.c_str(), &address) == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  orvfuzz::forgetTagsFromTimeToTime();
  const unsigned index = data[0];
  std::string list = orvfuzz::textOf(data + 1, size - 1);
  std::replace(list.begin(), list.end(), ',', '#');  // a "," would end the list and begin another key
  std::vector<char> argument = orvfuzz::writable("slavenids=" + list);
  parseStartupOptions(argument.data());
  require(AaConfigTagIsSet("orv.demo.numberofslavenodes") != 0);
  checkItem(orvfuzz::split(list, "#")[0], index);
  return 0;
}
