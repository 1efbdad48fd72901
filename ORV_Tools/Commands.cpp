#include "Commands.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include "Clock.h"
#include "DaemonProcessState.h"
#include "HexText.h"
#include "Json.h"
#include "LockWatch.h"
#include "NodePaths.h"
#include "NodeStore.h"
#include "RunRecord.h"
#include "TagList.h"
#include "Words.h"

namespace orv {
namespace {

constexpr std::chrono::milliseconds WAIT_POLL_INTERVAL(20);

using Store = std::unique_ptr<NodeStore>;
using Rows = std::vector<std::vector<std::string>>;

int fail(const Status &failure) {
  complain(failure.message);
  // The store refuses what makes no sense with EINVAL, before it touches anything.
  return failure.code == EINVAL ? EXIT_USAGE : EXIT_FAILED;
}

std::string stateDirectoryOf(const Arguments &arguments) {
  return arguments.stateDirectory.empty() ? stateDirectory() : arguments.stateDirectory;
}

// A whole number as one writes it down, so that a tag reads as it was set: 007 and 0x10 stay texts.
std::optional<uint32_t> parsePlainNumber(const std::string &text) {
  const bool isPlain = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos &&
                       (text.size() == 1 || text[0] != '0');
  return isPlain ? parseNumber(text) : std::nullopt;
}

// Nothing, after having said why, for a value that is not of the type.
std::optional<TagValue> tagValueOf(const Arguments &arguments) {
  const std::string &text = arguments.tagValue;
  if (arguments.tagType == "string") return TagValue{TagType::STRING, 0, text};
  if (arguments.tagType == "auto") {
    const std::optional<uint32_t> number = parsePlainNumber(text);
    return number ? TagValue{TagType::U32, *number, {}} : TagValue{TagType::STRING, 0, text};
  }
  const bool isShort = arguments.tagType == "u16";
  const uint32_t largest = isShort ? std::numeric_limits<uint16_t>::max() : std::numeric_limits<uint32_t>::max();
  const std::optional<uint32_t> number = parseNumber(text);
  if (number && *number <= largest) return TagValue{isShort ? TagType::U16 : TagType::U32, *number, {}};
  complain("\"" + text + "\" is no " + arguments.tagType + " (a number from 0 to " + std::to_string(largest) +
           ", also as 0x...; or set it with --type string)");
  return std::nullopt;
}

// --- JSON -----------------------------------------------------------------------------------------------------------

TagListing listingOf(const NodeStore &store) {
  TagListing listing;
  listing.run = store.run();
  listing.daemonIsAlive = listing.run && daemonIsAlive(*listing.run);
  return listing;
}

// "set", and for a tag that is set all that is known of it.
JsonObject tagStateJson(const NodeStore &store, const std::string &name, const std::optional<Tag> &tag) {
  JsonObject object = tag ? tagFields(listingOf(store), *tag) : JsonObject().text("name", name);
  return object.flag("set", tag.has_value());
}

const char *originName(RadOrigin origin) {
  return origin == RadOrigin::OPERATOR ? "operator" : "configuration";
}

JsonObject radFields(const RadParameter &parameter) {
  JsonObject object;
  object.number("number", parameter.number).flag("set", true).number("value", parameter.value);
  return object.text("origin", originName(parameter.origin));
}

std::string radListJson(const std::vector<RadParameter> &parameters) {
  const auto json = [](const RadParameter &parameter) { return radFields(parameter).str(); };
  return JsonObject().raw("rad", jsonLines(parameters, 0, json)).str() + "\n";
}

}  // namespace

void complain(const std::string &text) {
  std::fprintf(stderr, "orvctl: %s\n", printable(text).c_str());
}

std::optional<uint32_t> parseNumber(const std::string &text) {
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const bool isOctal = !isHexadecimal && text.size() > 1 && text[0] == '0';
  const char *begin = text.data() + (isHexadecimal ? 2 : 0);
  const char *end = text.data() + text.size();
  uint32_t number = 0;
  const auto [last, error] = std::from_chars(begin, end, number, isHexadecimal ? 16 : isOctal ? 8 : 10);
  if (error != std::errc() || last != end) return std::nullopt;
  return number;
}

std::optional<double> parseSeconds(const std::string &text) {
  double seconds = 0;
  const auto [last, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  const bool isNumber = error == std::errc() && last == text.data() + text.size();
  return isNumber && std::isfinite(seconds) && seconds >= 0 ? std::optional(seconds) : std::nullopt;
}

std::string nodeDirectoryOf(const Arguments &arguments) {
  return arguments.nodeDirectory.empty() ? nodeDirectory() : arguments.nodeDirectory;
}

std::unique_ptr<NodeStore> openNode(const Arguments &arguments) {
  const std::string directory = nodeDirectoryOf(arguments);
  Store store;
  Status opened = checkPrivateDirectory(directory);
  if (opened.ok()) opened = NodeStore::open(directory, NodeStore::Access::EXAMINED, store);
  if (opened.ok()) return store;
  complain(opened.code == ENOENT ? "there is no node in " + directory +
                                       " (start it, or name its directory with --node-dir or ORV_NODE_DIR)"
                                 : opened.message);
  return nullptr;
}

int tagSet(const Arguments &arguments, std::string &) {
  const std::optional<TagValue> value = tagValueOf(arguments);
  if (!value) return EXIT_USAGE;
  const Store store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  const LockWatch watch(nodeDirectoryOf(arguments));
  const Status done = store->setTag(arguments.tagName, *value);
  return done.ok() ? EXIT_DONE : fail(done);
}

int tagGet(const Arguments &arguments, std::string &output) {
  const Store store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  const std::optional<Tag> tag = store->tag(arguments.tagName);
  if (arguments.json) {
    output += tagStateJson(*store, arguments.tagName, tag).str() + "\n";
    return tag ? EXIT_DONE : EXIT_NO;
  }
  if (!tag) {
    complain("tag " + arguments.tagName + " is not set");
    return EXIT_NO;
  }
  output += valueText(tag->value) + "\n";
  return EXIT_DONE;
}

int tagUnset(const Arguments &arguments, std::string &) {
  const Store store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  bool wasSet = false;
  {
    const LockWatch watch(nodeDirectoryOf(arguments));
    if (const Status done = store->unsetTag(arguments.tagName, wasSet); !done.ok()) return fail(done);
  }
  if (wasSet) return EXIT_DONE;
  complain("tag " + arguments.tagName + " was not set");
  return EXIT_NO;
}

int tagList(const Arguments &arguments, std::string &output) {
  const Store store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  if (arguments.isLong || arguments.json) {
    TagListing listing = listingOf(*store);
    listing.tags = store->tags();
    output += arguments.json ? tagListJson(listing) : longTagList(listing);
    return EXIT_DONE;
  }
  Rows rows = {{"NAME", "TYPE", "SET BY", "VALUE"}};
  for (const Tag &tag : store->tags()) {
    rows.push_back({printable(tag.name), typeText(tag.value.type), "pid " + std::to_string(tag.setter.pid),
                    printable(valueText(tag.value))});
  }
  output += tableText(rows);
  return EXIT_DONE;
}

int tagWait(const Arguments &arguments, std::string &output) {
  const Store store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  const uint64_t startNs = monotonicNs();
  const auto waitedS = [startNs] {
    return static_cast<double>(monotonicNs() - startNs) / static_cast<double>(NS_PER_S);
  };
  bool isSet = store->tagIsSet(arguments.tagName);
  while (!isSet && !(arguments.timeoutS && waitedS() >= *arguments.timeoutS)) {
    std::this_thread::sleep_for(WAIT_POLL_INTERVAL);
    isSet = store->tagIsSet(arguments.tagName);
  }
  if (arguments.json) {
    JsonObject object = tagStateJson(*store, arguments.tagName, isSet ? store->tag(arguments.tagName) : std::nullopt);
    output += object.number("waited_ms", (monotonicNs() - startNs) / NS_PER_MS).str() + "\n";
  } else if (!isSet) {
    complain("tag " + arguments.tagName + " was not set in time");
  }
  return isSet ? EXIT_DONE : EXIT_NO;
}

int radSet(const Arguments &arguments, std::string &) {
  const Store store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  const LockWatch watch(nodeDirectoryOf(arguments));
  const Status done = store->setRad(arguments.radNumber, arguments.radValue, RadOrigin::OPERATOR);
  return done.ok() ? EXIT_DONE : fail(done);
}

int radGet(const Arguments &arguments, std::string &output) {
  const Store store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  const std::vector<RadParameter> rads = store->rads();
  const auto found = std::find_if(rads.begin(), rads.end(),
                                  [&](const RadParameter &each) { return each.number == arguments.radNumber; });
  if (arguments.json) {
    // What is not set reads as 0.
    output +=
        (found == rads.end() ? JsonObject().number("number", arguments.radNumber).flag("set", false).number("value", 0)
                             : radFields(*found))
            .str() +
        "\n";
    return found == rads.end() ? EXIT_NO : EXIT_DONE;
  }
  if (found == rads.end()) {
    complain("RAD parameter " + hexText(arguments.radNumber) + " is not set and reads as 0");
    return EXIT_NO;
  }
  output += std::to_string(found->value) + "\n";
  return EXIT_DONE;
}

int radList(const Arguments &arguments, std::string &output) {
  const Store store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  if (arguments.json) {
    output += radListJson(store->rads());
    return EXIT_DONE;
  }
  Rows rows = {{"NUMBER", "SET BY", "VALUE"}};
  for (const RadParameter &parameter : store->rads()) {
    rows.push_back({hexText(parameter.number), originName(parameter.origin), std::to_string(parameter.value)});
  }
  output += tableText(rows);
  return EXIT_DONE;
}

// True when the node's own store tells that its daemon died. A node that cannot be looked at counts as alive, so that
// nothing is forgiven that has not happened.
bool daemonDied(const Arguments &arguments) {
  Store store;
  if (!NodeStore::open(nodeDirectoryOf(arguments), NodeStore::Access::EXAMINED, store).ok()) return false;
  const std::optional<RunInfo> run = store->run();
  return run && run->state != RunState::DOWN && !daemonIsAlive(*run);
}

// The count alone on its line, so that a script may compare it; what else there is to know goes on a line below.
int ungraceful(const Arguments &arguments, std::string &output) {
  const std::string directory = stateDirectoryOf(arguments);
  if (arguments.clear) {
    const Status cleared = clearUngraceful(directory, daemonDied(arguments));
    return cleared.ok() ? EXIT_DONE : fail(cleared);
  }
  RunRecord record;
  if (const Status found = readRunRecord(directory, record); !found.ok()) return fail(found);
  const bool nextCountsOneMore = isUpInThisBoot(record) && daemonDied(arguments);
  if (arguments.json) {
    output += JsonObject()
                  .number("count", record.ungracefulCount)
                  .number("resets_in_a_row", record.resetsInARow)
                  .flag("next_start_counts_one_more", nextCountsOneMore)
                  .str() +
              "\n";
    return EXIT_DONE;
  }
  output += std::to_string(record.ungracefulCount) + "\n";
  if (record.resetsInARow != 0) output += "board resets in a row: " + std::to_string(record.resetsInARow) + "\n";
  if (nextCountsOneMore) output += "the daemon died: the next start counts one more\n";
  return EXIT_DONE;
}

}  // namespace orv
