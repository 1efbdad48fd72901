// Says why a change of a node's store takes so long.
//
// One process at a time may change the store. Whoever dies in the middle gives the others way at once, but one that is
// stopped there (SIGSTOP, a debugger) holds up every other writer of the node until it goes on, and no writer can do
// anything about that. What it can do is to tell who it is.
#ifndef ORV_TOOLS_LOCKWATCH_H
#define ORV_TOOLS_LOCKWATCH_H

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace orv {

// The processes that have the store of the node directory open and do not go on: stopped, traced or waiting inside the
// kernel, each as "pid 12 (/usr/bin/radio) is stopped". Those of other users are seen by root alone.
std::vector<std::string> stoppedUsers(const std::string &nodeDirectory);

// For the scope of a change: when it takes longer than some seconds, one line on standard error says what it waits for.
// The change itself goes on waiting.
class LockWatch {
 public:
  explicit LockWatch(std::string nodeDirectory);
  ~LockWatch();
  LockWatch(const LockWatch &) = delete;
  LockWatch &operator=(const LockWatch &) = delete;

 private:
  void watch();

  std::string nodeDirectory_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool done_ = false;
  std::thread thread_;
};

}  // namespace orv

#endif
