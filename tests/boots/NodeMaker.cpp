#include "NodeMaker.h"

#include "CommandLineMaker.h"
#include "FaultMaker.h"
#include "ProgramMaker.h"
#include "Random.h"

namespace boots {
namespace {

using orv::sim::Scenario;
using orv::sim::TagType;
using orv::sim::TagValue;

constexpr uint32_t RAD_EXE_BUDGET = 0x10070;
constexpr uint32_t RAD_FILE_OPTIONAL = 0x10063;
constexpr uint32_t RAD_NO_RESET = 0x10077;

constexpr uint32_t BUDGETS_MS[] = {0, 1, 49, 50, 51, 99, 100, 120, 149, 150, 1000, 2000, 5000, 12345};
constexpr uint32_t LONGEST_BUDGET_MS = 0xffffffff;

// A wait without an end worth waiting for ends with the boot.
constexpr uint64_t FEW_OPERATIONS = 20000;

void makeTags(Random &random, Scenario &scenario) {
  if (random.perMille(450)) scenario.tags["orv.service.aapro.watchdog_enabled"] = {};
  if (random.perMille(30)) scenario.tags["sys.repair.center.reset"] = {TagType::STRING, 0, ""};
  if (random.perMille(30)) scenario.tags["sys.configuration.reset"] = {TagType::U16, 0, ""};
  if (random.perMille(20)) scenario.tags["app0.online"] = {};
  if (random.perMille(20)) scenario.tags["exe0.online"] = {};
  if (random.perMille(15)) {
    scenario.timedTags.push_back(
        {"orv.service.aapro.watchdog_enabled", TagValue{TagType::STRING, 0, "on"}, random.below(300000)});
  }
}

void makeRad(Random &random, Scenario &scenario) {
  if (random.perMille(700)) scenario.rad[RAD_EXE_BUDGET] = random.pick(BUDGETS_MS);
  if (random.perMille(100)) scenario.rad[RAD_EXE_BUDGET] = random.below(4000);
  if (random.perMille(10)) {
    scenario.rad[RAD_EXE_BUDGET] = LONGEST_BUDGET_MS - random.below(3);
    scenario.endAtMs = random.between(1, 10000);
    scenario.maxOperations = FEW_OPERATIONS;
  }
  if (random.perMille(400)) scenario.rad[RAD_FILE_OPTIONAL] = random.below(2);
  if (random.perMille(200)) scenario.rad[RAD_NO_RESET] = random.below(3);
}

// Where the definition file lies, and whether the tag that names it says so.
void makeFile(Random &random, Scenario &scenario) {
  constexpr const char *NAMES[] = {"/rom/AppDef.txt", "/etc/other apps.txt", "", "/rom/%s.txt"};
  const char *tag = "app.hwapi.appcfg.filename";
  std::string name = NAMES[0];
  if (random.perMille(250)) {
    name = random.pick(NAMES);
    scenario.tags[tag] = {TagType::STRING, 0, name};
  } else if (random.perMille(20)) {
    scenario.tags[tag] = {TagType::U32, 7, ""};
  }
  if (random.perMille(60)) return;  // missing
  if (random.perMille(30)) name = random.pick(NAMES);
  scenario.files[name] = makeDefinitionFile(random, scenario);
}

void makeConfigFiles(Random &random, Scenario &scenario) {
  if (!random.perMille(200)) return;
  auto &early = scenario.configFiles["early.xml"];
  early["from.early"] = {TagType::STRING, 0, "text"};
  if (random.perMille(200)) early["app0.online"] = {};
  auto &runTime = scenario.configFiles["runtime.xml"];
  runTime["from.runtime"] = {TagType::U16, 3, ""};
  if (random.perMille(200)) runTime["orv.service.aapro.watchdog_enabled"] = {};
  if (random.perMille(50)) runTime["sys.configuration.reset"] = {};
}

}  // namespace

Node makeNode(uint64_t seed) {
  Random random(seed);
  Node node;
  Scenario &scenario = node.scenario;
  if (random.perMille(750)) scenario.seed = random.next() | 1;
  makeTags(random, scenario);
  makeRad(random, scenario);
  makeConfigFiles(random, scenario);
  makeFile(random, scenario);
  const std::string executables = makeExecutables(random, scenario);
  node.arguments = makeArguments(random, executables);
  if (random.perMille(120)) scenario.ungracefulCount = random.between(1, 3);
  if (random.perMille(300)) scenario.graceTimeMs = random.below(20000);
  if (random.perMille(30)) scenario.endAtMs = random.between(1, random.perMille(500) ? 3000 : 300000);
  makeFaults(random, scenario);
  makeSignals(random, scenario);
  return node;
}

}  // namespace boots
