#include "Blame.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

#include "Clock.h"
#include "Json.h"
#include "StartupView.h"
#include "TimeAxis.h"
#include "Words.h"

namespace orv {
namespace {

// How much of a step lies before `untilNs`; `beganNs` moves on to there.
uint64_t takeUntil(uint64_t &beganNs, uint64_t endedNs, uint64_t untilNs) {
  const uint64_t at = std::clamp(untilNs, beganNs, endedNs);
  const uint64_t taken = at - beganNs;
  beganNs = at;
  return taken;
}

void addStep(const StartupProgram &program, const StartupStep &step, BlameRow &row) {
  uint64_t atNs = step.beganNs;
  row.delayNs += step.endedNs - step.beganNs;
  const bool timedOut = program.wait && program.wait->state == WaitState::TIMED_OUT;
  const uint64_t waitEndedNs = program.wait && program.wait->endedNs ? *program.wait->endedNs : step.endedNs;
  const uint64_t launchedNs = program.startedNs ? std::min(*program.startedNs, waitEndedNs) : waitEndedNs;
  row.launchNs += takeUntil(atNs, step.endedNs, launchedNs);
  const bool wasOnline = !timedOut && program.readyNs;
  row.onlineNs += takeUntil(atNs, step.endedNs, wasOnline ? std::min(*program.readyNs, waitEndedNs) : waitEndedNs);
  row.noticeNs += takeUntil(atNs, step.endedNs, waitEndedNs);
  row.resetNs += step.endedNs - atNs;
}

std::string partsText(const BlameRow &row, const StartupProgram &program) {
  std::string text;
  const auto add = [&text](uint64_t partNs, const char *what) {
    constexpr uint64_t LEAST_NS = NS_PER_MS / 2;  // what is less would read as nothing
    if (partNs >= LEAST_NS) text += (text.empty() ? "" : ", ") + shortDuration(partNs) + what;
  };
  add(row.launchNs, " until it ran");
  const bool timedOut = program.wait && program.wait->state == WaitState::TIMED_OUT;
  const bool stillWaits = program.wait && program.wait->state == WaitState::STILL_WAITING;
  add(row.onlineNs, timedOut ? " in vain" : stillWaits ? " and not online yet" : " until it was online");
  add(row.noticeNs, " until that was seen");
  add(row.resetNs, " for the board reset");
  return text;
}

std::string secondsText(uint64_t milliseconds) {
  constexpr uint64_t MS_PER_S = 1000;
  char text[40];
  std::snprintf(text, sizeof text, "%llu.%03u s", static_cast<unsigned long long>(milliseconds / MS_PER_S),
                static_cast<unsigned>(milliseconds % MS_PER_S));
  return text;
}

std::string tenthsText(uint64_t tenths) {
  char text[40];
  std::snprintf(text, sizeof text, "%llu.%u %%", static_cast<unsigned long long>(tenths / 10),
                static_cast<unsigned>(tenths % 10));
  return text;
}

// The shares of the whole in tenths of a per cent.
std::vector<uint64_t> sharesOf(const std::vector<uint64_t> &parts) {
  const uint64_t whole = std::accumulate(parts.begin(), parts.end(), uint64_t{0});
  if (whole == 0) return std::vector<uint64_t>(parts.size());
  // In millionths, so that no product is too long for a number.
  constexpr uint64_t MILLION = 1'000'000;
  constexpr uint64_t MILLIONTHS_A_TENTH = 1000;
  std::vector<uint64_t> millionths;
  for (const uint64_t part : parts) {
    const long double share = static_cast<long double>(part) / static_cast<long double>(whole);
    millionths.push_back(static_cast<uint64_t>(share * MILLION + 0.5L));
  }
  return apportioned(millionths, MILLIONTHS_A_TENTH);
}

using Rows = std::vector<std::vector<std::string>>;

std::string withoutDelayText(const StartupModel &model) {
  std::string names;
  size_t count = 0;
  for (const StartupProgram &program : model.programs) {
    if (program.delayNs != 0) continue;
    names += (count++ == 0 ? "" : ", ") + printable(program.name);
  }
  if (count == 0) return "";
  return "\n" + std::to_string(count) + (count == 1 ? " program" : " programs") + " held nothing up: " + names + "\n";
}

}  // namespace

std::vector<uint64_t> apportioned(const std::vector<uint64_t> &parts, uint64_t unit) {
  std::vector<uint64_t> units;
  uint64_t sum = 0;
  uint64_t given = 0;
  for (const uint64_t part : parts) {
    units.push_back(part / unit);
    sum += part;
    given += part / unit;
  }
  // Those that lose most by being cut come first.
  std::vector<size_t> order(parts.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t one, size_t other) { return parts[one] % unit > parts[other] % unit; });
  const uint64_t wanted = sum / unit + (sum % unit >= unit - unit / 2 ? 1 : 0);
  for (size_t i = 0; i < order.size() && given < wanted; ++i, ++given)
    ++units[order[i]];
  return units;
}

Blame blameOf(const StartupModel &model) {
  Blame blame;
  blame.lengthNs = model.lengthNs;
  blame.daemonNs = daemonsOwnNs(model);
  std::vector<BlameRow> rows(model.programs.size());
  for (size_t i = 0; i < rows.size(); ++i)
    rows[i].program = i;
  for (const StartupStep &step : model.criticalPath) {
    if (step.program) addStep(model.programs[*step.program], step, rows[*step.program]);
  }
  std::copy_if(rows.begin(), rows.end(), std::back_inserter(blame.rows),
               [](const BlameRow &row) { return row.delayNs != 0; });
  std::stable_sort(blame.rows.begin(), blame.rows.end(),
                   [](const BlameRow &one, const BlameRow &other) { return one.delayNs > other.delayNs; });
  return blame;
}

std::string blameText(const StartupModel &model) {
  const Blame blame = blameOf(model);
  std::vector<uint64_t> parts;
  for (const BlameRow &row : blame.rows)
    parts.push_back(row.delayNs);
  parts.push_back(blame.daemonNs);
  const std::vector<uint64_t> milliseconds = apportioned(parts, NS_PER_MS);
  const std::vector<uint64_t> shares = sharesOf(parts);
  Rows rows = {{"HELD UP", "SHARE", "PROGRAM", "WHERE THE TIME WENT"}};
  for (size_t i = 0; i < parts.size(); ++i) {
    const bool isProgram = i < blame.rows.size();
    rows.push_back({secondsText(milliseconds[i]), tenthsText(shares[i]),
                    isProgram ? printable(model.programs[blame.rows[i].program].name) : "the daemon itself",
                    isProgram ? partsText(blame.rows[i], model.programs[blame.rows[i].program])
                              : "what is no wait for a program"});
  }
  rows.push_back({secondsText(std::accumulate(milliseconds.begin(), milliseconds.end(), uint64_t{0})),
                  tenthsText(std::accumulate(shares.begin(), shares.end(), uint64_t{0})), "in all", ""});
  rows.back().pop_back();
  alignRight(rows, 0);
  alignRight(rows, 1);
  return "Start-up of " + startupName(model) + ": " + startupStateText(model) + "\n\n" + tableText(rows) +
         withoutDelayText(model);
}

std::string blameJson(const StartupModel &model) {
  const Blame blame = blameOf(model);
  const auto rowJson = [&model](const BlameRow &row) {
    const StartupProgram &program = model.programs[row.program];
    JsonObject object;
    object.text("name", program.name).number("eu_id", program.euId).number("delay_ns", row.delayNs);
    object.number("launch_ns", row.launchNs).number("online_ns", row.onlineNs);
    return object.number("notice_ns", row.noticeNs).number("reset_ns", row.resetNs).str();
  };
  JsonObject object;
  object.number("run", model.run).number("length_ns", blame.lengthNs).number("daemon_ns", blame.daemonNs);
  return object.raw("programs", jsonLines(blame.rows, 4, rowJson)).str() + "\n";
}

}  // namespace orv
