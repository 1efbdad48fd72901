#include "ProgramMaker.h"

namespace boots {
namespace {

using orv::sim::ProgramBehaviour;
using orv::sim::Scenario;
using orv::sim::TagType;

constexpr uint32_t MANY_APPLICATIONS = 70;

constexpr const char *ODD_PATHS[] = {"/opt/%s%n", "/opt/it's", "relative", "/opt/\xc3\xa4", "/opt/a\"b", "x"};
constexpr const char *EXE_ARGS[] = {"",           " ",    " -v",   " -v -p 5", "  two blanks",
                                    " trailing ", " a#b", " %d%s", "\t-x",     " '"};
constexpr const char *APP_ARGS[] = {"",     "-v",   "\"-c /etc/x.cfg\"", "\"a b",  "a b\"", "\"", "\"\"", "\"x\"y",
                                    " -q ", "%s%n", "\"a\"b\"",          "-v -p 5"};
constexpr const char *FLAGS[] = {"0",  "1",  "2", "3",          "3",           "",   "7",  "-1", " 2",
                                 "+1", "3x", "x", "4294967299", "-4294967295", "2 ", "010"};
constexpr const char *LINE_ENDS[] = {"\n", "\n", "\n", "\r\n", "\r", "\n\n", "\n\r"};

// The moments around which a wait of 240 s decides.
constexpr uint32_t LATE_MS[] = {239900, 239949, 239950, 239999, 240000, 240001, 240050, 300000};

constexpr int32_t WAIT_STATUSES[] = {0,    1 << 8, 2 << 8, 255 << 8, 9,      15,      11 | 0x80, 6,
                                     0x80, 0x7f,   0x137f, 0x147f,   0xffff, 0x1007e, -1,        64 << 8};
constexpr int32_t RESULTS[] = {0, 5, 5, 1, -1, 4, 6, 127};

std::string number(uint32_t value) {
  return std::to_string(value);
}

uint64_t moment(Random &random) {
  const uint32_t kind = random.below(1000);
  if (kind < 250) return 0;
  if (kind < 700) return random.below(10) * 50;
  if (kind < 985) return random.below(2000);
  return random.pick(LATE_MS);
}

ProgramBehaviour behaviour(Random &random, const std::string &path, const std::string &tag) {
  ProgramBehaviour result;
  result.path = path;
  if (!tag.empty() && random.perMille(960)) result.sets.push_back({tag, {}, moment(random)});
  if (random.perMille(30)) result.sets.push_back({"set.by." + path, {TagType::STRING, 0, "x"}, random.below(100)});
  if (random.perMille(tag.empty() ? 60 : 15)) result.launchFailure = random.pick(RESULTS);
  if (random.perMille(550)) result.runsForMs = moment(random);
  // Most programs with a tag live to set it.
  if (!result.sets.empty() && result.runsForMs && random.perMille(900)) *result.runsForMs += result.sets[0].afterMs;
  if (random.perMille(600)) result.waitStatus = random.pick(WAIT_STATUSES);
  if (random.perMille(250)) result.result = random.pick(RESULTS);
  result.waitStatusWritten = !random.perMille(120);
  if (random.perMille(200)) result.endsAfterSigtermMs = random.below(20000);
  if (random.perMille(30)) result.start = random.between(1, 2);
  return result;
}

// A path of the node; the same comes again at times.
std::string makePath(Random &random, const char *kind, uint32_t index) {
  if (random.perMille(60)) return random.pick(ODD_PATHS);
  if (random.perMille(10)) return "/" + std::string(random.between(250, 260), 'p');
  if (random.perMille(100)) index = 0;
  return std::string("/opt/") + kind + number(index);
}

// Definitions end up beside one another in odd ways.
std::string makeExecutable(Random &random, Scenario &scenario, uint32_t index) {
  if (random.perMille(40)) return random.perMille(500) ? " " : "#tag";
  const std::string path = makePath(random, "exe", index);
  std::string tag;
  if (random.perMille(450)) tag = "exe" + number(random.perMille(50) ? 0 : index) + ".online";
  if (random.perMille(15)) tag = std::string(random.between(78, 84), 't');
  scenario.programs.push_back(behaviour(random, path, tag.substr(0, 80)));
  std::string text(random.perMille(100) ? random.between(1, 2) : 0, ' ');
  text += path;
  if (random.perMille(500)) text += random.pick(EXE_ARGS);
  if (!tag.empty() || random.perMille(50)) text += "#" + tag;
  return text;
}

std::string makeTag(Random &random, uint32_t index) {
  if (!random.perMille(400)) return "";
  if (random.perMille(20)) return "odd;tag";
  if (random.perMille(10)) return std::string(random.between(253, 258), 't');
  if (random.perMille(20)) return "orv.service.aapro.watchdog_enabled";
  return "app" + number(random.perMille(30) ? 0 : index) + ".online";
}

std::string makeName(Random &random, uint32_t index) {
  if (random.perMille(30)) return "";
  if (random.perMille(30)) return "my app";
  if (random.perMille(20)) return std::string(random.between(30, 34), 'n');
  if (random.perMille(10)) return "%s\"q\"";
  return "app" + number(index);
}

std::string makeDefinition(Random &random, Scenario &scenario, uint32_t index, bool small) {
  const std::string tag = small && !random.perMille(50) ? "" : makeTag(random, index);
  const std::string path = random.perMille(30) ? "" : makePath(random, "app", index);
  if (!path.empty()) scenario.programs.push_back(behaviour(random, path.substr(0, 255), tag.substr(0, 255)));
  std::string args = random.perMille(400) ? random.pick(APP_ARGS) : "";
  if (random.perMille(5)) args = "\"" + std::string(random.between(250, 260), 'a') + "\"";
  // One draw a statement: the order of draws within an expression is the compiler's.
  std::string text = makeName(random, index) + ";" + path + ";" + args;
  text += random.perMille(300) ? ";0;" : ";;";
  text += random.pick(FLAGS);
  return text + ";" + tag;
}

// What a careless hand leaves in a file.
std::string makeOddLine(Random &random) {
  switch (random.below(12)) {
    case 0:
      return "";
    case 1:
      return "# a comment";
    case 2:
      return " # no comment;/opt/blank;;;";
    case 3:
      return "no separators";
    case 4:
      return "short;/opt/short";
    case 5:
      return "short;/opt/short;args;7;2";
    case 6:
      return ";;;;;only.a.tag";
    case 7:
      return std::string("nul;/opt/n\0ul;;;3;tag", 21);
    case 8:
      return std::string("\0hidden;/opt/hidden;;;;", 23);
    case 9:
      return "long;/opt/long;;;;" + std::string(random.between(835, 900), 'l') + ";/opt/rest;;;;";
    case 10:
      return std::string(random.between(857, 862), 'w') + "wide;/opt/wide;;;1;";
    default:
      return "ends with nul" + std::string(1, '\0');
  }
}

}  // namespace

std::string makeExecutables(Random &random, Scenario &scenario) {
  if (random.perMille(350)) return "";
  if (random.perMille(20)) return random.perMille(500) ? "|||" : " ";
  const uint32_t count = random.perMille(80) ? random.between(4, 5) : random.between(1, 3);
  std::string text;
  for (uint32_t i = 0; i < count; ++i) {
    if (i > 0) text += random.perMille(50) ? "||" : "|";
    text += makeExecutable(random, scenario, i);
  }
  if (random.perMille(30)) text += "|";
  if (random.perMille(20)) text = "|" + text;
  if (random.perMille(15)) text += " " + std::string(random.between(200, 260), 'z');
  return text;
}

std::string makeDefinitionFile(Random &random, Scenario &scenario) {
  const bool large = random.perMille(15);
  const uint32_t count = large ? random.between(60, MANY_APPLICATIONS) : random.below(5);
  const char *lineEnd = random.pick(LINE_ENDS);
  std::string text;
  for (uint32_t i = 0; i < count; ++i) {
    if (random.perMille(large ? 20 : 150)) text += makeOddLine(random) + lineEnd;
    text += makeDefinition(random, scenario, i, large);
    if (i + 1 < count || random.perMille(700)) text += random.perMille(50) ? random.pick(LINE_ENDS) : lineEnd;
  }
  if (random.perMille(60)) text += makeOddLine(random);
  return text;
}

}  // namespace boots
