// What the command line has to bring about, from its text alone: console lines and calls in their order, and what the
// start-up goes by later.
#ifndef ORV_BOOTS_EXPECTEDOPTIONS_H
#define ORV_BOOTS_EXPECTEDOPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Rules.h"

namespace boots {

struct Step {
  Rule rule;
  std::string text;
  bool answered = false;  // a call, to which the platform answers with a number
};

struct ExpectedOptions {
  std::vector<Step> steps;
  bool any = false;  // options, wrong ones included

  // The start-up record, from the platform's defaults on.
  uint16_t nid = 0;
  uint16_t masterNid = 0;
  std::string masterIp = "127.0.0.1";
  uint32_t testerPort = 15005;
  uint32_t printPort = 51005;
  uint32_t printIp = 0x7f000001;
  uint32_t btsLogPort = 0;
  uint32_t testerMultiplicity = 0;
  std::optional<std::string> sysComGwProtocol;
  std::string rtConfigFile;

  std::optional<std::string> ceName;
  uint32_t notifyReceiver = 0;
  std::string executables;
};

ExpectedOptions expectOptions(const std::vector<std::string> &arguments);

// The trace's line of the start-up record.
std::string startupRecordLine(const ExpectedOptions &options);

}  // namespace boots

#endif
