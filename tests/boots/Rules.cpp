#include "Rules.h"

#include <array>

namespace boots {
namespace {

constexpr auto NAMES = std::to_array<const char *>({
    "the trace is made of times, actors and texts",
    "the build banner comes first",
    "the early start-up, then the readiness notice, before any option",
    "without an option: usage, error line, exit status 1",
    "the usage text",
    "the option parser's own diagnostics",
    "tags of -c and -s are set as given",
    "start-up options act and are acknowledged in order",
    "slaves become tags and are counted",
    "the start-up record holds what the options gave",
    "the CE is started once, and its failure ends the daemon with 1",
    "the start-up EU is created once, and its failure ends the daemon with 1",
    "the shutdown is requested after its line, and the success line comes last",
    "exit status 0 exactly after a whole start-up and shutdown",
    "executable definitions are listed as parsed, at most 3",
    "executables start at once and in order, and a failed EU creation stops them",
    "executables with a tag share one budget in order",
    "an executable that is late is raised once and ends the wait",
    "failed executables skip the applications",
    "an ungraceful count skips the waits and the applications",
    "a repair or reset tag disables the applications",
    "the definition file's name comes from its tag, whose buffer is released",
    "the definition file is read byte by byte and closed before the applications",
    "applications start one after another in the file's order",
    "an application that is late is logged and the board reset asked for",
    "the applications' notice is created and sent",
    "the receiver is notified, and the registration released",
    "semaphore, then handlers, after all start-up work",
    "the start-up is reported complete",
    "the daemon ends after a post and only then",
    "a log line goes once to the console and once to the system log",
    "a tag is tested before the budget, which shrinks by 50 a sleep",
    "the board is reset only with the watchdog tag and without the R&D switch, after 30 s",
    "a program is run as its definition says",
    "a run's outcome is decoded from result and status",
    "a failed executable is raised, and nothing else",
    "a failed application is raised exactly when bit 0 asks",
    "a failed application resets the board exactly when bit 1 asks",
    "the start-up is complete once at most",
    "no more than 3 executables and 64 applications",
    "an EU acts only between its creation and its end",
    "signals meet the action that is armed",
    "what the platform gave is given back",
    "when nothing can happen any more, every EU waits for what never comes",
    "a boot ends as its last line says, and nothing follows",
    "time only passes while everybody waits",
    "tags are set when they were set",
    "R&D parameters read as they are",
    "programs run and end as they behave",
});
static_assert(NAMES.size() == static_cast<size_t>(Rule::COUNT), "a name for each rule");

}  // namespace

const char *ruleName(Rule rule) {
  return NAMES[static_cast<size_t>(rule)];
}

}  // namespace boots
