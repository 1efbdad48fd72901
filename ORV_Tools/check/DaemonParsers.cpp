#include "check/DaemonParsers.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ConfigTags.h"
#include "OrvDaemon.h"
#include "StartupOptions.h"

namespace orv::checking {
namespace {

// Catches what is printed on one of the standard streams. The C library's printing functions go through these
// variables, which it allows to be set; nothing that was written before is touched.
class CaughtStream {
 public:
  explicit CaughtStream(FILE *&stream) : stream_(stream), before_(stream) {
    file_ = open_memstream(&text_, &length_);
    if (file_ != nullptr) stream_ = file_;
  }
  ~CaughtStream() {
    stream_ = before_;
    if (file_ != nullptr) std::fclose(file_);
    std::free(text_);
  }
  CaughtStream(const CaughtStream &) = delete;
  CaughtStream &operator=(const CaughtStream &) = delete;

  std::string text() const {
    if (file_ == nullptr) return "";
    std::fflush(file_);
    return {text_, length_};
  }

 private:
  FILE *&stream_;
  FILE *before_;
  FILE *file_ = nullptr;
  char *text_ = nullptr;
  size_t length_ = 0;
};

// An environment variable, put back at the end.
class KeptVariable {
 public:
  explicit KeptVariable(const char *name) : name_(name) {
    if (const char *value = std::getenv(name)) before_ = value;
    unsetenv(name);
  }
  ~KeptVariable() {
    if (before_) {
      setenv(name_, before_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }
  KeptVariable(const KeptVariable &) = delete;
  KeptVariable &operator=(const KeptVariable &) = delete;

  std::optional<std::string> now() const {
    const char *value = std::getenv(name_);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
  }

 private:
  const char *name_;
  std::optional<std::string> before_;
};

std::vector<char> writable(const std::string &text) {
  return {text.c_str(), text.c_str() + std::strlen(text.c_str()) + 1};
}

}  // namespace

Recorded &recorded() {
  static Recorded record;
  return record;
}

std::unique_ptr<StartupReading> readStartup(const std::string &text) {
  const CaughtStream output(stdout);
  const CaughtStream errors(stderr);
  const KeptVariable ceName("ORV_CE_NAME");
  recorded() = {};
  std::memset(&gOrvStartupConfig, 0, sizeof gOrvStartupConfig);
  gNotifyReceiver = 0;
  std::memset(gExeDefString, 0, sizeof gExeDefString);

  std::vector<char> argument = writable(text);
  parseStartupOptions(argument.data());

  auto reading = std::make_unique<StartupReading>();
  // It points into the argument, unless a long master address has run over it.
  const char *protocol = gOrvStartupConfig.sysComGwProtocol;
  const bool isInArgument = protocol >= argument.data() && protocol < argument.data() + argument.size();
  if (isInArgument) reading->sysComGwProtocol = protocol;
  gOrvStartupConfig.sysComGwProtocol = nullptr;
  std::memcpy(&reading->config, &gOrvStartupConfig, sizeof reading->config);
  reading->config.rtConfigFile[sizeof reading->config.rtConfigFile - 1] = '\0';
  reading->ceName = ceName.now();
  reading->notifyReceiver = gNotifyReceiver;
  reading->executables = gExeDefString;
  reading->tags = recorded().tags;
  reading->configFiles = recorded().configFiles;
  reading->errors = errors.text();
  return reading;
}

ExecutablesReading readExecutables(const std::string &text) {
  ExecutablesReading reading;
  std::vector<char> argument = writable(text);
  // The daemon parses what fits into its global record.
  if (argument.size() > EXE_DEF_STRING_SIZE) {
    argument.resize(EXE_DEF_STRING_SIZE);
    argument.back() = '\0';
  }
  reading.isAccepted = parseExeDefs(argument.data(), reading.table) != 0;
  return reading;
}

std::vector<SetTag> readTagList(const std::string &text, bool isShort) {
  recorded() = {};
  std::vector<char> argument = writable(text);
  configTags(argument.data(), isShort ? 1 : 0);
  return recorded().tags;
}

}  // namespace orv::checking
