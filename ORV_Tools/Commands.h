// What orvctl does, one function a command. Each returns an exit code; what goes to standard output is appended to
// `output`, and what is wrong is said on standard error.
#ifndef ORV_TOOLS_COMMANDS_H
#define ORV_TOOLS_COMMANDS_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "NodeStore.h"
#include "ResetHold.h"

namespace orv {

constexpr int EXIT_DONE = 0;
constexpr int EXIT_NO = 1;      // the answer is no
constexpr int EXIT_USAGE = 2;   // the command makes no sense
constexpr int EXIT_FAILED = 3;  // the system did not do it

// "orvctl: <text>" on standard error, one line whatever is in the text.
void complain(const std::string &text);

// A number as the configuration file has them: decimal, 0x and hexadecimal, or 0 and octal. Nothing for anything else.
std::optional<uint32_t> parseNumber(const std::string &text);

// A number of seconds, 0 or more, such as 2.5. Nothing for anything else.
std::optional<double> parseSeconds(const std::string &text);

// What the arguments say; each command looks at its own.
struct Arguments {
  std::string nodeDirectory;
  std::string stateDirectory;
  std::string tagName;
  std::string tagValue = "1";
  std::string tagType = "auto";
  std::optional<double> timeoutS;
  uint32_t radNumber = 0;
  uint32_t radValue = 0;
  bool clear = false;
  bool isLong = false;
  bool json = false;
  uint32_t resetHoldMin = DEFAULT_RESET_HOLD_MIN;
  bool resetHoldOff = false;
};

// The node directory that the arguments name, else the usual one.
std::string nodeDirectoryOf(const Arguments &arguments);

// The store of the node; null after having said why not.
std::unique_ptr<NodeStore> openNode(const Arguments &arguments);

int tagSet(const Arguments &arguments, std::string &output);
int tagGet(const Arguments &arguments, std::string &output);
int tagUnset(const Arguments &arguments, std::string &output);
int tagList(const Arguments &arguments, std::string &output);
int tagWait(const Arguments &arguments, std::string &output);
int radSet(const Arguments &arguments, std::string &output);
int radGet(const Arguments &arguments, std::string &output);
int radList(const Arguments &arguments, std::string &output);
int ungraceful(const Arguments &arguments, std::string &output);

}  // namespace orv

#endif
