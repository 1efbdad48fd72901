// The XML configuration: tags, RAD parameters and board settings.
//
//   <orv>
//     <tags>
//       <tag name="app.hwapi.appcfg.filename">/etc/orv/AppDef.txt</tag>     type "string" where none is named
//       <tag name="app.port" type="u16" value="8080"/>                      the value as text or as attribute
//       <tag name="app.mask" type="u32">0x10</tag>                          numbers: decimal, 0x..., leading 0 octal
//     </tags>
//     <rad>
//       <parameter number="0x10063" value="1"/>
//     </rad>
//     <board reset="none" watchdogDevice="/dev/watchdog" resetBudget="3" resetWindowS="600" graceTimeMs="10000"/>
//     <events limit="10000"/>
//     <gateway port="15155" address="10.0.0.1" queue="1000" deliveryTimeoutS="10" keys="/etc/orv/keys"/>
//   </orv>
//
// The text of a tag is taken as it is written, blanks included; where it has a line break, the white space around it is
// layout and not part of it. A value attribute is always taken as it is written (a line break in it is &#10;). Numbers
// may have white space around them. A string tag with neither is set to the empty text. Comments, processing
// instructions, CDATA sections and character references work as usual; a document type declaration is refused, so no
// other file is ever read. The encoding is UTF-8.
//
// Each part may be absent or stand several times; of two values for the same thing the later one counts. The attributes
// of <board> and <gateway> may each be absent. What is not in this list is an error: a misspelt name is never passed
// over in silence. Board settings become tags (BOARD_*_TAG), so that they can be looked at and changed like any other,
// and gateway settings do (GATEWAY_*_TAG, see GatewayPlan.h).
#ifndef ORV_LINUX_PLATFORMCONFIG_H
#define ORV_LINUX_PLATFORMCONFIG_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "NodeStore.h"
#include "Status.h"

namespace orv {

constexpr const char *BOARD_RESET_TAG = "orv.board.reset";                     // string: none, watchdog, reboot
constexpr const char *BOARD_WATCHDOG_DEVICE_TAG = "orv.board.watchdogdevice";  // string: path of the device
constexpr const char *BOARD_RESET_BUDGET_TAG = "orv.board.resetbudget";        // u32: see RunRecord.h
constexpr const char *BOARD_RESET_WINDOW_TAG = "orv.board.resetwindow";        // u32: seconds
constexpr const char *BOARD_GRACE_TIME_TAG = "orv.board.gracetime";            // u32: ms from SIGTERM to SIGKILL

struct PlatformConfig {
  NodeStore::Settings settings;
  std::optional<uint32_t> eventLimit;
};

// Parses `text`, the content of `fileName` (used in messages only). Fails with EINVAL and
// "<file>:<line>:<column>: <what is wrong>, expected <what>"; `config` is then left alone.
Status parsePlatformConfig(std::string_view text, const std::string &fileName, PlatformConfig &config);

// Reads and parses a file. Fails with the errno and a sentence where it cannot be read. Files over 1 MiB are refused.
Status readPlatformConfig(const std::string &fileName, PlatformConfig &config);

// Reads a file and sets in `store` what it says: all of it or, where it has a mistake, nothing.
Status applyPlatformConfig(NodeStore &store, const std::string &fileName);

}  // namespace orv

#endif
