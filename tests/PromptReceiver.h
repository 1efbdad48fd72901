// A receiver of datagrams that reads as soon as there is something: a service manager, a journal. A socket holds eleven
// datagrams unread, and the daemon, which waits for no receiver, gives the next one up.
#ifndef ORV_TESTS_PROMPTRECEIVER_H
#define ORV_TESTS_PROMPTRECEIVER_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "DatagramReceiver.h"

class PromptReceiver {
 public:
  explicit PromptReceiver(std::string path) : path_(std::move(path)), receiver_(path_), reader_([this] { read(); }) {}
  ~PromptReceiver() {
    say(END);
    reader_.join();
  }
  PromptReceiver(const PromptReceiver &) = delete;
  PromptReceiver &operator=(const PromptReceiver &) = delete;

  // The next datagram, and when it was sent; waits for it.
  DatagramReceiver::Datagram nextDatagram() {
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, std::chrono::seconds(60), [this] { return !datagrams_.empty(); }))
      return {"nothing", {}};
    DatagramReceiver::Datagram datagram = std::move(datagrams_.front());
    datagrams_.pop_front();
    return datagram;
  }
  std::string next() {
    return nextDatagram().text;
  }
  // Puts a datagram of the test's own behind what has been sent so far.
  void say(const std::string &datagram) const {
    const int sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    path_.copy(name.sun_path, sizeof name.sun_path - 1);
    EXPECT_EQ(
        sendto(sender, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr *>(&name), sizeof name),
        static_cast<ssize_t>(datagram.size()));
    close(sender);
  }

 private:
  static constexpr const char *END = "the test's end";

  void read() {
    for (auto datagram = receiver_.nextDatagram(); datagram.text != END; datagram = receiver_.nextDatagram()) {
      if (datagram.text.starts_with("nothing")) continue;  // how long to wait is said in nextDatagram
      const std::lock_guard lock(mutex_);
      datagrams_.push_back(std::move(datagram));
      arrived_.notify_one();
    }
  }

  const std::string path_;
  const DatagramReceiver receiver_;
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<DatagramReceiver::Datagram> datagrams_;
  std::thread reader_;
};

#endif
