#include "NodePaths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <system_error>

namespace orv {
namespace {

constexpr mode_t PRIVATE_MODE = 0750;
constexpr mode_t PARENT_MODE = 0755;

// What a message about an unfit directory ends with.
constexpr const char *NAME_ANOTHER =
    ", or name another directory: ORV_NODE_DIR for what is volatile, ORV_STATE_DIR for what has to stay";

// The value of an environment variable; empty where it is not set, which is to mean the same.
std::string environment(const char *name) {
  const char *value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// The same for a folder of the user's: a relative one would mean another place in each process, so it does not count.
std::string absoluteFolder(const char *name) {
  const std::string value = environment(name);
  return value.starts_with("/") ? value : "";
}

bool isRoot() {
  return geteuid() == 0;
}

// A slash at the end would make the kernel follow a symbolic link that is to be found out.
std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.ends_with("/"))
    path.pop_back();
  return path;
}

Status systemFailure(int error, const std::string &what, const std::string &advice) {
  return Status::failure(error, what + ": " + std::generic_category().message(error) + advice);
}

Status makeDirectory(const std::string &path, mode_t mode) {
  if (mkdir(path.c_str(), mode) == 0) {
    if (mode == PRIVATE_MODE) giveToNodeGroup(path);
    return Status::success();
  }
  if (errno == EEXIST) return Status::success();
  const int error = errno;
  // The kernel looks at its own obstacles (a read-only file system) before it notices that the directory is there.
  if (access(path.c_str(), F_OK) == 0) return Status::success();
  return systemFailure(error, "cannot make directory " + path,
                       std::string(" (make it by hand for the user who runs the node") + NAME_ANOTHER + ")");
}

Status makeParents(const std::string &path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    if (Status status = makeDirectory(path.substr(0, slash), PARENT_MODE); !status.ok()) return status;
  }
  return Status::success();
}

Status unfit(int code, const std::string &directory, const std::string &why, const std::string &remedy) {
  return Status::failure(code,
                         "directory " + directory + " cannot be trusted: " + why + " (" + remedy + NAME_ANOTHER + ")");
}

}  // namespace

std::string nodeDirectory() {
  if (std::string named = environment("ORV_NODE_DIR"); !named.empty()) return named;
  if (isRoot()) return "/run/orv";
  if (const std::string runtime = absoluteFolder("XDG_RUNTIME_DIR"); !runtime.empty()) return runtime + "/orv";
  const std::string temporary = absoluteFolder("TMPDIR");
  return (temporary.empty() ? "/tmp" : temporary) + "/orv-" + std::to_string(geteuid());
}

std::string stateDirectory() {
  if (std::string named = environment("ORV_STATE_DIR"); !named.empty()) return named;
  if (isRoot()) return "/var/lib/orv";
  if (const std::string state = absoluteFolder("XDG_STATE_HOME"); !state.empty()) return state + "/orv";
  if (const std::string home = absoluteFolder("HOME"); !home.empty()) return home + "/.local/state/orv";
  return nodeDirectory() + "/state";
}

std::string configurationFile() {
  const std::string named = environment("ORV_CONFIG");
  return named.empty() ? "/etc/orv/platform.xml" : named;
}

bool configurationFileIsNamed() {
  return !environment("ORV_CONFIG").empty();
}

namespace {

// The number of group `orv` in the machine's own list; nothing where there is none. The directory services that a
// library function would ask as well take longer than the rest of the node's start.
std::optional<gid_t> nodeGroup() {
  constexpr std::string_view NAME = "orv:";
  FILE *file = std::fopen("/etc/group", "re");
  if (file == nullptr) return std::nullopt;
  std::optional<gid_t> number;
  char line[1024];
  // A line of a group with many members comes in pieces; none but the first begins with a name.
  for (bool begins = true; !number && std::fgets(line, sizeof line, file) != nullptr;) {
    const std::string_view text = line;
    const size_t password = text.find(':', NAME.size());
    if (begins && text.starts_with(NAME) && password != std::string_view::npos) {
      gid_t found = 0;
      const char *digits = line + password + 1;
      if (std::from_chars(digits, line + text.size(), found).ec == std::errc()) number = found;
    }
    begins = text.ends_with('\n');
  }
  std::fclose(file);
  return number;
}

}  // namespace

void giveToNodeGroup(const std::string &path) {
  const std::optional<gid_t> group = nodeGroup();
  if (!group) return;
  // Result not examined, as promised. A link is changed itself and not followed.
  static_cast<void>(lchown(path.c_str(), static_cast<uid_t>(-1), *group) == 0);
}

Status ensurePrivateDirectory(const std::string &directory) {
  const std::string path = withoutTrailingSlashes(directory);
  Status status = makeParents(path);
  if (status.ok()) status = makeDirectory(path, PRIVATE_MODE);
  return status.ok() ? checkPrivateDirectory(path) : status;
}

Status checkPrivateDirectory(const std::string &directory) {
  const std::string path = withoutTrailingSlashes(directory);
  struct stat file {};
  if (lstat(path.c_str(), &file) != 0) {
    const int error = errno;
    return systemFailure(error, "cannot use directory " + path,
                         error == ENOENT ? std::string(" (start the node first") + NAME_ANOTHER + ")" : "");
  }
  if (S_ISLNK(file.st_mode)) return unfit(ELOOP, path, "it is a symbolic link", "name the directory it points to");
  if (!S_ISDIR(file.st_mode)) return unfit(ENOTDIR, path, "it is not a directory", "remove it");
  if (file.st_uid != geteuid() && file.st_uid != 0) {
    const std::string owner = std::to_string(file.st_uid);
    return unfit(EPERM, path, "it belongs to user " + owner + " and not to root or user " + std::to_string(geteuid()),
                 "run as user " + owner);
  }
  if ((file.st_mode & S_IWOTH) != 0) {
    // The sticky bit tells a folder that is meant for everybody, such as /tmp.
    const bool isShared = (file.st_mode & S_ISVTX) != 0;
    return unfit(EPERM, path, "everybody may write to it", isShared ? "make one in it" : "chmod o-w " + path);
  }
  return Status::success();
}

}  // namespace orv
