#include "EuWalk.h"

#include "Trace.h"

namespace boots {
namespace {

struct LogKind {
  const char *label;
  char severity;
};

constexpr LogKind LOG_KINDS[] = {{"Info", '2'}, {"Warning", '3'}, {"Error", '4'}};

const LogKind &kindOf(Severity severity) {
  return LOG_KINDS[static_cast<size_t>(severity)];
}

}  // namespace

std::string_view EuWalk::peek() const {
  if (next_ == own_.size()) throw Cut{};
  return trace_.lines[own_[next_]].text;
}

void EuWalk::violated(Rule rule, const std::string &words) const {
  Violation violation{rule, std::nullopt, words};
  if (next_ < own_.size()) violation.line = own_[next_];
  throw violation;
}

void EuWalk::is(Rule rule, std::string_view text) {
  if (peek() != text) violated(rule, "due: " + std::string(text));
  ++next_;
}

std::string_view EuWalk::begins(Rule rule, std::string_view text) {
  std::string_view rest = peek();
  if (!takeOff(rest, text)) violated(rule, "due: " + std::string(text) + "...");
  ++next_;
  return rest;
}

int64_t EuWalk::answer(Rule rule, std::string_view call) {
  std::string_view rest = peek();
  if (!takeOff(rest, call) || !takeOff(rest, " = ")) violated(rule, "due: " + std::string(call) + " = ...");
  const std::optional<int64_t> number = wholeNumber(rest);
  if (!number) violated(rule, "due: " + std::string(call) + " = a number");
  ++next_;
  return *number;
}

void EuWalk::log(Rule rule, Severity severity, const std::string &message) {
  const LogKind &kind = kindOf(severity);
  const std::string consoleText = std::string(kind.label) + "/ORV/OrvDaemon, " + message;
  const std::string systemText = "ORV/OrvDaemon, " + message;
  // Half of the due line, or the due line in another form, is the log's fault; any other line is the caller's.
  const std::string_view there = peek();
  const bool sameMessage = message.find('\n') == std::string::npos && there.find(message) != std::string_view::npos;
  console(sameMessage ? Rule::LOG_TWICE : rule, "err: ", consoleText);
  const std::string call = std::string("AaSysLogPrint(") + kind.severity + ", \"ORV/OrvDaemon, %s\") = ";
  const std::string logged = ": " + orv::sim::quoted(systemText);
  std::string_view result = peek();
  if (!takeOff(result, call) || !result.ends_with(logged)) violated(Rule::LOG_TWICE, "due: " + call + "..." + logged);
  result.remove_suffix(logged.size());
  if (!wholeNumber(result)) violated(Rule::LOG_TWICE, "due: " + call + "a number" + logged);
  ++next_;
}

void EuWalk::console(Rule rule, std::string_view stream, std::string_view text) {
  for (;;) {
    const size_t end = text.find('\n');
    is(rule, std::string(stream) + std::string(text.substr(0, end)));
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

void EuWalk::ends(Rule rule) {
  is(rule, "ends");
  nothingMore(Rule::EU_LIFE);
}

void EuWalk::nothingMore(Rule rule) {
  if (next_ != own_.size()) violated(rule, "due: nothing more");
}

bool EuWalk::nextBegins(std::string_view text) const {
  return next_ < own_.size() && trace_.lines[own_[next_]].text.starts_with(text);
}

}  // namespace boots
