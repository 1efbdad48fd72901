#include "KeyFiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <system_error>

#include "Descriptor.h"
#include "HexText.h"
#include "NodePaths.h"
#include "RegularFile.h"
#include "ReplaceFile.h"

namespace orv {
namespace {

constexpr mode_t SECRET_MODE = 0600;
constexpr mode_t TRUSTED_MODE = 0640;
constexpr mode_t NOT_FOR_OTHERS = S_IRWXG | S_IRWXO;
constexpr mode_t NOT_WRITABLE = S_IWGRP | S_IWOTH;
constexpr size_t MAX_FILE_LENGTH = size_t{1024} * 1024;

std::string ownKeyPath(const std::string &keyDirectory) {
  return keyDirectory + "/own-key";
}

std::string trustedKeysPath(const std::string &keyDirectory) {
  return keyDirectory + "/trusted-keys";
}

// Reads a file of keys, and refuses one with an owner or with permissions under which it proves nothing.
Status readKeyFile(const std::string &path, mode_t forbidden, std::string &text) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0) {
    const int error = errno;
    return Status::failure(error, "cannot read " + path + ": " + std::generic_category().message(error));
  }
  if (file.st_uid != geteuid() && file.st_uid != 0) {
    return Status::failure(
        EPERM, path + " belongs to user " + std::to_string(file.st_uid) + " (chown it to the user who runs the node)");
  }
  if ((file.st_mode & forbidden) != 0) {
    const std::string what = (forbidden & S_IRGRP) != 0 ? " is open to others" : " can be changed by others";
    return Status::failure(EPERM, path + what + " (chmod " + ((forbidden & S_IRGRP) != 0 ? "600 " : "640 ") + path +
                                      ", and make new keys if somebody else may have had it)");
  }
  Status status = readRegularFile(path, MAX_FILE_LENGTH, text);
  return status.ok() ? status : Status::failure(status.code, "cannot read " + status.message);
}

// Takes the text up to `end` off the front; false where there is no `end`.
bool takeUpTo(std::string_view &text, char end, std::string_view &taken) {
  const size_t length = text.find(end);
  if (length == std::string_view::npos) return false;
  taken = text.substr(0, length);
  text.remove_prefix(length + 1);
  return true;
}

bool takeField(std::string_view &text, std::string_view name, Key &key) {
  std::string_view line;
  if (!text.starts_with(name) || !takeUpTo(text, '\n', line)) return false;
  const std::optional<Key> parsed = keyOf(line.substr(name.size()));
  if (!parsed) return false;
  key = *parsed;
  return true;
}

bool parseTrusted(std::string_view line, TrustedKey &trusted) {
  std::string_view nid;
  if (!line.starts_with("0x") || !takeUpTo(line, ' ', nid)) return false;
  const char *end = nid.data() + nid.size();
  const auto [last, error] = std::from_chars(nid.data() + 2, end, trusted.nid, 16);
  const std::optional<Key> key = keyOf(line);
  if (error != std::errc() || last != end || trusted.nid == 0 || !key) return false;
  trusted.key = *key;
  return true;
}

// Holds every other change of a key directory off for as long as it lives.
class KeyLock {
 public:
  Status lock(const std::string &keyDirectory) {
    if (Status status = ensurePrivateDirectory(keyDirectory); !status.ok()) return status;
    const std::string path = keyDirectory + "/lock";
    const int opened = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, SECRET_MODE);
    if (opened < 0) return failure(errno, "open", path);
    descriptor_ = opened;
    while (flock(descriptor_, LOCK_EX) != 0) {
      if (errno != EINTR) return failure(errno, "lock", path);
    }
    return Status::success();
  }
  KeyLock() = default;
  ~KeyLock() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  KeyLock(const KeyLock &) = delete;
  KeyLock &operator=(const KeyLock &) = delete;

 private:
  static Status failure(int error, const std::string &what, const std::string &path) {
    return Status::failure(error, "cannot " + what + " " + path + ": " + std::generic_category().message(error));
  }
  int descriptor_ = -1;
};

Status writeTrusted(const std::string &keyDirectory, std::vector<TrustedKey> keys) {
  std::sort(keys.begin(), keys.end(), [](const auto &a, const auto &b) { return a.nid < b.nid; });
  std::string text;
  for (const TrustedKey &each : keys)
    text += nidText(each.nid) + " " + hexOf(each.key) + "\n";
  return replaceFile(trustedKeysPath(keyDirectory), TRUSTED_MODE, text);
}

}  // namespace

std::string defaultKeyDirectory(const std::string &stateDirectory) {
  return stateDirectory + "/gateway";
}

std::string hexOf(const Key &key) {
  constexpr const char *DIGITS = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : key) {
    text += DIGITS[byte >> 4];
    text += DIGITS[byte & 15];
  }
  return text;
}

std::optional<Key> keyOf(std::string_view hex) {
  Key key{};
  if (hex.size() != key.size() * 2) return std::nullopt;
  for (size_t i = 0; i < key.size(); ++i) {
    const char *digits = hex.data() + 2 * i;
    const auto [last, error] = std::from_chars(digits, digits + 2, key[i], 16);
    if (error != std::errc() || last != digits + 2) return std::nullopt;
  }
  return key;
}

Status readKeyPair(const std::string &keyDirectory, KeyPair &keys) {
  const std::string path = ownKeyPath(keyDirectory);
  std::string text;
  if (Status status = readKeyFile(path, NOT_FOR_OTHERS, text); !status.ok()) return status;
  std::string_view rest = text;
  if (takeField(rest, "public=", keys.publicKey) && takeField(rest, "secret=", keys.secretKey) && rest.empty()) {
    return Status::success();
  }
  return Status::failure(EINVAL, path + " is no file of keys (make new ones with `orvctl keys generate --force`)");
}

Status writeKeyPair(const std::string &keyDirectory, const KeyPair &keys, bool replace) {
  KeyLock lock;
  if (Status status = lock.lock(keyDirectory); !status.ok()) return status;
  const std::string path = ownKeyPath(keyDirectory);
  if (!replace && access(path.c_str(), F_OK) == 0) {
    return Status::failure(EEXIST, "this node has keys already, in " + path +
                                       " (--force replaces them; every other node then has to trust the new one)");
  }
  return replaceFile(path, SECRET_MODE, "public=" + hexOf(keys.publicKey) + "\nsecret=" + hexOf(keys.secretKey) + "\n");
}

Status readTrustedKeys(const std::string &keyDirectory, std::vector<TrustedKey> &keys) {
  const std::string path = trustedKeysPath(keyDirectory);
  keys.clear();
  std::string text;
  Status status = readKeyFile(path, NOT_WRITABLE, text);
  if (status.code == ENOENT) return Status::success();
  if (!status.ok()) return status;
  std::string_view rest = text;
  for (size_t number = 1; !rest.empty(); ++number) {
    std::string_view line;
    TrustedKey trusted;
    if (!takeUpTo(rest, '\n', line) || !parseTrusted(line, trusted)) {
      keys.clear();
      return Status::failure(EINVAL, path + ":" + std::to_string(number) +
                                         ": expected a node id such as 0x2011, a blank and a key of 64 hexadecimal "
                                         "digits (use `orvctl keys trust`)");
    }
    keys.push_back(trusted);
  }
  return Status::success();
}

Status trustKey(const std::string &keyDirectory, const TrustedKey &trusted) {
  KeyLock lock;
  if (Status status = lock.lock(keyDirectory); !status.ok()) return status;
  std::vector<TrustedKey> keys;
  if (Status status = readTrustedKeys(keyDirectory, keys); !status.ok()) return status;
  for (const TrustedKey &each : keys) {
    if (each.key != trusted.key || each.nid == trusted.nid) continue;
    return Status::failure(EEXIST, "this is the key of node " + nidText(each.nid) +
                                       " already (a key belongs to one node; `orvctl keys untrust " +
                                       nidText(each.nid) + "` takes it back)");
  }
  std::erase_if(keys, [&](const TrustedKey &each) { return each.nid == trusted.nid; });
  keys.push_back(trusted);
  return writeTrusted(keyDirectory, std::move(keys));
}

Status untrustKey(const std::string &keyDirectory, uint16_t nid, bool &wasTrusted) {
  KeyLock lock;
  if (Status status = lock.lock(keyDirectory); !status.ok()) return status;
  std::vector<TrustedKey> keys;
  if (Status status = readTrustedKeys(keyDirectory, keys); !status.ok()) return status;
  wasTrusted = std::erase_if(keys, [&](const TrustedKey &each) { return each.nid == nid; }) != 0;
  return wasTrusted ? writeTrusted(keyDirectory, std::move(keys)) : Status::success();
}

}  // namespace orv
