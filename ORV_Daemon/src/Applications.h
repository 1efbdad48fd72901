// Application start-up: reads the application definition file and starts its applications one after another, each under
// a sentinel EU of its own.
//
// Entry point: appStart. Runs in the internal start-up EU and blocks it; appSentinel runs once per application in its
// own EU and shares nothing with the rest but tags, the log and boardReset.
#ifndef ORV_DAEMON_APPLICATIONS_H
#define ORV_DAEMON_APPLICATIONS_H

#include <cstdint>
#include <string>
#include <type_traits>

#include "ApplicationDefinitions.h"

constexpr uint32_t APP_ONLINE_TIMEOUT_MS = 240000;
constexpr uint32_t READY_POLL_INTERVAL_MS = 50;

// The bits of an application's supervision flags.
constexpr int32_t RAISE_ON_FAILURE = 1;
constexpr int32_t RESET_ON_FAILURE = 2;

// Tags that the application phase reads: the name of the definition file, and those that forbid it.
constexpr const char *FILE_NAME_TAG = "app.hwapi.appcfg.filename";
constexpr const char *REPAIR_RESET_TAG = "sys.repair.center.reset";
constexpr const char *CONFIGURATION_RESET_TAG = "sys.configuration.reset";

// The argument block of an application's sentinel EU, which the platform copies bytewise.
struct AppSentinelArgs {
  uint32_t context;
  AppExeDef definition;
};
static_assert(std::is_trivially_copyable_v<AppSentinelArgs>);
static_assert(sizeof(AppSentinelArgs) == 812, "the block has one size on every target");

// The whole application phase: the tags that forbid it, the definition file, the applications, the notice that it is
// done. Failures are logged; none goes further.
void appStart(uint32_t context);

// Reads the file `fileName` into `table`. Returns false when it cannot be opened, which is logged.
bool parseAppExeDefFile(const std::string &fileName, AppExeDefTable &table);

// Starts each application with a path, in order, and waits for it where it names an online tag: for up to
// APP_ONLINE_TIMEOUT_MS, then the board is reset. The next application is started only after that.
void appStartAll(uint32_t context, const AppExeDefTable &table);

// Runs one application to its end; after a failure raises an error and resets the board as its flags ask. Its sentinel
// EU.
void appSentinel(uint32_t context, const AppExeDef &definition);

// Waits until tag `tagName` is set, testing it every READY_POLL_INTERVAL_MS.
//   context      not read
//   remainingMs  in: budget in ms; out: what is left of it, 0 after a time-out. Counted in nominal sleeps and not by a
//                clock, so a slow tag store lengthens the wait.
// Returns 1 when the tag was set in time, else 0; logs either way. The tag is tested before the budget, so a tag that
// is set succeeds with a budget of 0. What a time-out means is the caller's decision. Blocks the calling EU.
int readyWait(uint32_t context, const std::string &tagName, uint32_t &remainingMs);

#endif
