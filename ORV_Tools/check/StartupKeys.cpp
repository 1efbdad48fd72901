#include "check/StartupKeys.h"

#include <algorithm>
#include <cstring>

#include "HexText.h"

namespace orv::checking {
namespace {

class RowWriter {
 public:
  RowWriter(const std::vector<WalkedKey> &keys, const StartupReading &reading) : keys_(keys), reading_(reading) {}

  std::vector<std::vector<std::string>> rows() {
    const OrvStartupConfig &config = reading_.config;
    constexpr int NID_DIGITS = 4;
    constexpr int ADDRESS_DIGITS = 8;
    member("nid", config.nid, hexText(config.nid, NID_DIGITS));
    member("masternid", config.masterNid, hexText(config.masterNid, NID_DIGITS));
    const std::string masterIp(config.masterIp, strnlen(config.masterIp, sizeof config.masterIp));
    if (has("masterip")) add("masterip", masterIp);
    member("testerport", config.testerPort, std::to_string(config.testerPort));
    member("printport", config.printPort, std::to_string(config.printPort));
    member("printip", config.printIp, hexText(config.printIp, ADDRESS_DIGITS));
    member("btslogport", config.btsLogPort, std::to_string(config.btsLogPort));
    member("testermultiplicity", config.testerMultiplicity, std::to_string(config.testerMultiplicity));
    if (reading_.sysComGwProtocol) add("syscomgwprotocol", *reading_.sysComGwProtocol);
    if (has("rtconfigfile")) add("rtconfigfile", config.rtConfigFile);
    if (has("executable")) add("executable", reading_.executables);
    member("notifreceiver", reading_.notifyReceiver, hexText(reading_.notifyReceiver));
    if (reading_.ceName) add("variable ORV_CE_NAME", *reading_.ceName);
    for (const std::string &file : reading_.configFiles)
      add("reads the file", file);
    addTags();
    return std::move(rows_);
  }

 private:
  bool has(const char *name) const {
    return std::any_of(keys_.begin(), keys_.end(), [name](const WalkedKey &key) {
      return key.key != nullptr && std::strcmp(key.key->name, name) == 0;
    });
  }

  void add(const std::string &name, const std::string &value) {
    rows_.push_back({name, value});
  }

  // A long master address writes into members that have no key.
  void member(const char *name, uint32_t number, const std::string &text) {
    if (number != 0 || has(name)) add(name, text);
  }

  // Of a tag that was set twice the last value.
  void addTags() {
    const std::vector<SetTag> &tags = reading_.tags;
    for (auto tag = tags.begin(); tag != tags.end(); ++tag) {
      const bool isSetAgain =
          std::any_of(tag + 1, tags.end(), [&tag](const SetTag &later) { return later.name == tag->name; });
      if (!isSetAgain) add("tag " + tag->name, tagText(*tag));
    }
  }

  const std::vector<WalkedKey> &keys_;
  const StartupReading &reading_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace

const std::vector<StartupKey> &startupKeys() {
  constexpr StartupNumber NONE = StartupNumber::UNSIGNED;
  static const std::vector<StartupKey> KEYS = {
      {"nid", ValueKind::NUMBER, StartupNumber::BITS_16, "node id"},
      {"testerport", ValueKind::NUMBER, StartupNumber::PORT, "tester port"},
      {"printport", ValueKind::NUMBER, StartupNumber::PORT, "print port"},
      {"printip", ValueKind::NUMBER, StartupNumber::ADDRESS, "print address"},
      {"cename", ValueKind::TEXT, NONE, "name of the CE"},
      {"masternid", ValueKind::NUMBER, StartupNumber::BITS_16, "master's node id"},
      {"masterip", ValueKind::MASTER_ADDRESS, NONE, "master's address"},
      {"mastergwport", ValueKind::NUMBER, StartupNumber::SIGNED_PORT, "master's gateway port"},
      {"slavenids", ValueKind::SLAVES, NONE, "slave nodes"},
      {"configfile", ValueKind::CONFIG_FILE, NONE, "configuration file"},
      {"executable", ValueKind::EXECUTABLES, NONE, "executables"},
      {"tbtscpid", ValueKind::NUMBER, StartupNumber::BITS_16, "CPID"},
      {"notifreceiver", ValueKind::NUMBER, StartupNumber::UNSIGNED, "notify receiver"},
      {"btslogport", ValueKind::NUMBER, StartupNumber::PORT, "log port"},
      {"testermultiplicity", ValueKind::NUMBER, StartupNumber::UNSIGNED, "multiplicity"},
      {"syscomgwprotocol", ValueKind::TEXT, NONE, "protocol"},
      {"rtconfigfile", ValueKind::RUN_TIME_FILE, NONE, "run-time configuration file"},
  };
  return KEYS;
}

std::vector<WalkedKey> walkStartup(std::string_view text) {
  std::vector<WalkedKey> keys;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find(',', begin), text.size());
    WalkedKey walked;
    walked.whole = {begin, end - begin};
    const size_t equals = std::min(text.find('=', begin), end);
    walked.name = {begin, equals - begin};
    walked.hasValue = equals < end;
    const size_t valueBegin = walked.hasValue ? equals + 1 : end;
    walked.value = {valueBegin, end - valueBegin};
    const std::string_view name = text.substr(begin, walked.name.length);
    const auto &all = startupKeys();
    const auto found = std::find_if(all.begin(), all.end(), [name](const StartupKey &key) { return name == key.name; });
    if (found != all.end()) walked.key = &*found;
    keys.push_back(walked);
    if (walked.key == nullptr) break;
    begin = end + 1;
  }
  return keys;
}

std::vector<std::vector<std::string>> startupRows(const std::vector<WalkedKey> &keys, const StartupReading &reading) {
  return RowWriter(keys, reading).rows();
}

std::string tagText(const SetTag &tag) {
  return tag.type == SetTag::Type::STRING ? tag.text : std::to_string(tag.number);
}

const char *tagTypeText(const SetTag &tag) {
  switch (tag.type) {
    case SetTag::Type::STRING:
      return "string";
    case SetTag::Type::U16:
      return "u16";
    case SetTag::Type::U32:
      return "u32";
  }
  return "?";  // not reached
}

}  // namespace orv::checking
