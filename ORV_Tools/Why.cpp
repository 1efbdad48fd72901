#include "Why.h"

#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>

#include "ReadyTag.h"
#include "StatusView.h"
#include "Words.h"

namespace orv {
namespace {

std::string quoted(const std::string &text) {
  return "\"" + printable(text) + "\"";
}

std::string nameOf(const WhyFacts &facts) {
  return printable(facts.program.name);
}

bool isAwaited(const WhyFacts &facts) {
  return facts.program.state == ProgramState::AWAITING_TAG || facts.program.state == ProgramState::LATE;
}

// How every sentence on a program begins that runs and is not online.
std::string notOnline(const WhyFacts &facts) {
  return nameOf(facts) + (facts.program.state == ProgramState::LATE ? " was not online in time: " : " is not online: ");
}

const Tag *ownReadyTag(const WhyFacts &facts) {
  const auto found = std::find_if(facts.ownTags.begin(), facts.ownTags.end(),
                                  [&](const Tag &tag) { return tag.name == readyTagOf(facts.program.name); });
  return found == facts.ownTags.end() ? nullptr : &*found;
}

const Tag *nearMissOf(const WhyFacts &facts, bool own) {
  const auto found = std::find_if(facts.nearMisses.begin(), facts.nearMisses.end(),
                                  [&](const Tag &tag) { return (tag.setter.euName == facts.program.name) == own; });
  return found == facts.nearMisses.end() ? nullptr : &*found;
}

std::string setterText(const Tag &tag) {
  if (!tag.setter.euName.empty()) return "EU " + printable(tag.setter.euName);
  return "pid " + std::to_string(tag.setter.pid) +
         (tag.setter.executable.empty() ? "" : " (" + printable(tag.setter.executable) + ")");
}

std::string lastLineText(const WhyFacts &facts) {
  return facts.lastLines.empty() ? "" : "; its last line was " + quoted(facts.lastLines.back());
}

bool processIs(const WhyFacts &facts, std::string_view states) {
  return facts.process && states.find(facts.process->state) != std::string_view::npos;
}

std::string pidText(const WhyFacts &facts) {
  return "pid " + std::to_string(facts.process->pid);
}

// A program that the shell does not find, and one that it may not run.
constexpr int COMMAND_NOT_FOUND = 127;
constexpr int COMMAND_NOT_EXECUTABLE = 126;

int exitCodeOf(const WhyFacts &facts) {
  return WIFEXITED(facts.program.waitStatus) ? WEXITSTATUS(facts.program.waitStatus) : -1;
}

std::string beforeOnline(const WhyFacts &facts) {
  return facts.program.onlineTag.empty() || facts.onlineTag
             ? ""
             : " before tag " + printable(facts.program.onlineTag) + " was set";
}

bool hasProgramEnded(const WhyFacts &facts) {
  return facts.program.hasEnded && facts.program.state != ProgramState::SHUT_DOWN;
}

const ProcessDetails *onlyChild(const WhyFacts &facts) {
  return facts.process && facts.process->children.size() == 1 ? &facts.process->children.front() : nullptr;
}

bool usesTheProcessor(const ProcessDetails &process) {
  constexpr uint64_t LEAST_AGE_MS = 100;
  return process.state == 'R' && process.ageMs >= LEAST_AGE_MS && process.processorMs * 2 >= process.ageMs;
}

// --- The rules ------------------------------------------------------------------------------------------------------

std::string launchAdvice(const WhyFacts &facts) {
  switch (std::abs(facts.program.result)) {
    case ENOENT:
    case ENOTDIR:
      return "there is no " + quoted(facts.program.path) + ", or the interpreter that it names is not on this machine";
    case EACCES:
      return quoted(facts.program.path) +
             " may not be executed (chmod +x, a directory, or a file system mounted noexec)";
    case ENOEXEC:
      return quoted(facts.program.path) + " is a program for another processor, or a script without a #! line";
    default:
      return facts.launchFailure.empty() ? launchFailureText(facts.program.result) : printable(facts.launchFailure);
  }
}

std::string endSentence(const WhyFacts &facts) {
  return nameOf(facts) + " " + endText(facts.program.waitStatus) + beforeOnline(facts) + lastLineText(facts);
}

std::string onlineSentence(const WhyFacts &facts) {
  const bool isLate = facts.wait && facts.wait->state == WaitState::TIMED_OUT;
  std::string text = nameOf(facts) + (isLate ? " is online, but was not in time" : " is online");
  if (facts.onlineAfterMs) text += ": it took " + preciseDurationText(*facts.onlineAfterMs) + " from its start";
  const bool isForeign = facts.onlineTag && facts.onlineTag->setter.euName != facts.program.name;
  return isForeign
             ? text + "; its tag " + printable(facts.program.onlineTag) + " was set by " + setterText(*facts.onlineTag)
             : text;
}

std::string turnSentence(const WhyFacts &facts) {
  const std::string head = nameOf(facts) + " waits for its turn: ";
  if (!facts.node.awaited) return head + "the start-up has not come to it yet";
  return head + "the start-up is at " + printable(facts.node.awaited->name) + ", whose tag " +
         printable(facts.node.awaited->tag) + " is not set (orvctl why " + printable(facts.node.awaited->name) + ")";
}

std::string daemonDeadSentence(const WhyFacts &facts) {
  const std::string daemon =
      "the daemon (pid " + std::to_string(facts.node.run ? facts.node.run->daemonPid : 0) + ") is dead";
  if (facts.program.euId == 0) return nameOf(facts) + " was not started: " + daemon;
  const bool wasOnline = facts.program.onlineTag.empty() || facts.onlineTag;
  return nameOf(facts) + (wasOnline ? " ran until the daemon died: " : " was not online yet: ") + daemon +
         ", and took its programs with it";
}

std::string sleepSentence(const WhyFacts &facts) {
  const ProcessDetails *child = onlyChild(facts);
  if (child != nullptr && facts.process->waitChannel.find("do_wait") != std::string::npos) {
    return notOnline(facts) + pidText(facts) + " waits for its child pid " + std::to_string(child->pid) + " (" +
           printable(child->name) + "), which is " + processStateText(*child);
  }
  return notOnline(facts) + pidText(facts) + " is " + processStateText(*facts.process) + " and has not set tag " +
         printable(facts.program.onlineTag);
}

struct Rule {
  const char *name;
  bool isWell;
  bool (*fits)(const WhyFacts &facts);
  std::string (*sentence)(const WhyFacts &facts);
};

// The first that fits is the cause: what is certain stands before what is likely.
constexpr Rule RULES[] = {
    {"applications_skipped", false,
     [](const WhyFacts &facts) {
       return facts.program.state == ProgramState::SKIPPED && facts.node.skipped != SkipReason::NONE;
     },
     [](const WhyFacts &facts) {
       return nameOf(facts) + " was not started: " + skipText(facts.node.skipped, printable(facts.node.definitionFile));
     }},
    {"launch_failed", false, [](const WhyFacts &facts) { return facts.program.state == ProgramState::LAUNCH_FAILED; },
     [](const WhyFacts &facts) { return nameOf(facts) + " could not be started: " + launchAdvice(facts); }},
    {"command_not_found", false,
     [](const WhyFacts &facts) { return hasProgramEnded(facts) && exitCodeOf(facts) == COMMAND_NOT_FOUND; },
     [](const WhyFacts &facts) {
       return nameOf(facts) + " exited with 127, by which a shell says that it did not find a command" +
              lastLineText(facts);
     }},
    {"command_not_executable", false,
     [](const WhyFacts &facts) { return hasProgramEnded(facts) && exitCodeOf(facts) == COMMAND_NOT_EXECUTABLE; },
     [](const WhyFacts &facts) {
       return nameOf(facts) + " exited with 126, by which a shell says that it may not execute a command" +
              lastLineText(facts);
     }},
    {"program_failed", false, [](const WhyFacts &facts) { return facts.program.state == ProgramState::FAILED; },
     endSentence},
    {"program_ended", false,
     [](const WhyFacts &facts) {
       return hasProgramEnded(facts) && !facts.program.onlineTag.empty() && !facts.onlineTag;
     },
     endSentence},
    {"program_finished", true, [](const WhyFacts &facts) { return facts.program.state == ProgramState::FINISHED; },
     [](const WhyFacts &facts) { return nameOf(facts) + " has done its work and " + programStateText(facts.program); }},
    {"shut_down", true, [](const WhyFacts &facts) { return facts.program.state == ProgramState::SHUT_DOWN; },
     [](const WhyFacts &facts) { return nameOf(facts) + " was ended by the shutdown of the node"; }},
    {"daemon_dead", false, [](const WhyFacts &facts) { return !facts.node.daemonIsAlive; }, daemonDeadSentence},
    {"online", true, [](const WhyFacts &facts) { return facts.program.state == ProgramState::ONLINE; }, onlineSentence},
    {"no_online_tag", true, [](const WhyFacts &facts) { return facts.program.state == ProgramState::RUNNING; },
     [](const WhyFacts &facts) { return nameOf(facts) + " runs, and has no online tag, so nothing waits for it"; }},
    {"no_program", true, [](const WhyFacts &facts) { return facts.program.state == ProgramState::NO_PROGRAM; },
     [](const WhyFacts &facts) { return nameOf(facts) + " is an EU of the daemon and runs no program"; }},
    {"daemon_stopped", false, [](const WhyFacts &facts) { return facts.node.daemonIsStopped && !isAwaited(facts); },
     [](const WhyFacts &facts) {
       const std::string pid = std::to_string(facts.node.run ? facts.node.run->daemonPid : 0);
       return nameOf(facts) + " is not started, since the daemon (pid " + pid + ") is stopped (kill -CONT " + pid +
              " lets it go on)";
     }},
    {"waits_for_turn", false, [](const WhyFacts &facts) { return facts.program.state == ProgramState::WAITS_FOR_TURN; },
     turnSentence},
    {"not_started", false, [](const WhyFacts &facts) { return facts.program.state == ProgramState::SKIPPED; },
     [](const WhyFacts &facts) {
       return nameOf(facts) + " was not started in this run: the definition file may have been changed since (" +
              printable(facts.node.definitionFile) + ")";
     }},
    {"being_started", false, [](const WhyFacts &facts) { return facts.program.state == ProgramState::STARTING; },
     [](const WhyFacts &facts) { return nameOf(facts) + " is being started at this moment"; }},
    {"program_stopped", false, [](const WhyFacts &facts) { return processIs(facts, "Tt"); },
     [](const WhyFacts &facts) {
       return notOnline(facts) + pidText(facts) + " is " + processStateText(*facts.process) + " (kill -CONT " +
              std::to_string(facts.process->pid) + " lets it go on)";
     }},
    {"zombie", false, [](const WhyFacts &facts) { return processIs(facts, "ZX"); },
     [](const WhyFacts &facts) {
       return notOnline(facts) + pidText(facts) + " has ended, and the daemon has not taken notice yet";
     }},
    {"ready_of_another", false,
     [](const WhyFacts &facts) {
       const std::string other(euOfReadyTag(facts.program.onlineTag));
       return !other.empty() && other != facts.program.name;
     },
     [](const WhyFacts &facts) {
       const std::string other(euOfReadyTag(facts.program.onlineTag));
       return notOnline(facts) + "its tag " + printable(facts.program.onlineTag) + " is set by READY=1 of EU " +
              quoted(other) + ", and its own would be " + printable(readyTagOf(facts.program.name));
     }},
    {"ready_instead", false, [](const WhyFacts &facts) { return ownReadyTag(facts) != nullptr; },
     [](const WhyFacts &facts) {
       return notOnline(facts) + "it said READY=1, which sets " + printable(readyTagOf(facts.program.name)) +
              ", and the start-up waits for " + printable(facts.program.onlineTag);
     }},
    {"tag_of_another_name", false, [](const WhyFacts &facts) { return nearMissOf(facts, true) != nullptr; },
     [](const WhyFacts &facts) {
       return notOnline(facts) + "it set tag " + quoted(nearMissOf(facts, true)->name) +
              ", and the start-up waits for " + quoted(facts.program.onlineTag) + " (is one of them misspelt?)";
     }},
    {"tag_by_another", false, [](const WhyFacts &facts) { return nearMissOf(facts, false) != nullptr; },
     [](const WhyFacts &facts) {
       const Tag &tag = *nearMissOf(facts, false);
       return notOnline(facts) + setterText(tag) + " set tag " + quoted(tag.name) + ", and the start-up waits for " +
              quoted(facts.program.onlineTag) + " (is one of them misspelt?)";
     }},
    {"program_gone", false, [](const WhyFacts &facts) { return !facts.process; },
     [](const WhyFacts &facts) {
       return notOnline(facts) + "its process (pid " + std::to_string(facts.program.pid) +
              ") is gone, and the daemon has not taken notice yet";
     }},
    {"waits_in_kernel", false, [](const WhyFacts &facts) { return processIs(facts, "D"); },
     [](const WhyFacts &facts) {
       return notOnline(facts) + pidText(facts) + " is " + processStateText(*facts.process) +
              ": a device or a file system does not answer";
     }},
    {"busy", false, [](const WhyFacts &facts) { return usesTheProcessor(*facts.process); },
     [](const WhyFacts &facts) {
       return notOnline(facts) + pidText(facts) + " is busy: " + preciseDurationText(facts.process->processorMs) +
              " of processor time in the " + preciseDurationText(facts.process->ageMs) + " since its start";
     }},
    {"not_ready", false,
     [](const WhyFacts &facts) { return facts.program.onlineTag == readyTagOf(facts.program.name); },
     [](const WhyFacts &facts) {
       return notOnline(facts) + "it has not said READY=1 (sd_notify), which would set its tag " +
              printable(facts.program.onlineTag) + "; " + pidText(facts) + " is " + processStateText(*facts.process);
     }},
    {"sleeping", false, [](const WhyFacts &facts) { return processIs(facts, "SI"); }, sleepSentence},
    {"not_set", false, [](const WhyFacts &) { return true; },
     [](const WhyFacts &facts) {
       return notOnline(facts) + pidText(facts) + " runs and has not set tag " + printable(facts.program.onlineTag);
     }},
};

std::string plainLetters(std::string_view tag) {
  std::string letters;
  for (const char letter : tag) {
    if (letter == '.' || letter == '_' || letter == '-' || letter == ' ' || letter == '/') continue;
    letters += letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  return letters;
}

}  // namespace

bool isNearMiss(std::string_view tag, std::string_view wanted) {
  if (tag == wanted) return false;
  const std::string one = plainLetters(tag);
  const std::string other = plainLetters(wanted);
  if (one.empty() || other.empty()) return false;
  if (one == other) return true;
  const size_t shorter = std::min(one.size(), other.size());
  const size_t longer = std::max(one.size(), other.size());
  const auto front = static_cast<size_t>(
      std::mismatch(one.begin(), one.begin() + static_cast<std::ptrdiff_t>(shorter), other.begin()).first -
      one.begin());
  const auto back = static_cast<size_t>(
      std::mismatch(one.rbegin(), one.rbegin() + static_cast<std::ptrdiff_t>(shorter - front), other.rbegin()).first -
      one.rbegin());
  // Three quarters have to be right, and the first letters as well: the rest is often ".online" of all tags.
  return front >= 2 && (front + back) * 4 >= longer * 3;
}

Cause causeOf(const WhyFacts &facts) {
  const auto *rule =
      std::find_if(std::begin(RULES), std::end(RULES), [&](const Rule &each) { return each.fits(facts); });
  return {rule->name, rule->sentence(facts), rule->isWell};
}

}  // namespace orv
