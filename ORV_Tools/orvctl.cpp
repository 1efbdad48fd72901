// orvctl, the operator's tool: looks at a node and changes its tags, RAD parameters, run record and keys, and rehearses
// the start-up of a node that is not there yet.
//
// Reads and writes the files of the node itself and needs no daemon, so that a node that has died can be looked at too.
#include <signal.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CheckCommand.h"
#include "Commands.h"
#include "ErrorsCommand.h"
#include "KeysCommand.h"
#include "LogCommand.h"
#include "MessageCommand.h"
#include "MessageOptions.h"
#include "Output.h"
#include "ParsedOption.h"
#include "Rehearsal.h"
#include "RehearsalOptions.h"
#include "ReportCommand.h"
#include "ResetCommand.h"
#include "StartupCommands.h"
#include "StatusCommand.h"
#include "Suggestion.h"
#include "Terminal.h"
#include "WhyCommand.h"

namespace {

using orv::Arguments;

constexpr const char *FOOTER =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the answer is no: not set, not in time, not delivered\n"
    "  2  the command makes no sense\n"
    "  3  the system failed: no node there, no permission, no space\n"
    "orvctl rehearse and orvctl check have their own.\n"
    "\n"
    "A value that begins with - goes after --: orvctl tag set NAME -- -v\n"
    "orvctl COMMAND --help tells more of a command.";

using Action = std::function<int(const Arguments &arguments, std::string &output)>;

constexpr const char *REHEARSE = "rehearse";
constexpr const char *CHECK = "check";

// Whether the word before a command is one of the options whose value is a word of its own.
bool takesNextWord(const std::string &word) {
  return word == "--node-dir" || word == "--state-dir" || word == "--color";
}

// The first word that is no option: the command, if there is one of that name.
std::string commandOf(const std::vector<std::string> &words) {
  for (size_t i = 0; i < words.size(); ++i) {
    if (!words[i].starts_with("-")) return words[i];
    if (takesNextWord(words[i])) ++i;
  }
  return "";
}

// The command line: what is allowed, and what it has said.
class CommandLine {
 public:
  CommandLine() {
    app_.require_subcommand(1);
    app_.footer(FOOTER);
    app_.set_help_flag("-h,--help", "Say this");
    addCommonOptions(app_);
    addTagCommands();
    addRadCommands();
    addLog();
    addMessageCommands();
    addStatus();
    addWhy();
    addErrors();
    addReport();
    CLI::App *ungraceful =
        addCommand(app_, "ungraceful", "How often the CE went down without a shutdown", orv::ungraceful);
    ungraceful->add_flag("--clear", arguments_.clear, "Set the count to 0")->excludes(addJson(*ungraceful));
    addResetCommands();
    addKeysCommands();
    addStartup();
    addRehearse();
    addCheck();
  }
  CommandLine(const CommandLine &) = delete;
  CommandLine &operator=(const CommandLine &) = delete;

  CLI::App &app() {
    return app_;
  }
  // Throws CLI::ParseError.
  void parse(std::vector<std::string> words) {
    // To the parser what follows "--" would be no different from what stands before it.
    if (commandOf(words) == REHEARSE) orv::rehearsal::takeDaemonArguments(words, rehearsal_);
    // CLI11 takes the words from the end.
    app_.parse(std::vector<std::string>(words.rbegin(), words.rend()));
  }
  int run(std::string &output) const {
    return action_(arguments_, output);
  }

 private:
  // Before a command or after it: on every level, since a level that hands unknown words up to the one above would take
  // a tag named "status" for the command.
  void addCommonOptions(CLI::App &app) {
    app.add_option("--node-dir", arguments_.nodeDirectory, "Node directory (else ORV_NODE_DIR, else the usual one)")
        ->type_name("DIR");
    app.add_option("--state-dir", arguments_.stateDirectory, "State directory (else ORV_STATE_DIR, else the usual one)")
        ->type_name("DIR");
    app.add_option_function<std::string>("--color", takeColourUse, "auto (on a terminal), always or never")
        ->check(CLI::IsMember({"auto", "always", "never"}).description(""))
        ->type_name("WHEN");
  }

  static void takeColourUse(const std::string &word) {
    orv::useColours(word == "always"  ? orv::ColourUse::ALWAYS
                    : word == "never" ? orv::ColourUse::NEVER
                                      : orv::ColourUse::AUTO);
  }

  CLI::App *addCommand(CLI::App &parent, const std::string &name, const std::string &description,
                       const Action &action) {
    CLI::App *command = parent.add_subcommand(name, description);
    command->parse_complete_callback([this, action] { action_ = action; });
    addCommonOptions(*command);
    return command;
  }

  void addStatus() {
    CLI::App *command = addCommand(
        app_, "status", "What the node is doing, and what has become of its programs",
        [this](const Arguments &arguments, std::string &output) { return orv::status(arguments, status_, output); });
    orv::addStatusOptions(*command, status_);
  }

  void addWhy() {
    CLI::App *command = addCommand(
        app_, "why", "Why a program is not online, or was late",
        [this](const Arguments &arguments, std::string &output) { return orv::why(arguments, why_, output); });
    orv::addWhyOptions(*command, why_);
  }

  void addErrors() {
    CLI::App *command = addCommand(
        app_, "errors", "The errors that the node and its programs have raised",
        [this](const Arguments &arguments, std::string &output) { return orv::errors(arguments, errors_, output); });
    orv::addErrorsOptions(*command, errors_);
  }

  void addReport() {
    CLI::App *command = addCommand(
        app_, "report", "Everything about the node on one page of HTML, to attach to a ticket",
        [this](const Arguments &arguments, std::string &output) { return orv::report(arguments, report_, output); });
    orv::addReportOptions(*command, report_);
  }

  void addLog() {
    CLI::App *command = addCommand(
        app_, "log", "What the node and its programs logged, and what happened to them",
        [this](const Arguments &arguments, std::string &output) { return orv::log(arguments, log_, output); });
    orv::addLogOptions(*command, log_);
  }

  void addKeysCommands() {
    CLI::App *group = app_.add_subcommand("keys", "Keys of the gateway between nodes");
    group->require_subcommand(1);
    addCommonOptions(*group);
    orv::keys::addCommands(*group, keys_,
                           [this](CLI::App &parent, const std::string &name, const std::string &description,
                                  const Action &action) { return addCommand(parent, name, description, action); });
  }

  void addStartup() {
    orv::addStartupCommands(startup_,
                            [this](const std::string &name, const std::string &description, const Action &action) {
                              return addCommand(app_, name, description, action);
                            });
  }

  // No common options: it has no node.
  void addRehearse() {
    CLI::App *command = app_.add_subcommand(REHEARSE, "What the start-up of a node would be like, without a board");
    command->parse_complete_callback([this] {
      action_ = [this](const Arguments &, std::string &output) { return orv::rehearsal::rehearse(rehearsal_, output); };
    });
    orv::rehearsal::addOptions(*command, rehearsal_);
  }

  CLI::Option *addJson(CLI::App &command) {
    return command.add_flag("--json", arguments_.json, "As one JSON object");
  }

  // No common options: it has no node.
  void addCheck() {
    CLI::App *command =
        app_.add_subcommand(CHECK, "What the daemon makes of a definition file or an option, before it does");
    command->parse_complete_callback([this] {
      action_ = [this](const Arguments &, std::string &output) { return orv::checkCommand(check_, output); };
    });
    orv::addCheckOptions(*command, check_);
  }

  void addTagName(CLI::App &command) {
    command.add_option("NAME", arguments_.tagName, "Name of the tag")->required()->type_name("");
  }

  void addTagCommands() {
    CLI::App *tag = app_.add_subcommand("tag", "Tags");
    tag->require_subcommand(1);
    addCommonOptions(*tag);

    CLI::App *set = addCommand(*tag, "set", "Set a tag", orv::tagSet);
    addTagName(*set);
    set->add_option("VALUE", arguments_.tagValue, "Value, 1 where none is given")->type_name("");
    set->add_option("--type", arguments_.tagType,
                    "auto (u32 for a plain number, else string), string, u16 or u32; numbers also as 0x...")
        ->check(CLI::IsMember({"auto", "string", "u16", "u32"}).description(""))
        ->type_name("TYPE");

    CLI::App *get = addCommand(*tag, "get", "Print the value of a tag", orv::tagGet);
    addTagName(*get);
    addJson(*get);
    addTagName(*addCommand(*tag, "unset", "Unset a tag", orv::tagUnset));
    CLI::App *list = addCommand(*tag, "list", "All tags", orv::tagList);
    list->add_flag("--long", arguments_.isLong, "With who set them, when, in which run, and what to beware of");
    list->add_flag("--json", arguments_.json, "The same for programs");

    CLI::App *wait = addCommand(*tag, "wait", "Wait until a tag is set", orv::tagWait);
    addTagName(*wait);
    addJson(*wait);
    orv::addParsed(*wait, "--timeout", "For how long at most (else for ever)", "a number of seconds",
                   [this](const std::string &text) {
                     arguments_.timeoutS = orv::parseSeconds(text);
                     return arguments_.timeoutS.has_value();
                   })
        ->type_name("SECONDS");
  }

  void addRadCommands() {
    CLI::App *rad = app_.add_subcommand("rad", "RAD parameters");
    rad->require_subcommand(1);
    addCommonOptions(*rad);
    CLI::App *set = addCommand(*rad, "set", "Set a parameter", orv::radSet);
    addNumber(*set, "NUMBER", "Number of the parameter, also as 0x...", arguments_.radNumber);
    addNumber(*set, "VALUE", "Value, also as 0x...", arguments_.radValue);
    CLI::App *get = addCommand(*rad, "get", "Print the value of a parameter", orv::radGet);
    addNumber(*get, "NUMBER", "Number of the parameter, also as 0x...", arguments_.radNumber);
    addJson(*get);
    addJson(*addCommand(*rad, "list", "All parameters that are set", orv::radList));
  }

  void addResetCommands() {
    CLI::App *why = addCommand(app_, "why-reset", "How the last run ended, and who asked for it", orv::whyReset);
    why->add_flag("--json", arguments_.json, "As one JSON object, with the last events");
    CLI::App *reset = app_.add_subcommand("reset", "Board resets that the node requests");
    reset->require_subcommand(1);
    addCommonOptions(*reset);
    CLI::App *hold = addCommand(*reset, "hold", "Hold resets off while somebody debugs", orv::resetHold);
    CLI::Option *minutes =
        orv::addParsed(*hold, "MINUTES", "For how long: 1 to 1440 (else 30)", "a number from 1 to 1440",
                       [this](const std::string &text) { return takeHoldMinutes(text); });
    minutes->type_name("");
    hold->add_flag("--off", arguments_.resetHoldOff, "Let resets through again")->excludes(minutes);
    addJson(*addCommand(*reset, "status", "Whether resets are held", orv::resetStatus));
  }

  void addMessageCommands() {
    CLI::App *messages = app_.add_subcommand("msg", "Messages between programs of the node");
    messages->require_subcommand(1);
    addCommonOptions(*messages);
    orv::addSendOptions(
        *addCommand(*messages, "send", "Send a message",
                    [this](const Arguments &arguments, std::string &) { return orv::msgSend(arguments, message_); }),
        message_);
    orv::addListenOptions(
        *addCommand(*messages, "listen", "Print the messages to a CPID as they come",
                    [this](const Arguments &arguments, std::string &) { return orv::msgListen(arguments, message_); }),
        message_);
  }

  void addNumber(CLI::App &command, const std::string &name, const std::string &description, uint32_t &number) {
    orv::addParsed(command, name, description, "a number from 0 to 4294967295",
                   [&number](const std::string &text) {
                     const std::optional<uint32_t> parsed = orv::parseNumber(text);
                     number = parsed.value_or(0);
                     return parsed.has_value();
                   })
        ->required()
        ->type_name("");
  }

  bool takeHoldMinutes(const std::string &text) {
    const std::optional<uint32_t> minutes = orv::parseNumber(text);
    arguments_.resetHoldMin = minutes.value_or(0);
    return minutes && *minutes >= 1 && *minutes <= orv::MAX_RESET_HOLD_MIN;
  }

  CLI::App app_{
      "Looks at a node and its log, changes its tags, RAD parameters, run record and keys, sends and receives "
      "messages, "
      "rehearses a start-up and checks what it is made of.",
      "orvctl"};
  Arguments arguments_;
  orv::LogArguments log_;
  orv::StatusArguments status_;
  orv::WhyArguments why_;
  orv::ErrorsArguments errors_;
  orv::ReportArguments report_;
  orv::MessageArguments message_;
  orv::keys::KeysArguments keys_;
  orv::StartupArguments startup_;
  orv::rehearsal::Arguments rehearsal_;
  orv::CheckArguments check_;
  Action action_;
};

std::vector<std::string> commandNames(const CLI::App &app) {
  std::vector<std::string> names;
  for (const CLI::App *command : app.get_subcommands({}))
    names.push_back(command->get_name());
  return names;
}

// What somebody meant by `word` where a command of `app` belongs, with the words before it; empty where nothing is
// near. A command one level below counts too: "set" is "tag set".
std::string suggestion(const CLI::App &app, const std::string &before, const std::string &word) {
  if (const std::string near = orv::nearestName(word, commandNames(app)); !near.empty()) return before + near;
  for (const CLI::App *group : app.get_subcommands({})) {
    const std::vector<std::string> names = commandNames(*group);
    if (std::find(names.begin(), names.end(), word) != names.end()) return before + group->get_name() + " " + word;
  }
  for (const CLI::App *group : app.get_subcommands({})) {
    const std::string near = orv::nearestName(word, commandNames(*group));
    if (!near.empty()) return before + group->get_name() + " " + near;
  }
  return "";
}

// The sentence for a command that is missing or unknown, or empty where the commands are all right.
std::string commandProblem(const CLI::App &root, const std::vector<std::string> &words) {
  const CLI::App *app = &root;
  std::string before;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::vector<std::string> names = commandNames(*app);
    if (names.empty()) return "";
    if (words[i].starts_with("-")) {
      // The common options are all that can stand before a command.
      if (app->get_option_no_throw(words[i].substr(0, words[i].find('='))) == nullptr) return "";
      if (takesNextWord(words[i])) ++i;
      continue;
    }
    if (std::find(names.begin(), names.end(), words[i]) == names.end()) {
      const std::string meant = suggestion(*app, before, words[i]);
      return "there is no command \"" + before + words[i] + "\" (" +
             (meant.empty() ? "see orvctl --help" : "did you mean \"" + meant + "\"?") + ")";
    }
    app = app->get_subcommand(words[i]);
    before += words[i] + " ";
  }
  const std::vector<std::string> names = commandNames(*app);
  if (names.empty()) return "";
  return "a command is missing: orvctl " + before + CLI::detail::join(names, "|") + " (see orvctl --help)";
}

// The sentence for a command line that was refused.
std::string usageProblem(const CLI::App &app, const std::vector<std::string> &words, const CLI::ParseError &error) {
  if (std::string problem = commandProblem(app, words); !problem.empty()) return problem;
  std::string what = error.what();
  what = what.substr(0, what.find('\n'));
  const std::string command = commandOf(words);
  return what + " (see orvctl " + (command == REHEARSE || command == CHECK ? command + " " : "") + "--help)";
}

int finish(int exitCode, const std::string &output) {
  const int error = orv::writeOutput(output);
  // A reader that has seen enough, such as head, is no failure.
  if (error == 0 || error == EPIPE) return exitCode;
  orv::complain(std::string("cannot write standard output: ") + std::strerror(error));
  return orv::EXIT_FAILED;
}

// Those commands whose 2 would read as an answer have another.
int badUseOf(const std::string &command) {
  if (command == REHEARSE) return orv::rehearsal::EXIT_BAD_USE;
  return command == CHECK ? orv::EXIT_CHECK_BAD_USE : orv::EXIT_USAGE;
}

int runTool(int argc, char **argv) {
  CommandLine commandLine;
  const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
  try {
    commandLine.parse(words);
  } catch (const CLI::CallForHelp &) {
    return finish(orv::EXIT_DONE, commandLine.app().help());
  } catch (const CLI::ParseError &error) {
    orv::complain(usageProblem(commandLine.app(), words, error));
    return badUseOf(commandOf(words));
  }
  std::string output;
  const int exitCode = commandLine.run(output);
  return finish(exitCode, output);
}

}  // namespace

int main(int argc, char **argv) {
  signal(SIGPIPE, SIG_IGN);  // writing reports it
  try {
    return runTool(argc, argv);
  } catch (const std::exception &error) {
    orv::complain(error.what());
    return orv::EXIT_FAILED;
  }
}
