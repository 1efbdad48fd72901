// A directory of a test's own, removed at the end of its life with all that is in it.
#ifndef ORV_TESTS_FRESHDIRECTORY_H
#define ORV_TESTS_FRESHDIRECTORY_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

class FreshDirectory {
 public:
  FreshDirectory() {
    path_ = (std::filesystem::temp_directory_path() / "orv-test-XXXXXX").string();
    if (mkdtemp(path_.data()) == nullptr) throw std::system_error(errno, std::generic_category(), path_);
  }
  ~FreshDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  FreshDirectory(const FreshDirectory &) = delete;
  FreshDirectory &operator=(const FreshDirectory &) = delete;

  const std::string &path() const {
    return path_;
  }
  std::string path(const std::string &name) const {
    return path_ + "/" + name;
  }
  // Writes a file and returns its path.
  std::string write(const std::string &name, const std::string &text) const {
    const std::string file = path(name);
    std::ofstream(file, std::ios::binary) << text;
    return file;
  }
  std::string read(const std::string &name) const {
    std::ostringstream text;
    text << std::ifstream(path(name), std::ios::binary).rdbuf();
    return text.str();
  }

 private:
  std::string path_;
};

#endif
