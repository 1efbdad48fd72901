// A limit of this process, lower for the lifetime of the object.
#ifndef ORV_TESTS_LIMITED_H
#define ORV_TESTS_LIMITED_H

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

class Limited {
 public:
  Limited(decltype(RLIMIT_NOFILE) resource, rlim_t limit) : resource_(resource) {
    EXPECT_EQ(getrlimit(resource_, &before_), 0);
    const rlimit lower = {limit, before_.rlim_max};
    EXPECT_EQ(setrlimit(resource_, &lower), 0);
  }
  ~Limited() {
    setrlimit(resource_, &before_);
  }
  Limited(const Limited &) = delete;
  Limited &operator=(const Limited &) = delete;

 private:
  decltype(RLIMIT_NOFILE) resource_;
  rlimit before_{};
};

// The number that the next descriptor of this process gets: as a limit of RLIMIT_NOFILE it leaves none.
inline rlim_t nextDescriptor() {
  const int lowestFree = dup(STDIN_FILENO);
  EXPECT_GE(lowestFree, 0);
  close(lowestFree);
  return static_cast<rlim_t>(lowestFree);
}

#endif
