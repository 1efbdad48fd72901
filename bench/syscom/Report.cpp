#include "Report.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>

namespace syscombench {
namespace {

__attribute__((format(printf, 1, 2))) std::string formatted(const char *format, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return text;
}

std::string durationText(uint64_t ns) {
  constexpr double NS_PER_US = 1e3;
  constexpr uint64_t LAST_US = 10'000'000;
  const double us = static_cast<double>(ns) / NS_PER_US;
  return ns < LAST_US ? formatted("%.0f us", us) : formatted("%.1f ms", us / 1000);
}

std::string rowText(const Row &row) {
  return formatted("%-36s %10s %10s %14.0f %10s %10s\n", row.name.c_str(), durationText(row.oneAtATime.p50Ns).c_str(),
                   durationText(row.oneAtATime.p99Ns).c_str(), row.atFullSpeed.messagesPerS,
                   durationText(row.atFullSpeed.p50Ns).c_str(), durationText(row.atFullSpeed.p99Ns).c_str());
}

std::string troubleText(const Result &result) {
  std::string text;
  for (const Row &row : result.rows) {
    for (const Figures *each : {&row.oneAtATime, &row.atFullSpeed}) {
      const char *when = each == &row.oneAtATime ? "one at a time" : "as fast as it goes";
      if (each->lost != 0) text += formatted("%s, %s: %" PRIu64 " messages LOST\n", row.name.c_str(), when, each->lost);
      if (each->messages == 0) text += formatted("%s, %s: NOTHING came\n", row.name.c_str(), when);
      if (each->refused != 0) {
        text +=
            formatted("%s, %s: %" PRIu64 " attempts refused and made again\n", row.name.c_str(), when, each->refused);
      }
    }
  }
  if (result.endedBadly != 0) text += formatted("%zu processes did NOT END as they should\n", result.endedBadly);
  return text;
}

std::string figuresJson(const Figures &figures) {
  return formatted("{\"messagesPerS\":%.1f,\"p50Ns\":%" PRIu64 ",\"p99Ns\":%" PRIu64 ",\"messages\":%" PRIu64
                   ",\"refused\":%" PRIu64 ",\"lost\":%" PRIu64 "}",
                   figures.messagesPerS, figures.p50Ns, figures.p99Ns, figures.messages, figures.refused, figures.lost);
}

}  // namespace

bool isGood(const Result &result) {
  const auto isWhole = [](const Figures &figures) { return figures.lost == 0 && figures.messages != 0; };
  return result.endedBadly == 0 && std::all_of(result.rows.begin(), result.rows.end(), [&](const Row &row) {
           return isWhole(row.oneAtATime) && isWhole(row.atFullSpeed);
         });
}

std::string textOf(const Result &result) {
  std::string text =
      formatted("%zu nodes, up after %.1f s, all connected after %.1f s more; payloads of %u bytes, %.1f s each\n\n",
                result.nodes, result.startS, result.connectS, result.payloadBytes, result.seconds);
  text += formatted("%-36s %21s %36s\n", "", "one at a time", "as fast as it goes");
  text += formatted("%-36s %10s %10s %14s %10s %10s\n", "one way", "p50", "p99", "messages/s", "p50", "p99");
  for (const Row &row : result.rows)
    text += rowText(row);
  text +=
      formatted("\nAs fast as it goes: %u messages of each sender under way; the bare pairs as many as they take.\n",
                result.window);
  return text + troubleText(result);
}

std::string jsonOf(const Result &result) {
  std::string text = formatted(
      "{\"nodes\":%zu,\"payloadBytes\":%u,\"window\":%u,\"seconds\":%.3f,\"startS\":%.3f,\"connectS\":%.3f,"
      "\"endedBadly\":%zu,\"rows\":[",
      result.nodes, result.payloadBytes, result.window, result.seconds, result.startS, result.connectS,
      result.endedBadly);
  for (const Row &row : result.rows) {
    text +=
        (&row == &result.rows.front() ? "" : ",") + formatted("\n{\"name\":\"%s\",\"oneAtATime\":", row.name.c_str());
    text += figuresJson(row.oneAtATime) + ",\"asFastAsItGoes\":" + figuresJson(row.atFullSpeed) + "}";
  }
  return text + "\n]}\n";
}

}  // namespace syscombench
