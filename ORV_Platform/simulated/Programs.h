// The programs of a simulated node: they run for as long as the scenario says, set their tags and end.
#ifndef ORV_SIMULATED_PROGRAMS_H
#define ORV_SIMULATED_PROGRAMS_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Scenario.h"
#include "Scheduler.h"

namespace orv::sim {

class Simulation;

class Programs {
 public:
  explicit Programs(Simulation &simulation) : simulation_(simulation) {}

  void begin();

  // Runs a program under the current unit and returns its command's result. `waitStatus` stays as it is where the
  // scenario says so. Throws BootEnded.
  int32_t run(const std::string &path, const std::string &args, int32_t &waitStatus);

  // Ends all programs; their commands do not return. Comes back when the last is gone. Throws BootEnded.
  void endAll();

 private:
  struct Program {
    const ProgramBehaviour *behaviour = nullptr;
    std::string text;  // for the trace
    Unit *unit = nullptr;
    bool runs = true;
  };

  const ProgramBehaviour &behaviourOf(const std::string &path, const std::string &args);
  void schedule(Program &program);

  Simulation &simulation_;
  bool shuttingDown_ = false;
  std::vector<std::unique_ptr<Program>> programs_;
  std::map<std::string, uint32_t> starts_;  // by path
};

}  // namespace orv::sim

#endif
