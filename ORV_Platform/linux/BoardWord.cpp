#include "BoardWord.h"

#include <fcntl.h>
#include <linux/watchdog.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "Descriptor.h"
#include "StateFile.h"

namespace orv {
namespace {

constexpr size_t MAX_LINE = 80;  // bytes

struct Flag {
  uint32_t bit;
  const char *text;
};

constexpr Flag FLAGS[] = {
    {WDIOF_CARDRESET, "the watchdog reset the board"},
    {WDIOF_POWERUNDER, "power failed"},
    {WDIOF_POWEROVER, "the voltage was too high"},
    {WDIOF_OVERHEAT, "the processor was too hot"},
    {WDIOF_FANFAULT, "a fan failed"},
    {WDIOF_EXTERN1, "external relay 1"},
    {WDIOF_EXTERN2, "external relay 2"},
};

// The first line of a file; empty where there is none.
std::string firstLine(const std::filesystem::path &directory, const char *name) {
  std::optional<std::string> text;
  const Status found = readStateFile(directory, name, "the board's word", MAX_LINE, text);
  return found.ok() && text ? text->substr(0, text->find('\n')) : "";
}

std::vector<std::filesystem::path> entriesOf(const std::string &directory) {
  std::error_code error;
  std::vector<std::filesystem::path> entries;
  for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error))
    entries.push_back(entry->path());
  std::sort(entries.begin(), entries.end());
  return entries;
}

// Decimal or 0x and hexadecimal: drivers of both kinds exist.
std::optional<uint32_t> parseStatus(const std::string &text) {
  const bool isHexadecimal = text.starts_with("0x");
  const char *begin = text.data() + (isHexadecimal ? 2 : 0);
  const char *end = text.data() + text.size();
  uint32_t number = 0;
  const auto [last, error] = std::from_chars(begin, end, number, isHexadecimal ? 16 : 10);
  return error == std::errc() && last == end ? std::optional(number) : std::nullopt;
}

void take(const std::string &name, uint32_t flags, BoardWord &word) {
  const std::string text = bootStatusText(flags);
  if (text.empty()) return;
  word.watchdogs.push_back(name + ": " + text);
  word.watchdogReset = word.watchdogReset || (flags & WDIOF_CARDRESET) != 0;
}

// Returns whether there was anything to read.
bool readWatchdogs(const std::string &directory, BoardWord &word) {
  bool found = false;
  for (const std::filesystem::path &watchdog : entriesOf(directory)) {
    const std::optional<uint32_t> flags = parseStatus(firstLine(watchdog, "bootstatus"));
    if (!flags) continue;
    found = true;
    const std::string identity = firstLine(watchdog, "identity");
    const std::string name = watchdog.filename();
    take(identity.empty() ? name : name + " (" + identity + ")", *flags, word);
  }
  return found;
}

void askDevice(const std::string &device, BoardWord &word) {
  const Descriptor descriptor(open(device.c_str(), O_WRONLY | O_CLOEXEC));
  if (descriptor.get() < 0) return;
  int flags = 0;
  if (ioctl(descriptor.get(), WDIOC_GETBOOTSTATUS, &flags) == 0) take(device, static_cast<uint32_t>(flags), word);
  // The letter with which a driver lets a watchdog stop at its close; result not examined: one that cannot be stopped
  // has been opened in the knowledge of it.
  if (write(descriptor.get(), "V", 1) < 0) return;
}

std::string identityOf(const std::filesystem::path &file) {
  struct stat found {};
  if (lstat(file.c_str(), &found) != 0) return file.filename();
  return file.filename().string() + "@" + std::to_string(found.st_mtim.tv_sec);
}

}  // namespace

std::string bootStatusText(uint32_t flags) {
  std::string text;
  for (const Flag &flag : FLAGS) {
    if ((flags & flag.bit) == 0) continue;
    text += (text.empty() ? "" : ", ") + std::string(flag.text);
  }
  return text;
}

BoardWord askBoard(const BoardWordSources &sources) {
  BoardWord word;
  if (!readWatchdogs(sources.watchdogClass, word) && !sources.askedDevice.empty()) askDevice(sources.askedDevice, word);
  for (const std::filesystem::path &file : entriesOf(sources.pstoreDirectory)) {
    const std::string name = file.filename();
    // Beside these there are the console's and others, which are there after every reset.
    if (!name.starts_with("dmesg-")) continue;
    word.kernelRecords.push_back({identityOf(file), name, firstLine(sources.pstoreDirectory, name.c_str())});
  }
  return word;
}

}  // namespace orv
