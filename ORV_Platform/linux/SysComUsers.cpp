#include "SysComUsers.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include "Descriptor.h"
#include "NodePaths.h"

namespace orv {
namespace {

constexpr mode_t DIRECTORY_MODE = 0750;

std::string directoryPath(const std::string &nodeDirectory) {
  return nodeDirectory + "/syscom";
}

std::string socketName(uint16_t cpid) {
  char name[8];
  std::snprintf(name, sizeof name, "%04x", cpid);
  return name;
}

Status systemFailure(int error, const std::string &what) {
  return Status::failure(error, what + ": " + std::generic_category().message(error));
}

int openSocket() {
  return socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}

// The address of `path`; false when it is too long for one.
bool fillAddress(const std::string &path, sockaddr_un &address) {
  address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return false;
  path.copy(address.sun_path, path.size());
  return true;
}

// The way to a directory whose path may be too long for a socket address: `directory` is an open descriptor of it.
std::string shortWay(int directory, const std::string &name) {
  return "/proc/self/fd/" + std::to_string(directory) + "/" + name;
}

// The address of socket `name` in the directory at `path`, open as `directory`.
sockaddr_un socketAddress(const std::string &path, int directory, const std::string &name) {
  sockaddr_un address;
  // The true path where it fits, since that is what the tools that list sockets show.
  if (!fillAddress(path + "/" + name, address)) fillAddress(shortWay(directory, name), address);
  return address;
}

const sockaddr *generic(const sockaddr_un &address) {
  return reinterpret_cast<const sockaddr *>(&address);
}

// True when no process receives at the socket any more.
bool isDead(const sockaddr_un &address) {
  const Descriptor probe(openSocket());
  return probe.get() >= 0 && connect(probe.get(), generic(address), sizeof address) != 0 && errno == ECONNREFUSED;
}

int openDirectory(const std::string &path) {
  return open(path.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

// Returns 0 or the errno.
int sendToSocket(const std::string &nodeDirectory, const std::string &name, const void *data, size_t size) {
  // A socket for each message: what a slow receiver has not yet taken is charged to the sending socket, and must not
  // keep messages to others back. A message in a queue outlives the socket that sent it.
  const Descriptor sender(openSocket());
  if (sender.get() < 0) return errno;
  const std::string path = directoryPath(nodeDirectory);
  const Descriptor directory(openDirectory(path));
  if (directory.get() < 0) return errno;
  const sockaddr_un address = socketAddress(path, directory.get(), name);
  if (sendto(sender.get(), data, size, MSG_DONTWAIT | MSG_NOSIGNAL, generic(address), sizeof address) >= 0) return 0;
  // The user is being deregistered at this moment; its name is about to go.
  return errno == EPIPE ? ENOENT : errno;
}

int lockWaiting(int descriptor) {
  while (flock(descriptor, LOCK_EX) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

}  // namespace

MessageDirectory::~MessageDirectory() {
  if (descriptor_ >= 0) close(descriptor_);  // and with it the lock
}

Status MessageDirectory::makeAndLock(const std::string &nodeDirectory) {
  const std::string path = directoryPath(nodeDirectory);
  if (mkdir(path.c_str(), DIRECTORY_MODE) != 0 && errno != EEXIST) {
    return systemFailure(errno, "cannot make the message directory " + path);
  }
  if (Status status = checkPrivateDirectory(path); !status.ok()) return status;
  return lock(nodeDirectory);
}

Status MessageDirectory::lock(const std::string &nodeDirectory) {
  nodeDirectory_ = nodeDirectory;
  path_ = directoryPath(nodeDirectory);
  descriptor_ = open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor_ < 0) return systemFailure(errno, "cannot open the message directory " + path_);
  const int error = lockWaiting(descriptor_);
  return error == 0 ? Status::success() : systemFailure(error, "cannot lock the message directory " + path_);
}

Status MessageDirectory::bind(uint16_t cpid, MessageSocket &socket) {
  return bind(socketName(cpid), socket);
}

Status MessageDirectory::bind(const std::string &name, MessageSocket &socket) {
  Descriptor descriptor(openSocket());
  if (descriptor.get() < 0) return systemFailure(errno, "cannot make a message socket");
  // Before the socket has a name: no message may come without its sender's credentials.
  const int on = 1;
  if (setsockopt(descriptor.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0) {
    return systemFailure(errno, "cannot ask for the credentials of senders");
  }
  if (Status status = bindName(descriptor.get(), name); !status.ok()) return status;
  struct stat file {};
  if (fstatat(descriptor_, name.c_str(), &file, AT_SYMLINK_NOFOLLOW) != 0) {
    return systemFailure(errno, "cannot find the message socket " + path_ + "/" + name);
  }
  socket = {descriptor.release(), nodeDirectory_, path_ + "/" + name, file.st_dev, file.st_ino};
  return Status::success();
}

Status MessageDirectory::bindName(int socket, const std::string &name) const {
  const sockaddr_un address = socketAddress(path_, descriptor_, name);
  if (::bind(socket, generic(address), sizeof address) == 0) return Status::success();
  int error = errno;
  if (error == EADDRINUSE && isDead(address) && unlinkat(descriptor_, name.c_str(), 0) == 0) {
    if (::bind(socket, generic(address), sizeof address) == 0) return Status::success();
    error = errno;
  }
  return systemFailure(error, "cannot bind the message socket " + path_ + "/" + name);
}

void MessageDirectory::removeDead() {
  std::error_code error;
  std::vector<std::string> names;
  for (std::filesystem::directory_iterator entry(path_, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code unknown;
    if (entry->is_socket(unknown)) names.push_back(entry->path().filename().string());
  }
  for (const std::string &name : names) {
    if (isDead(socketAddress(path_, descriptor_, name))) unlinkat(descriptor_, name.c_str(), 0);
  }
}

void removeMessageSocketName(const MessageSocket &socket) {
  // Under the lock, so that the name cannot change hands between the look at it and its removal.
  MessageDirectory directory;
  struct stat file {};
  if (directory.lock(socket.nodeDirectory).ok() && lstat(socket.path.c_str(), &file) == 0 &&
      file.st_dev == socket.device && file.st_ino == socket.inode) {
    unlink(socket.path.c_str());
  }
}

void removeMessageSocket(const MessageSocket &socket) {
  removeMessageSocketName(socket);
  close(socket.descriptor);
}

int sendToMessageSocket(const std::string &nodeDirectory, uint16_t cpid, const void *data, size_t size) {
  return sendToSocket(nodeDirectory, socketName(cpid), data, size);
}

int connectToMessageSocket(const std::string &nodeDirectory, uint16_t cpid, int &descriptor) {
  Descriptor sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (sender.get() < 0) return errno;
  const std::string path = directoryPath(nodeDirectory);
  const Descriptor directory(openDirectory(path));
  if (directory.get() < 0) return errno;
  const sockaddr_un address = socketAddress(path, directory.get(), socketName(cpid));
  if (connect(sender.get(), generic(address), sizeof address) != 0) return errno;
  descriptor = sender.release();
  return 0;
}

std::string gatewaySocketName(uint16_t nid) {
  return "gateway-" + socketName(nid);
}

int sendToGatewaySocket(const std::string &nodeDirectory, uint16_t nid, const void *data, size_t size) {
  return sendToSocket(nodeDirectory, gatewaySocketName(nid), data, size);
}

void clearMessageSockets(const std::string &nodeDirectory) {
  MessageDirectory directory;
  if (directory.lock(nodeDirectory).ok()) directory.removeDead();
}

}  // namespace orv
