#include "CommandHelp.h"

#include <CLI/CLI.hpp>
#include <string>

#include "CommandTree.h"

namespace orv {
namespace {

struct CommandHelp {
  const char *command;
  const char *example;
  const char *no;  // what exit code 1 means; null where the command has no such answer
};

constexpr CommandHelp HELP[] = {
    {"orvctl tag", "orvctl tag list --long", nullptr},
    {"orvctl tag set", "orvctl tag set app.radio.online", nullptr},
    {"orvctl tag get", "orvctl tag get app.radio.online", "the tag is not set"},
    {"orvctl tag unset", "orvctl tag unset app.radio.online", "the tag was not set"},
    {"orvctl tag list", "orvctl tag list --long", nullptr},
    {"orvctl tag wait", "orvctl tag wait app.radio.online --timeout 30", "the tag was not set in time"},
    {"orvctl rad", "orvctl rad list", nullptr},
    {"orvctl rad set", "orvctl rad set 0x10077 1", nullptr},
    {"orvctl rad get", "orvctl rad get 0x10077", "the parameter is not set"},
    {"orvctl rad list", "orvctl rad list", nullptr},
    {"orvctl log", "orvctl log --severity warning --since 60", "the node has no such EU"},
    {"orvctl msg", "orvctl msg listen --cpid 0x04e7 --count 1", nullptr},
    {"orvctl msg send", "orvctl msg send --to 0x0ff0:0x04e7 --id 7 --text hello", "the message was not delivered"},
    {"orvctl msg listen", "orvctl msg listen --cpid 0x04e7 --count 1 --timeout 10", nullptr},
    {"orvctl status", "orvctl status", nullptr},
    {"orvctl ungraceful", "orvctl ungraceful --clear", nullptr},
    {"orvctl why-reset", "orvctl why-reset", "no start of the node is recorded"},
    {"orvctl reset", "orvctl reset hold 60", nullptr},
    {"orvctl reset hold", "orvctl reset hold 60", "with --off: resets were not held"},
    {"orvctl reset status", "orvctl reset status", "resets are not held"},
    {"orvctl keys", "orvctl keys generate", nullptr},
    {"orvctl keys generate", "orvctl keys generate", "there are keys already"},
    {"orvctl keys show", "orvctl keys show", "the node has no keys"},
    {"orvctl keys trust", "orvctl keys trust 0x2011 \"$KEY_OF_0x2011\"", nullptr},
    {"orvctl keys untrust", "orvctl keys untrust 0x2011", "the node was not trusted"},
    {"orvctl keys list", "orvctl keys list --json", nullptr},
    {"orvctl rehearse", "orvctl rehearse --definitions AppDef.txt --late radio=never", nullptr},
    {"orvctl why", "orvctl why radio", nullptr},
    {"orvctl errors", "orvctl errors --since 3600", nullptr},
    {"orvctl chart", "orvctl chart -o start-up.svg", nullptr},
    {"orvctl blame", "orvctl blame", nullptr},
    {"orvctl compare", "orvctl compare before.json after.json --limit 10",
     "something is slower than --limit allows, or the new start-up is not complete"},
    {"orvctl check", "orvctl check /etc/orv/AppDef.txt", nullptr},
    {"orvctl report", "orvctl report -o node.html", nullptr},
    {"orvctl help", "orvctl help tag set", nullptr},
    {"orvctl completions", "orvctl completions bash >/etc/bash_completion.d/orvctl", nullptr},
};

std::string exitCodesText(const char *no) {
  const std::string one = no == nullptr ? "" : std::string("  1  the answer is no: ") + no + "\n";
  return "Exit codes:\n  0  done\n" + one +
         "  2  the command makes no sense\n  3  the system failed: no node there, no permission, no space";
}

void complete(CLI::App &command) {
  for (CLI::App *each : commandtree::commandsOf(command))
    complete(*each);
  const std::string path = commandtree::pathOf(command);
  for (const CommandHelp &help : HELP) {
    if (path != help.command) continue;
    std::string footer = command.get_footer();
    const bool hasExitCodes = footer.find("Exit codes:\n") != std::string::npos;
    if (!hasExitCodes) footer += (footer.empty() ? "" : "\n\n") + exitCodesText(help.no);
    command.footer(std::string("Example:\n  ") + help.example + "\n\n" + footer);
  }
}

}  // namespace

void completeHelp(CLI::App &root) {
  for (CLI::App *each : commandtree::commandsOf(root))
    complete(*each);
}

}  // namespace orv
