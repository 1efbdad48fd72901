// What the texts of events tell of a start-up: those of the platform's events, and the lines that the daemon logs. All
// of them are interfaces; nothing is returned for a text of another form.
#ifndef ORV_TOOLS_STARTUPTEXTS_H
#define ORV_TOOLS_STARTUPTEXTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orv {

// "pid 50: /usr/bin/radio", "pid 50: wait status 9", "pid 42" (`rest` is empty).
struct PidText {
  uint32_t pid = 0;
  std::string rest;
};
std::optional<PidText> parsePidText(std::string_view text);

// "node id 4113".
std::optional<uint16_t> parseNodeId(std::string_view text);

// "wait status 9".
std::optional<int32_t> parseWaitStatus(std::string_view text);

// The tag in the text of WAIT_BEGAN and WAIT_ENDED, "NAME (tag TAG)".
std::optional<std::string> parseAwaitedTag(std::string_view text, std::string_view euName);

// Whether the text of TAG_SET, "TAG = ...", is about `tag`.
bool isAboutTag(std::string_view text, std::string_view tag);

// The daemon's line: without what the log puts before it. Nothing for a line of somebody else's.
std::optional<std::string_view> daemonLine(std::string_view text);

// "readyWait: waiting 240000 ms for TAG to be set".
struct AskedTag {
  std::string tag;
  uint64_t budgetMs = 0;
};
std::optional<AskedTag> parseAskedTag(std::string_view line);

// "readyWait: TAG tag set in time".
std::optional<std::string> parseTagSetInTime(std::string_view line);

// "parseExeDefs: Executable 'PATH' has arguments 'PATH' and online tag to wait 'TAG'".
struct ExecutableTag {
  std::string path;
  std::string tag;
};
std::optional<ExecutableTag> parseExecutableTag(std::string_view line);

// "exeRun: executable 'PATH'(ARGS) starting under sentinel EU 0x5 with supervision flags 0x3".
struct SentinelText {
  std::string path;
  std::string args;
  uint32_t supervisionFlags = 0;
};
std::optional<SentinelText> parseSentinelText(std::string_view line);

}  // namespace orv

#endif
