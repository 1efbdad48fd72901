// A start-up string.
#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <set>

#include "AaStartup.h"
#include "Suggestion.h"
#include "Words.h"
#include "check/CheckRun.h"
#include "check/DaemonParsers.h"
#include "check/FieldChecks.h"
#include "check/OptionChecks.h"
#include "check/ProgramCheck.h"
#include "check/StartupKeys.h"

namespace orv::checking {
namespace {

constexpr CheckSeverity WARNING = CheckSeverity::WARNING;
constexpr CheckSeverity ERROR = CheckSeverity::ERROR;

const std::vector<RecordColumn> COLUMNS = {{"what", "what", false}, {"value", "value", false}};

// What a master address that is too long runs over, in the record's order.
struct Member {
  size_t offset;
  const char *name;
};
constexpr Member BEHIND_MASTER_ADDRESS[] = {
    {offsetof(OrvStartupConfig, testerPort), "the tester port"},
    {offsetof(OrvStartupConfig, printPort), "the print port"},
    {offsetof(OrvStartupConfig, printIp), "the print address"},
    {offsetof(OrvStartupConfig, platformPrivate1), "what is the platform's own"},
    {offsetof(OrvStartupConfig, btsLogPort), "the log port"},
    {offsetof(OrvStartupConfig, testerMultiplicity), "the multiplicity"},
};

std::string overrun(size_t addressLength) {
  const size_t end = offsetof(OrvStartupConfig, masterIp) + addressLength + 1;
  std::string names;
  for (const Member &member : BEHIND_MASTER_ADDRESS) {
    if (member.offset < end) names += (names.empty() ? "" : ", ") + std::string(member.name);
  }
  return names;
}

class StartupCheck {
 public:
  StartupCheck(SourceText &source, const CheckOptions &options, std::vector<Unit> &executables)
      : source_(source), options_(options), executables_(executables), keys_(walkStartup(source.text())) {}

  void check(CheckedInput &input, std::vector<EarlyTag> &earlyTags) {
    for (const WalkedKey &walked : keys_) {
      if (walked.key == nullptr) {
        tellUnknown(walked);
        break;
      }
      checkRepeated(walked);
      checkValue(walked);
    }
    const auto reading = readStartup(std::string(source_.text()));
    input.columns = COLUMNS;
    input.records = startupRows(keys_, *reading);
    for (const SetTag &tag : reading->tags)
      earlyTags.push_back({tag.name, source_.name()});
  }

 private:
  std::string suggestion(const std::string &name) const {
    std::string lower;
    for (const char letter : name)
      lower += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    lower = lower.substr(std::min(lower.find_first_not_of(" \t"), lower.size()));
    std::vector<std::string> names;
    for (const StartupKey &key : startupKeys())
      names.emplace_back(key.name);
    return nearestName(lower, names);
  }

  void tellUnknown(const WalkedKey &walked) {
    const std::string_view behind = source_.text().substr(std::min(walked.whole.end() + 1, source_.text().size()));
    Complaint complaint{ERROR, "unknown-key", "", "the daemon stops reading at a key that it does not know", ""};
    if (!behind.empty()) complaint.why += ": " + quoted(behind) + " is lost as well";
    const std::string name(source_.part(walked.name));
    const std::string near = suggestion(name);
    // What stands behind a comma in a value.
    const bool isValueRest = !walked.hasValue && walked.whole.begin != 0;
    const char *const otherwise = isValueRest
                                      ? "one of the keys of ORVDaemonExe -h; a value without a comma, which ends it"
                                      : "one of the keys of ORVDaemonExe -h";
    complaint.what = walked.whole.length == 0 ? "nothing between two commas" : "there is no key " + quoted(name);
    complaint.instead = !near.empty() ? near : otherwise;
    if (walked.whole.length == 0) complaint.instead = "one comma";
    source_.complain(walked.whole.length == 0 ? walked.whole : walked.name, complaint);
  }

  void checkRepeated(const WalkedKey &walked) {
    const std::string name = walked.key->name;
    if (seen_.insert(name).second) return;
    const bool isList = walked.key->kind == ValueKind::SLAVES;
    source_.complain(walked.name,
                     {WARNING, "repeated-key", "the key " + name + " stands there again",
                      isList ? "the second list goes on at the last slave of the first, whose tags it sets again"
                             : "the last value counts",
                      isList ? "one list of all slaves" : "the key once"});
  }

  void checkValue(const WalkedKey &walked) {
    if (walked.value.length == 0) return tellNoValue(walked);
    const StartupKey &key = *walked.key;
    switch (key.kind) {
      case ValueKind::NUMBER:
        return checkStartupNumber(source_, walked.value, key.number, key.called);
      case ValueKind::TEXT:
        return checkCharacters(source_, walked.value, key.called);
      case ValueKind::MASTER_ADDRESS:
        return checkMasterAddress(walked.value);
      case ValueKind::SLAVES:
        return checkSlavesPart(source_, walked.value, slaveCounter_);
      case ValueKind::CONFIG_FILE:
        return checkFile(walked, MAX_PATH_BYTES);
      case ValueKind::RUN_TIME_FILE:
        return checkFile(walked, sizeof OrvStartupConfig::rtConfigFile - 1);
      case ValueKind::EXECUTABLES:
        return checkExecutableKey(walked);
    }
  }

  // What the daemon does with an empty value differs by key; that nobody means one does not.
  void tellNoValue(const WalkedKey &walked) {
    const StartupKey &key = *walked.key;
    const bool isNumber = key.kind == ValueKind::NUMBER;
    source_.complain(walked.whole, {WARNING, "no-value", std::string("the key ") + key.name + " has no value",
                                    isNumber ? "the daemon takes it for 0" : "the daemon goes on with an empty text",
                                    std::string(key.name) + "=VALUE, or nothing"});
    if (key.kind == ValueKind::EXECUTABLES) executables_.clear();
  }

  void checkMasterAddress(Span value) {
    constexpr size_t ROOM = sizeof OrvStartupConfig::masterIp - 1;
    const std::string text(source_.part(value));
    if (value.length > ROOM) {
      source_.complain({value.begin + ROOM, value.length - ROOM},
                       {ERROR, "master-address-too-long",
                        "the master's address has " + std::to_string(value.length) + " bytes, " +
                            std::to_string(value.length - ROOM) + " more than fit",
                        "it runs over into the start-up record: " + overrun(value.length),
                        "an IPv4 address, of at most " + std::to_string(ROOM) + " bytes"});
      return;
    }
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) == 1) return;
    source_.complain(value, {WARNING, "no-address", "the master's address is no IPv4 address",
                             "the daemon hands it on as it is", "192.168.10.101, for instance"});
  }

  void checkFile(const WalkedKey &walked, size_t room) {
    const Span value = walked.value;
    if (value.length > room) {
      source_.complain({value.begin + room, value.length - room},
                       {ERROR, "cut-field",
                        "the path has " + std::to_string(value.length) + " bytes, " +
                            std::to_string(value.length - room) + " more than fit",
                        "the platform reads another file, or none", "a shorter path"});
      return;
    }
    checkCharacters(source_, value, "path");
    if (!options_.programs) return;
    for (const Complaint &complaint : fileComplaints(std::string(source_.part(value)), options_))
      source_.complain(value, complaint);
  }

  // Of several the last one counts, so the others are looked at for nothing but their texts.
  void checkExecutableKey(const WalkedKey &walked) {
    executables_.clear();
    checkExecutablesPart(source_, walked.value, options_, executables_, nullptr);
  }

  static constexpr size_t MAX_PATH_BYTES = 4095;

  SourceText &source_;
  const CheckOptions &options_;
  std::vector<Unit> &executables_;
  std::vector<WalkedKey> keys_;
  std::set<std::string> seen_;
  unsigned slaveCounter_ = 0;
};

}  // namespace

void CheckRun::checkStartup(const std::string &name, std::string_view text) {
  SourceText &source = addArgument(name, text);
  CheckedInput input;
  input.kind = CheckInputKind::STARTUP;
  input.name = name;
  std::vector<Unit> executables;
  StartupCheck(source, options_, executables).check(input, earlyTags_);
  executables_.insert(executables_.end(), executables.begin(), executables.end());
  result_.inputs.push_back(std::move(input));
}

}  // namespace orv::checking
