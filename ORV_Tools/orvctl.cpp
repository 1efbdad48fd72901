// orvctl, the operator's tool: looks at a node and changes its tags, RAD parameters, run record and keys, and rehearses
// the start-up of a node that is not there yet.
//
// Reads and writes the files of the node itself and needs no daemon, so that a node that has died can be looked at too.
#include <signal.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CheckCommand.h"
#include "CommandHelp.h"
#include "CommandTree.h"
#include "Commands.h"
#include "Completion.h"
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
#include "Terminal.h"
#include "Usage.h"
#include "WhyCommand.h"

namespace {

using orv::Arguments;

constexpr const char *FOOTER =
    "Example:\n"
    "  orvctl status\n"
    "\n"
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
// What the completions of the shells ask; nobody types it.
constexpr const char *COMPLETE = "complete";

// The command line: what is allowed, and what it has said.
class CommandLine {
 public:
  CommandLine() {
    app_.require_subcommand(1);
    app_.set_help_flag("-h,--help", "Say this");
    app_.set_version_flag("--version", "orvctl " ORV_VERSION, "Say which version this is");
    addCommonOptions(app_);
    addTagCommands();
    addRadCommands();
    addCommandWith("log", "What the node and its programs logged, and what happened to them", log_, orv::log,
                   orv::addLogOptions);
    addMessageCommands();
    addCommandWith("status", "What the node is doing, and what has become of its programs", status_, orv::status,
                   orv::addStatusOptions);
    addCommandWith("why", "Why a program is not online, or was late", why_, orv::why, orv::addWhyOptions);
    addCommandWith("errors", "The errors that the node and its programs have raised", errors_, orv::errors,
                   orv::addErrorsOptions);
    addCommandWith("report", "Everything about the node on one page of HTML, to attach to a ticket", report_,
                   orv::report, orv::addReportOptions);
    CLI::App *ungraceful =
        addCommand(app_, "ungraceful", "How often the CE went down without a shutdown", orv::ungraceful);
    ungraceful->add_flag("--clear", arguments_.clear, "Set the count to 0")->excludes(addJson(*ungraceful));
    addResetCommands();
    addKeysCommands();
    addStartup();
    orv::rehearsal::addOptions(
        *addCommandWithoutNode(REHEARSE, "What the start-up of a node would be like, without a board",
                               [this](std::string &output) { return orv::rehearsal::rehearse(rehearsal_, output); }),
        rehearsal_);
    orv::addCheckOptions(
        *addCommandWithoutNode(CHECK, "What the daemon makes of a definition file or an option, before it does",
                               [this](std::string &output) { return orv::checkCommand(check_, output); }),
        check_);
    addHelp();
    app_.footer(FOOTER);  // here, or the commands would inherit it
    orv::completeHelp(app_);
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
  int run(std::string &output) {
    return action_(arguments_, output);
  }
  // The last word of the command.
  std::string commandOf(const std::vector<std::string> &words) {
    return orv::usage::commandOf(app_, words).get_name();
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

  // A command with options of its own.
  template <typename Options>
  void addCommandWith(const std::string &name, const std::string &description, Options &options,
                      int (*command)(const Arguments &, const Options &, std::string &),
                      void (*addOptions)(CLI::App &, Options &)) {
    addOptions(*addCommand(app_, name, description,
                           [&options, command](const Arguments &arguments, std::string &output) {
                             return command(arguments, options, output);
                           }),
               options);
  }

  // A command without a node, and so without the common options.
  CLI::App *addCommandWithoutNode(const std::string &name, const std::string &description,
                                  const std::function<int(std::string &output)> &action) {
    CLI::App *command = app_.add_subcommand(name, description);
    command->parse_complete_callback(
        [this, action] { action_ = [action](const Arguments &, std::string &output) { return action(output); }; });
    return command;
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

  // What helps with the tool itself.
  void addHelp() {
    addCommandWithoutNode("help", "How a command is used", [this](std::string &output) { return sayHelp(output); })
        ->add_option("COMMAND", helpWords_, "The command, such as tag set")
        ->type_name("");
    CLI::App *completions =
        addCommandWithoutNode("completions", "The completion of commands for a shell", [this](std::string &output) {
          output += orv::completion::scriptOf(shell_);
          return orv::EXIT_DONE;
        });
    completions->add_option("SHELL", shell_, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}).description(""))
        ->type_name("");
  }

  int sayHelp(std::string &output) {
    const std::string problem = orv::usage::commandProblemOf(app_, helpWords_);
    if (!problem.empty()) {
      orv::complain(problem);
      return orv::EXIT_USAGE;
    }
    app_.clear();  // what has been parsed would say how "help" itself is used
    const CLI::App &command = orv::usage::commandOf(app_, helpWords_);
    const CLI::App *const parent = command.get_parent();
    output += command.help(parent == nullptr ? "" : orv::commandtree::pathOf(*parent));
    return orv::EXIT_DONE;
  }

  CLI::Option *addJson(CLI::App &command) {
    return command.add_flag("--json", arguments_.json, "As one JSON object");
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
    orv::addParsedValue(*wait, "--timeout", "For how long at most (else for ever)", "a number of seconds",
                        arguments_.timeoutS, orv::parseSeconds)
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
    const auto parseMinutes = [](const std::string &text) {
      const std::optional<uint32_t> number = orv::parseNumber(text);
      return number && *number >= 1 && *number <= orv::MAX_RESET_HOLD_MIN ? number : std::nullopt;
    };
    CLI::Option *minutes = orv::addParsedValue(*hold, "MINUTES", "For how long: 1 to 1440 (else 30)",
                                               "a number from 1 to 1440", arguments_.resetHoldMin, parseMinutes);
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
    orv::addParsedValue(command, name, description, "a number from 0 to 4294967295", number, orv::parseNumber)
        ->required()
        ->type_name("");
  }

  CLI::App app_{
      "Looks at a node and its log, changes its tags, RAD parameters, run record and keys, sends and receives "
      "messages, rehearses a start-up and checks what it is made of.",
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
  std::vector<std::string> helpWords_;
  std::string shell_;
  Action action_;
};

// The sentence for a command line that was refused. What stands behind "--" of a rehearsal is not ours to judge.
std::string problemOf(CommandLine &commandLine, const std::vector<std::string> &words, const CLI::ParseError &error) {
  if (std::string problem = orv::usage::problemOf(commandLine.app(), words); !problem.empty()) return problem;
  const std::string what = error.what();
  return what.substr(0, what.find('\n')) + orv::usage::helpHint(orv::usage::commandOf(commandLine.app(), words));
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
  std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
  if (words.size() > 2 && words[0] == COMPLETE && words[1] == "--") {
    words.erase(words.begin(), words.begin() + 2);
    return finish(orv::EXIT_DONE, orv::completion::candidatesFor(commandLine.app(), words));
  }
  try {
    commandLine.parse(words);
  } catch (const CLI::CallForHelp &) {
    const std::string problem = orv::usage::commandProblemOf(commandLine.app(), words);
    if (problem.empty()) return finish(orv::EXIT_DONE, commandLine.app().help());
    orv::complain(problem);
    return orv::EXIT_USAGE;
  } catch (const CLI::CallForVersion &version) {
    return finish(orv::EXIT_DONE, std::string(version.what()) + "\n");
  } catch (const CLI::ParseError &error) {
    orv::complain(problemOf(commandLine, words, error));
    return badUseOf(commandLine.commandOf(words));
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
