// Runs the steps of a guide (GuideText.h) and compares what its commands print with what is shown.
//
// Each terminal is a shell of its own that lives as long as the guide, so that variables, the current folder and $? are
// as the reader has them. The folder in which he works is a fresh one, removed at the end with every process that has
// been started. It is HOME as well; orv/ in it is the installation (bin, lib, include, share), whose programs are in
// PATH. ORV_NODE_DIR and ORV_STATE_DIR lie in it from the beginning, so that no guide can touch a node of the machine.
#ifndef ORV_TESTS_GUIDERUNNER_H
#define ORV_TESTS_GUIDERUNNER_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "DaemonProcess.h"
#include "FreshDirectory.h"
#include "GuideText.h"

class GuideRunner {
 public:
  GuideRunner();
  ~GuideRunner();
  GuideRunner(const GuideRunner &) = delete;
  GuideRunner &operator=(const GuideRunner &) = delete;

  // Takes the steps in order. Returns what was not as shown, each with the number of its line; empty where all was. A
  // command behind which Ctrl-C or more output comes in the same terminal runs on, until Ctrl-C or to its own end.
  std::vector<std::string> run(const std::vector<GuideStep> &steps);

  const std::string &directory() const {
    return directory_.path();
  }

 private:
  struct Terminal;

  Terminal &terminal(unsigned number);
  void take(const GuideStep &step, bool runsOn);
  void takeCommand(const GuideStep &step, bool runsOn);
  void waitForOutput(const GuideStep &step);
  void takeHidden(const GuideStep &step);
  void writeFile(const GuideStep &step);
  void compare(const GuideStep &step, const std::vector<std::string> &lines);
  void report(const GuideStep &step, const std::string &what);

  FreshDirectory directory_;
  std::map<unsigned, std::unique_ptr<Terminal>> terminals_;
  std::vector<std::string> problems_;
};

#endif
