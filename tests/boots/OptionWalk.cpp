#include "OptionWalk.h"

#include <string_view>

namespace boots {
namespace {

using Kind = Option::Kind;

enum class Takes { NOTHING, PERHAPS, ARGUMENT };

struct LongOption {
  std::string_view name;
  Takes takes;
  Kind kind;
};

constexpr LongOption LONG_OPTIONS[] = {
    {"verbose", Takes::NOTHING, Kind::VERBOSE},
    {"startup", Takes::PERHAPS, Kind::STARTUP},
    {"config", Takes::ARGUMENT, Kind::TAGS},
    {"config_short", Takes::ARGUMENT, Kind::SHORT_TAGS},
};

class Walk {
 public:
  explicit Walk(const std::vector<std::string> &arguments) : arguments_(arguments) {}

  std::vector<Option> all() {
    while (next_ < arguments_.size()) {
      const std::string &argument = arguments_[next_++];
      if (argument == "--") break;
      if (argument.starts_with("--")) {
        longOption(std::string_view(argument).substr(2));
      } else if (argument.size() > 1 && argument[0] == '-') {
        shortOptions(std::string_view(argument).substr(1));
      }
    }
    return std::move(options_);
  }

 private:
  void diagnostic(const std::string &text) {
    options_.push_back({Kind::DIAGNOSTIC, "ORVDaemonExe: " + text});
  }

  void shortOptions(std::string_view letters) {
    while (!letters.empty()) {
      const char letter = letters.front();
      letters.remove_prefix(1);
      if (letter == 'v' || letter == 'h') {
        options_.push_back({letter == 'v' ? Kind::VERBOSE : Kind::HELP, std::nullopt});
        continue;
      }
      if (letter != 'c' && letter != 's') {
        diagnostic(std::string("invalid option -- '") + letter + "'");
        continue;
      }
      std::optional<std::string> argument;
      if (!letters.empty()) {
        argument = std::string(letters);
      } else if (next_ < arguments_.size()) {
        argument = arguments_[next_++];
      }
      if (argument) {
        options_.push_back({letter == 'c' ? Kind::TAGS : Kind::SHORT_TAGS, argument});
      } else {
        diagnostic(std::string("option requires an argument -- '") + letter + "'");
      }
      return;
    }
  }

  void longOption(std::string_view text) {
    const std::string_view name = text.substr(0, text.find('='));
    std::vector<const LongOption *> fits;
    for (const LongOption &option : LONG_OPTIONS) {
      if (option.name == name) {
        fits = {&option};
        break;
      }
      if (option.name.starts_with(name)) fits.push_back(&option);
    }
    if (fits.empty()) {
      diagnostic("unrecognized option '--" + std::string(text) + "'");
    } else if (fits.size() > 1) {
      std::string possibilities;
      for (const LongOption *option : fits)
        possibilities += " '--" + std::string(option->name) + "'";
      diagnostic("option '--" + std::string(text) + "' is ambiguous; possibilities:" + possibilities);
    } else {
      std::optional<std::string> value;
      if (name.size() < text.size()) value = std::string(text.substr(name.size() + 1));
      take(*fits.front(), value);
    }
  }

  void take(const LongOption &option, std::optional<std::string> value) {
    const std::string name = "option '--" + std::string(option.name) + "'";
    if (value && option.takes == Takes::NOTHING) {
      diagnostic(name + " doesn't allow an argument");
      return;
    }
    if (!value && option.takes == Takes::ARGUMENT) {
      if (next_ == arguments_.size()) {
        diagnostic(name + " requires an argument");
        return;
      }
      value = arguments_[next_++];
    }
    options_.push_back({option.kind, value});
  }

  const std::vector<std::string> &arguments_;
  size_t next_ = 0;
  std::vector<Option> options_;
};

}  // namespace

std::vector<Option> walkOptions(const std::vector<std::string> &arguments) {
  return Walk(arguments).all();
}

}  // namespace boots
