#include "ResetCommand.h"

#include <cerrno>

#include "Clock.h"
#include "FlightRecord.h"
#include "Json.h"
#include "NodePaths.h"
#include "ResetHold.h"
#include "ResetStory.h"
#include "Words.h"

namespace orv {
namespace {

std::string directoryOf(const Arguments &arguments) {
  return arguments.stateDirectory.empty() ? stateDirectory() : arguments.stateDirectory;
}

int fail(const Status &failure) {
  complain(failure.message);
  return failure.code == EINVAL ? EXIT_USAGE : EXIT_FAILED;
}

int releaseHold(const std::string &directory) {
  bool wasHeld = false;
  if (const Status released = releaseResets(directory, wasHeld); !released.ok()) return fail(released);
  if (wasHeld) return EXIT_DONE;
  complain("resets were not held");
  return EXIT_NO;
}

}  // namespace

int whyReset(const Arguments &arguments, std::string &output) {
  const std::string directory = directoryOf(arguments);
  FlightRecord record;
  if (const Status found = readFlightRecord(directory, record); !found.ok()) {
    complain(found.message);
    return EXIT_FAILED;
  }
  const std::optional<ResetStory> story = resetStoryOf(record);
  if (!story) {
    const std::string damaged =
        record.damagedEntries == 0 ? "" : ", and its damaged entries are " + std::to_string(record.damagedEntries);
    complain("no start is recorded in " + directory + damaged + " (name the state directory with --state-dir)");
    return EXIT_NO;
  }
  output += arguments.json ? resetStoryJson(*story) : resetStoryText(*story);
  return EXIT_DONE;
}

int resetHold(const Arguments &arguments, std::string &output) {
  const std::string directory = directoryOf(arguments);
  if (arguments.resetHoldOff) return releaseHold(directory);
  if (const Status held = holdResets(directory, arguments.resetHoldMin); !held.ok()) return fail(held);
  output += "resets are held for " + durationText(uint64_t{arguments.resetHoldMin} * 60) +
            "; orvctl reset hold --off lets them through, and so does a restart of the board\n";
  return EXIT_DONE;
}

int resetStatus(const Arguments &arguments, std::string &output) {
  uint64_t leftNs = 0;
  if (const Status found = resetHoldLeft(directoryOf(arguments), leftNs); !found.ok()) return fail(found);
  if (arguments.json) {
    output += JsonObject().flag("held", leftNs != 0).number("left_ms", leftNs / NS_PER_MS).str() + "\n";
    return leftNs == 0 ? EXIT_NO : EXIT_DONE;
  }
  if (leftNs == 0) {
    output += "resets are not held\n";
    return EXIT_NO;
  }
  // Rounded up, so that what was just held for 30 min reads so.
  output += "resets are held for another " + durationText((leftNs + NS_PER_S - 1) / NS_PER_S) + "\n";
  return EXIT_DONE;
}

}  // namespace orv
