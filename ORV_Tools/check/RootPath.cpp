#include "check/RootPath.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <deque>
#include <memory>

namespace orv::checking {
namespace {

constexpr int MAX_LINKS = 40;  // as the kernel allows

std::deque<std::string> partsOf(const std::string &path) {
  std::deque<std::string> parts;
  for (size_t begin = 0; begin < path.size();) {
    const size_t end = std::min(path.find('/', begin), path.size());
    if (end > begin) parts.push_back(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

RootedPath followHere(const std::string &path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
  if (!real) return {errno, path, path};
  return {0, real.get(), real.get()};
}

class Follower {
 public:
  explicit Follower(const std::string &root) : root_(root) {}

  RootedPath follow(const std::string &path) {
    rest_ = partsOf(path);
    while (!rest_.empty()) {
      const std::string part = rest_.front();
      rest_.pop_front();
      if (part == ".") continue;
      if (part == "..") {
        done_.erase(std::min(done_.rfind('/'), done_.size()));
        continue;
      }
      if (const int error = enter(part); error != 0) return {error, path, root_ + path};
    }
    return {0, done_.empty() ? "/" : done_, root_ + done_};
  }

 private:
  int enter(const std::string &part) {
    const std::string here = root_ + done_ + "/" + part;
    struct stat file = {};
    if (lstat(here.c_str(), &file) != 0) return errno;
    if (!S_ISLNK(file.st_mode)) {
      done_ += "/" + part;
      return rest_.empty() || S_ISDIR(file.st_mode) ? 0 : ENOTDIR;
    }
    if (++links_ > MAX_LINKS) return ELOOP;
    std::array<char, PATH_MAX> target;
    const ssize_t length = readlink(here.c_str(), target.data(), target.size());
    if (length < 0) return errno;
    const std::string text(target.data(), static_cast<size_t>(length));
    if (text.starts_with('/')) done_.clear();
    std::deque<std::string> parts = partsOf(text);
    parts.insert(parts.end(), rest_.begin(), rest_.end());
    rest_ = std::move(parts);
    return 0;
  }

  std::string root_;
  std::string done_;
  std::deque<std::string> rest_;
  int links_ = 0;
};

}  // namespace

RootedPath followBelow(const std::string &root, const std::string &path) {
  return root.empty() ? followHere(path) : Follower(root).follow(path);
}

}  // namespace orv::checking
