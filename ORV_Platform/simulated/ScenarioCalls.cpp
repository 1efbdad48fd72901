#include "ScenarioCalls.h"

#include <iterator>
#include <limits>

#include "Calls.h"
#include "HexText.h"
#include "Trace.h"

namespace orv::sim {
namespace {

// What the calls of a function can be told apart by.
enum class Argument { NONE, TEXT, NUMBER };

struct Range {
  int64_t least;
  int64_t most;
};

constexpr Range NULL_ADDRESS{0, 0};
constexpr Range UNSIGNED_16{0, std::numeric_limits<uint16_t>::max()};
constexpr Range UNSIGNED_32{0, std::numeric_limits<uint32_t>::max()};
constexpr Range SIGNED_32{std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()};
constexpr Range ERRNO{0, std::numeric_limits<int32_t>::max()};

struct Shape {
  Call call;
  Argument argument;
  Range result;
};

constexpr Shape SHAPES[] = {
    {Call::EARLY_STARTUP, Argument::NONE, SIGNED_32},
    {Call::CE_STARTUP, Argument::NONE, SIGNED_32},
    {Call::CE_SHUTDOWN, Argument::NONE, SIGNED_32},
    {Call::UNGRACEFUL_COUNT, Argument::NONE, UNSIGNED_32},
    {Call::EU_CREATE, Argument::TEXT, SIGNED_32},
    {Call::EU_CREATE_JOINABLE, Argument::TEXT, SIGNED_32},
    {Call::EU_CURRENT, Argument::NONE, UNSIGNED_32},
    {Call::CMD_EXEC, Argument::TEXT, SIGNED_32},
    {Call::TAG_SET_STRING, Argument::TEXT, SIGNED_32},
    {Call::TAG_SET_U16, Argument::TEXT, SIGNED_32},
    {Call::TAG_SET_U32, Argument::TEXT, SIGNED_32},
    {Call::TAG_READ_FILE, Argument::TEXT, SIGNED_32},
    {Call::TAG_IS_SET, Argument::TEXT, SIGNED_32},
    {Call::TAG_GET_STRING, Argument::TEXT, SIGNED_32},
    {Call::RAD_GET, Argument::NUMBER, UNSIGNED_32},
    {Call::USER_REGISTER, Argument::NONE, UNSIGNED_32},
    {Call::USER_DEREGISTER, Argument::NUMBER, SIGNED_32},
    {Call::MSG_CREATE, Argument::NUMBER, NULL_ADDRESS},
    {Call::MSG_SEND, Argument::NUMBER, SIGNED_32},
    {Call::OWN_NID, Argument::NONE, UNSIGNED_16},
    {Call::FILE_OPEN, Argument::TEXT, NULL_ADDRESS},
    {Call::FILE_READ, Argument::NONE, UNSIGNED_32},
    {Call::FILE_CLOSE, Argument::NONE, SIGNED_32},
    {Call::SLEEP, Argument::NONE, SIGNED_32},
    {Call::LOG_PRINT, Argument::NONE, SIGNED_32},
    {Call::NOTIFY_READY, Argument::NONE, SIGNED_32},
    {Call::WATCHDOG_REBOOT, Argument::NONE, SIGNED_32},
    {Call::SEM_INIT, Argument::NONE, ERRNO},
    {Call::SEM_WAIT, Argument::NONE, ERRNO},
    {Call::SEM_POST, Argument::NONE, ERRNO},
};
static_assert(std::size(SHAPES) == static_cast<size_t>(Call::COUNT), "a shape for each call");

constexpr const char *CALLS_WITHOUT_RESULT[] = {"AaErrorExceptionRaise", "AaMemUnRefDbg"};

const Shape *shapeOf(const std::string &name) {
  for (const Shape &shape : SHAPES) {
    if (name == callName(shape.call)) return &shape;
  }
  return nullptr;
}

void readName(ScenarioReader &reader, const Item &item, CallResult &call) {
  reader.name(item, call.call);
  for (const char *name : CALLS_WITHOUT_RESULT) {
    if (call.call != name) continue;
    return reader.refuse(item, "is " + shown(name) + ", which returns nothing (remove the call)");
  }
  if (call.call.empty() || shapeOf(call.call) != nullptr) return;
  std::vector<std::string> names;
  for (const Shape &shape : SHAPES)
    names.emplace_back(callName(shape.call));
  reader.refuse(item, "is the unknown call " + shown(call.call) +
                          suggestion(call.call, names, "the calls are the functions of the platform's headers"));
}

// What argument and result may be depends on the function and is looked at when that is known.
void readLater(ScenarioReader &, const Item &, CallResult &) {}

constexpr Field<CallResult> CALL_FIELDS[] = {
    {"name", "the name of the function", readName},
    {"occurrence", nullptr, into<&ScenarioReader::unsigned32, &CallResult::occurrence>},
    {"argument", nullptr, readLater},
    {"result", "what it returns", readLater},
};

void readArgument(ScenarioReader &reader, const Item &item, const Shape &shape, CallResult &call) {
  if (shape.argument == Argument::NONE) {
    return reader.refuse(item, "is given, but calls of " + call.call + " cannot be told apart by one (remove it)");
  }
  if (shape.argument == Argument::TEXT) return reader.text(item, call.argument.emplace());
  uint32_t number = 0;
  reader.number32(item, number);
  call.argument = hexText(number);
}

}  // namespace

void readCalls(ScenarioReader &reader, const Item &item, std::vector<CallResult> &calls) {
  for (const toml::table *table : reader.tables(item, "[[call]]")) {
    CallResult &call = calls.emplace_back();
    readFields(reader, *table, "[[call]]", CALL_FIELDS, call);
    const Shape *shape = shapeOf(call.call);
    if (shape == nullptr) continue;
    if (const toml::node *argument = table->get("argument")) {
      readArgument(reader, {"\"argument\"", *argument}, *shape, call);
    }
    if (const toml::node *result = table->get("result")) {
      reader.integer({"\"result\" of " + call.call, *result}, shape->result.least, shape->result.most, call.result);
    }
  }
}

std::vector<std::string> callKeys() {
  return keysOf(CALL_FIELDS);
}

}  // namespace orv::sim
