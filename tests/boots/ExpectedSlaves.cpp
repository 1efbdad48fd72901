#include "ExpectedSlaves.h"

#include <string>

#include "HexText.h"
#include "Numbers.h"
#include "Trace.h"

namespace boots {
namespace {

using orv::hexText;
using orv::sim::quoted;

// Of a tag's name, by its buffer.
constexpr size_t NID_NAME = 19;
constexpr size_t IP_NAME = 18;
constexpr size_t PORT_NAME = 22;
constexpr size_t IP_LENGTH = 15;

// Four decimal numbers up to 255 without zeros in front.
bool isAddress(std::string_view text) {
  int parts = 0;
  for (;;) {
    const size_t end = text.find('.');
    const std::string_view part = text.substr(0, end);
    if (part.empty() || part.size() > 3 || (part.size() > 1 && part[0] == '0')) return false;
    uint32_t number = 0;
    for (const char character : part) {
      if (character < '0' || character > '9') return false;
      number = number * 10 + static_cast<uint32_t>(character - '0');
    }
    if (number > 255) return false;
    ++parts;
    if (end == std::string_view::npos) return parts == 4;
    text.remove_prefix(end + 1);
  }
}

void expectSlave(std::string_view item, uint32_t number, std::vector<Step> &steps) {
  const size_t first = item.find(':');
  const size_t second = first == std::string_view::npos ? first : item.find(':', first + 1);
  if (second == std::string_view::npos) return;

  const std::string slave = "slave " + std::to_string(static_cast<int32_t>(number));
  const std::string tag = "orv.demo.slave" + std::to_string(static_cast<int32_t>(number));
  const auto say = [&](const std::string &text) { steps.push_back({Rule::SLAVE_LIST, "out: " + text}); };
  const auto set = [&](const char *call, const std::string &name, const std::string &value) {
    steps.push_back({Rule::SLAVE_LIST, std::string(call) + "(" + quoted(name) + ", " + value + ")", true});
  };

  const auto nid = static_cast<uint16_t>(readSigned(item.substr(0, first), 0).value);
  say("AddSlave/ " + slave + " nid=" + hexText(nid));
  if (nid == 0) return say("Failed to get node id for " + slave);
  set("AaConfigTagSetU16", (tag + "nid").substr(0, NID_NAME), std::to_string(nid));

  const std::string ip(item.substr(first + 1, second - first - 1).substr(0, IP_LENGTH));
  say("AddSlave/ " + slave + " ip=" + ip);
  if (!isAddress(ip)) return say("AddSlave/ Failed to get GW IP for " + slave);
  set("AaConfigTagSetString", (tag + "ip").substr(0, IP_NAME), quoted(ip));

  const uint32_t port = readUnsigned(item.substr(second + 1));
  say("AddSlave/ " + slave + " port=" + std::to_string(static_cast<int32_t>(port)));
  if (port == 0) return say("AddSlave/ Failed to get GW port for " + slave);
  set("AaConfigTagSetU32", (tag + "gwport").substr(0, PORT_NAME), std::to_string(port));
}

}  // namespace

void expectSlaves(std::string_view list, uint32_t &counter, std::vector<Step> &steps) {
  const size_t firstEnd = list.find('#');
  expectSlave(list.substr(0, firstEnd), counter + 1, steps);
  for (size_t at = firstEnd; at != std::string_view::npos;) {
    const size_t end = list.find('#', at + 1);
    const std::string_view item = list.substr(at + 1, end == std::string_view::npos ? end : end - at - 1);
    at = end;
    if (item.empty()) continue;
    ++counter;
    expectSlave(item, counter + 1, steps);
  }
  steps.push_back({Rule::SLAVE_LIST, "err: " + std::to_string(counter + 1) + " slavenids set"});
  steps.push_back({Rule::SLAVE_LIST,
                   "AaConfigTagSetU32(\"orv.demo.numberofslavenodes\", " + std::to_string(counter + 1) + ")", true});
}

}  // namespace boots
