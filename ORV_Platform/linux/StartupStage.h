// How far the node's start-up is, for the service manager's status line and for the flight record; and the events of
// what it waits for.
//
// The platform is not told; it sees. The daemon runs its start-up in an EU that the CE shutdown waits for: the first
// joinable EU of the run is that one, and lives from the start-up's begin until the request to end. In it, the same tag
// asked for twice in a row is an online tag that is waited for, from the first time on, until it is set or the start-up
// does something else; its application is the EU in whose argument block the
// tag's name stands, or the EU that was created last. The start-up's last line in the log says that it is over.
//
// In a program other than the daemon nothing here has any effect.
#ifndef ORV_LINUX_STARTUPSTAGE_H
#define ORV_LINUX_STARTUPSTAGE_H

#include <cstdint>
#include <string>
#include <string_view>

namespace orv {

// The CE has been started: from here on the first joinable EU is the start-up.
void beginStartup();

// An EU is about to be created. True for the EU of the start-up, once.
bool isStartupToBe(bool joinable);

// An EU has been created by the calling EU, with that argument block.
void noteEuCreated(uint32_t id, const std::string &name, std::string_view argument);

// The calling thread is the EU of the start-up, from here to its end.
void enterStartupEu();
void leaveStartupEu();
bool inStartupEu();

// For the EU of the start-up alone: a tag has been asked for; a line has been logged.
void noteTagAsked(const char *name, bool isSet);
void noteLogLine(std::string_view text);

// The CE shutdown has begun.
void endStartup();

// "starting", "waiting for pump (tag pump.online)", "running", "stopping"; empty before the CE start-up.
std::string startupStage();

// What the calling thread waited for last, in vain: empty where it is not the start-up or did not wait.
struct Awaited {
  std::string euName;
  std::string tag;
};
Awaited awaitedInVain();

}  // namespace orv

#endif
