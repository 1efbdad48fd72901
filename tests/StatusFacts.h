// A node as the tests of status, why and report have it: two applications, of which the second is waited for.
#ifndef ORV_TESTS_STATUSFACTS_H
#define ORV_TESTS_STATUSFACTS_H

#include <stdlib.h>
#include <time.h>

#include <string>

#include "Clock.h"
#include "NodeStatus.h"

namespace statusfacts {

using orv::NS_PER_MS;
using orv::NS_PER_S;
constexpr uint64_t START_NS = 1000 * NS_PER_S;

inline orv::Tag tagSetBy(const std::string &name, const std::string &euName, uint64_t afterMs) {
  orv::Tag tag;
  tag.name = name;
  tag.value = {orv::TagType::U32, 1, {}};
  tag.setter.pid = 50;
  tag.setter.euName = euName;
  tag.setNs = START_NS + afterMs * NS_PER_MS;
  tag.run = 3;
  return tag;
}

inline orv::EuRecord eu(uint32_t id, const std::string &name, const std::string &path, uint32_t flags) {
  orv::EuRecord record;
  record.id = id;
  record.state = path.empty() ? orv::EuState::CREATED : orv::EuState::RUNNING;
  record.name = name;
  record.path = path;
  record.supervisionFlags = flags;
  record.pid = path.empty() ? 0 : 40 + id;
  record.createdNs = START_NS + id * 100 * NS_PER_MS;
  record.startedNs = path.empty() ? 0 : record.createdNs + 10 * NS_PER_MS;
  return record;
}

// 12 s into the run: radio is online, pump is waited for since 0.3 s, valve has its turn after it.
inline orv::StatusSource waitingNode() {
  setenv("TZ", "UTC", 1);
  tzset();
  orv::StatusSource source;
  orv::RunInfo run;
  run.number = 3;
  run.state = orv::RunState::UP;
  run.daemonPid = 42;
  run.startedNs = START_NS;
  run.startedRealtimeNs = 1700000000 * NS_PER_S;  // 22:13:20 UTC
  run.nid = 0x11;
  run.masterNid = 0x10;
  run.ceName = "CE-1";
  source.run = run;
  source.daemonIsAlive = true;
  source.nowNs = START_NS + 12 * NS_PER_S;
  source.eus = {eu(1, "ceInternalStartupEu", "", 0), eu(2, "radio", "/bin/radio", 1), eu(3, "pump", "/bin/pump", 3)};
  source.tags = {tagSetBy("radio.online", "radio", 250)};
  source.plan.programs = {{true, "radio", "/bin/radio", "", 1, "radio.online"},
                          {true, "pump", "/bin/pump", "", 3, "pump.online"},
                          {true, "valve", "/bin/valve", "-v", 2, "valve.online"}};
  source.plan.definitionFile = "/etc/AppDef.txt";
  orv::StartupModel model;
  model.run = 3;
  model.state = orv::StartupState::GOING_ON;
  model.lengthNs = 12 * NS_PER_S;
  model.programs.resize(2);
  model.programs[0].euId = 2;
  model.programs[0].name = "radio";
  model.programs[0].wait =
      orv::StartupWait{"radio.online", 210 * NS_PER_MS, 260 * NS_PER_MS, orv::WaitState::ONLINE, 240000};
  model.programs[1].euId = 3;
  model.programs[1].name = "pump";
  model.programs[1].wait =
      orv::StartupWait{"pump.online", 300 * NS_PER_MS, std::nullopt, orv::WaitState::STILL_WAITING, 240000};
  source.startup = model;
  return source;
}

}  // namespace statusfacts

#endif
