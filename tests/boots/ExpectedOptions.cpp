#include "ExpectedOptions.h"

#include <cstdio>
#include <string_view>

#include "ExpectedSlaves.h"
#include "ExpectedUsage.h"
#include "HexText.h"
#include "Numbers.h"
#include "OptionWalk.h"
#include "Trace.h"

namespace boots {
namespace {

using orv::hexText;
using orv::sim::quoted;

constexpr size_t EXECUTABLES_LENGTH = 255;
constexpr size_t CONFIG_FILE_LENGTH = 4095;

std::string upperHexadecimal(uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%X", number);
  return text;
}

std::string asSigned(uint32_t number) {
  return std::to_string(static_cast<int32_t>(number));
}

uint16_t low16(std::string_view text) {
  return static_cast<uint16_t>(readSigned(text, 0).value);
}

class Expectation {
 public:
  ExpectedOptions of(const std::vector<std::string> &arguments) {
    for (const Option &option : walkOptions(arguments)) {
      options_.any = true;
      act(option);
    }
    return std::move(options_);
  }

 private:
  void act(const Option &option) {
    switch (option.kind) {
      case Option::Kind::HELP:
        for (const char *line : usageLines())
          options_.steps.push_back({Rule::USAGE, std::string("out: ") + line});
        return;
      case Option::Kind::VERBOSE:
        return;
      case Option::Kind::STARTUP:
        return startup(option.argument.value_or(""));
      case Option::Kind::TAGS:
        return tags(*option.argument, false);
      case Option::Kind::SHORT_TAGS:
        return tags(*option.argument, true);
      case Option::Kind::DIAGNOSTIC:
        return say(Rule::OPTION_DIAGNOSTIC, *option.argument);
    }
  }

  // Each line within the text is one of the console's.
  void say(Rule rule, std::string_view text) {
    for (;;) {
      const size_t end = text.find('\n');
      options_.steps.push_back({rule, "err: " + std::string(text.substr(0, end))});
      if (end == std::string_view::npos) return;
      text.remove_prefix(end + 1);
    }
  }

  void call(Rule rule, const std::string &text) {
    options_.steps.push_back({rule, text, true});
  }

  void tags(std::string_view list, bool shortValues) {
    const auto token = [&list] {
      const size_t first = list.find_first_not_of("=,");
      if (first == std::string_view::npos) return std::string_view();
      list.remove_prefix(first);
      const std::string_view result = list.substr(0, list.find_first_of("=,"));
      list.remove_prefix(result.size());
      return result;
    };
    for (;;) {
      const std::string_view name = token();
      const std::string_view value = token();
      if (value.empty()) return;
      const SignedNumber number = readSigned(value, 0);
      const std::string named = "(" + quoted(name) + ", ";
      if (number.outOfRange || number.length != value.size()) {
        call(Rule::TAG_ASSIGNMENT, "AaConfigTagSetString" + named + quoted(value) + ")");
      } else if (shortValues) {
        const auto bits = static_cast<uint16_t>(number.value);
        call(Rule::TAG_ASSIGNMENT, "AaConfigTagSetU16" + named + std::to_string(bits) + ")");
      } else {
        const auto bits = static_cast<uint32_t>(number.value);
        call(Rule::TAG_ASSIGNMENT, "AaConfigTagSetU32" + named + std::to_string(bits) + ")");
      }
    }
  }

  void startup(std::string_view list) {
    uint32_t slaves = 0;
    while (!list.empty()) {
      const size_t end = list.find(',');
      const std::string_view subOption = list.substr(0, end);
      list.remove_prefix(end == std::string_view::npos ? list.size() : end + 1);
      const size_t equals = subOption.find('=');
      const std::string_view key = subOption.substr(0, equals);
      const std::string value(equals == std::string_view::npos ? "" : subOption.substr(equals + 1));
      if (number(key, value) || text(key, value)) continue;
      if (key != "slavenids") return say(Rule::START_OPTION, "Unknown option '" + std::string(subOption) + "'");
      say(Rule::START_OPTION, "Setting slavenids... " + value);
      expectSlaves(value, slaves, options_.steps);
    }
    say(Rule::START_OPTION, "Master NID value in RT startup " + hexText(options_.masterNid, 4));
  }

  bool number(std::string_view key, const std::string &value) {
    const auto ack = [this](const std::string &line) { say(Rule::START_OPTION, line); };
    if (key == "nid") {
      options_.nid = low16(value);
      ack("NID set to " + hexText(options_.nid, 4));
    } else if (key == "masternid") {
      options_.masterNid = low16(value);
      ack("Master NID set to " + hexText(options_.masterNid, 4));
    } else if (key == "testerport") {
      options_.testerPort = readUnsigned(value);
      ack("Tester port set to " + asSigned(options_.testerPort));
    } else if (key == "printport") {
      options_.printPort = readUnsigned(value);
      ack("Print port set to " + asSigned(options_.printPort));
    } else if (key == "printip") {
      options_.printIp = readUnsigned(value);
      ack("Print IP set to " + hexText(options_.printIp, 8));
    } else if (key == "mastergwport") {
      const auto port = static_cast<uint32_t>(readSigned(value, 0).value);
      call(Rule::START_OPTION, "AaConfigTagSetU32(\"orv.demo.mastergwport\", " + std::to_string(port) + ")");
      ack("Master GW port set to " + asSigned(port));
    } else if (key == "tbtscpid") {
      ack("AaTbts CPID " + upperHexadecimal(low16(value)));
      call(Rule::START_OPTION, "AaConfigTagSetU16(\"orv.service.aatbts.cpid\", " + std::to_string(low16(value)) + ")");
    } else if (key == "notifreceiver") {
      options_.notifyReceiver = readUnsigned(value);
      ack("Notify receiver set to " + hexText(options_.notifyReceiver));
    } else if (key == "btslogport") {
      options_.btsLogPort = readUnsigned(value);
      ack("btslogPort set to " + asSigned(options_.btsLogPort));
    } else if (key == "testermultiplicity") {
      options_.testerMultiplicity = readUnsigned(value);
      ack("Multiplicity set to " + asSigned(options_.testerMultiplicity));
    } else {
      return false;
    }
    return true;
  }

  bool text(std::string_view key, const std::string &value) {
    const auto ack = [this](const std::string &line) { say(Rule::START_OPTION, line); };
    if (key == "cename") {
      options_.ceName = value;
      ack("CE name set to " + value);
      call(Rule::START_OPTION, "AaConfigTagSetString(\"sys.ce.name\", " + quoted(value) + ")");
    } else if (key == "masterip") {
      options_.masterIp = value;
      ack("Master IP address set to " + value);
    } else if (key == "configfile") {
      ack("XML CE configure from " + value);
      call(Rule::START_OPTION, "AaConfigTagReadFile(" + quoted(value) + ")");
    } else if (key == "executable") {
      ack("Start executable '" + value + "'");
      options_.executables = value.substr(0, EXECUTABLES_LENGTH);
    } else if (key == "syscomgwprotocol") {
      options_.sysComGwProtocol = value;
      ack("SysComGw protocol '" + value + "'");
    } else if (key == "rtconfigfile") {
      options_.rtConfigFile = value.substr(0, CONFIG_FILE_LENGTH);
      ack("RT XML CE configure from " + options_.rtConfigFile);
    } else {
      return false;
    }
    return true;
  }

  ExpectedOptions options_;
};

}  // namespace

ExpectedOptions expectOptions(const std::vector<std::string> &arguments) {
  return Expectation().of(arguments);
}

std::string startupRecordLine(const ExpectedOptions &options) {
  return "start-up record: nid=" + hexText(options.nid, 4) + " masterNid=" + hexText(options.masterNid, 4) +
         " masterIp=" + quoted(options.masterIp) + " testerPort=" + std::to_string(options.testerPort) +
         " printPort=" + std::to_string(options.printPort) + " printIp=" + hexText(options.printIp) +
         " btsLogPort=" + std::to_string(options.btsLogPort) +
         " testerMultiplicity=" + std::to_string(options.testerMultiplicity) +
         " sysComGwProtocol=" + (options.sysComGwProtocol ? quoted(*options.sysComGwProtocol) : "none") +
         " rtConfigFile=" + quoted(options.rtConfigFile) +
         " ORV_CE_NAME=" + (options.ceName ? quoted(*options.ceName) : "none");
}

}  // namespace boots
