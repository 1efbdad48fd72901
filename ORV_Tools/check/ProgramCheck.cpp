#include "check/ProgramCheck.h"

#include <dirent.h>
#include <elf.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <sstream>
#include <system_error>

#include "RegularFile.h"
#include "Suggestion.h"
#include "Words.h"
#include "check/ElfHeader.h"
#include "check/LibrarySearch.h"
#include "check/RootPath.h"

namespace orv::checking {
namespace {

constexpr CheckSeverity WARNING = CheckSeverity::WARNING;
constexpr CheckSeverity ERROR = CheckSeverity::ERROR;
constexpr mode_t ANY_EXECUTE = S_IXUSR | S_IXGRP | S_IXOTH;
constexpr int MAX_INTERPRETERS = 4;  // one of another, as the kernel allows

std::string systemText(int error) {
  return std::generic_category().message(error);
}

std::string startFails(int error) {
  return "the start fails: " + systemText(error);
}

// A name near to that of `path` in its folder; empty where there is none.
std::string nearPath(const std::string &root, const std::string &path) {
  const size_t slash = path.rfind('/');
  const std::string folder = path.substr(0, slash + 1);
  const RootedPath found = followBelow(root, folder);
  const std::unique_ptr<DIR, int (*)(DIR *)> directory(found.error == 0 ? opendir(found.here.c_str()) : nullptr,
                                                       [](DIR *each) { return each == nullptr ? 0 : closedir(each); });
  if (!directory) return "";
  std::vector<std::string> names;
  while (const dirent *entry = readdir(directory.get()))
    names.emplace_back(entry->d_name);
  const std::string near = nearestName(path.substr(slash + 1), names);
  return near.empty() ? "" : folder + near;
}

// The processor of the machine whose root it is; nothing where that does not tell.
std::optional<ElfHeader> nativeMachine(const std::string &root) {
  for (const char *path : {"/bin/sh", "/sbin/init", "/bin/busybox", "/usr/bin/env"}) {
    const RootedPath found = followBelow(root, path);
    if (found.error != 0) continue;
    const ElfHeader header = readElfHeader(found.here);
    if (header.isElf) return header;
  }
  return std::nullopt;
}

// A kernel of 64 bits runs programs of its 32-bit sibling as well. The userland of this machine may be the sibling's.
bool canRun(const ElfHeader &native, const ElfHeader &program, bool isHere) {
  if (native.byteOrder != program.byteOrder) return false;
  if (native.machine == program.machine) return native.wordClass == program.wordClass;
  if (native.machine == EM_X86_64) return program.machine == EM_386;
  if (native.machine == EM_AARCH64) return program.machine == EM_ARM;
  utsname names = {};
  if (!isHere || uname(&names) != 0) return false;
  const std::string kernel = names.machine;
  return (program.machine == EM_X86_64 && kernel == "x86_64") || (program.machine == EM_AARCH64 && kernel == "aarch64");
}

class ProgramCheck {
 public:
  explicit ProgramCheck(const CheckOptions &options) : root_(options.root), searchPath_(options.searchPath) {}

  std::vector<Complaint> check(const std::string &path) {
    if (path.find('/') == std::string::npos) {
      checkName(path);
    } else if (!path.starts_with('/')) {
      complain({WARNING, "relative-path", quoted(path) + " does not begin with \"/\"",
                "it is looked for below the folder in which the daemon was started", "the whole path"});
    } else {
      checkProgram(path, path, 0);
    }
    return std::move(complaints_);
  }

 private:
  void complain(Complaint complaint) {
    complaints_.push_back(std::move(complaint));
  }

  // Where the platform would find the program of that name; empty where it is nowhere.
  std::string lookUp(const std::string &name) const {
    std::istringstream folders(searchPath_);
    std::string folder;
    while (std::getline(folders, folder, ':')) {
      if (!folder.starts_with('/')) continue;
      const std::string path = folder + "/" + name;
      const RootedPath found = followBelow(root_, path);
      struct stat file = {};
      if (found.error == 0 && stat(found.here.c_str(), &file) == 0 && S_ISREG(file.st_mode) &&
          (file.st_mode & ANY_EXECUTE) != 0) {
        return path;
      }
    }
    return "";
  }

  void checkName(const std::string &name) {
    const std::string path = lookUp(name);
    if (!path.empty()) return checkProgram(path, path, 0);
    complain({WARNING, "not-in-path", quoted(name) + " is in no folder of PATH",
              "a program without a \"/\" is looked up in the daemon's PATH; looked at was " + quoted(searchPath_),
              "the whole path of the program"});
  }

  // `what` is what the file is called.
  void checkProgram(const std::string &path, const std::string &what, int depth) {
    const RootedPath found = followBelow(root_, path);
    struct stat file = {};
    int error = found.error;
    if (error == 0 && stat(found.here.c_str(), &file) != 0) error = errno;
    if (error != 0) return tellNotFound(path, error);
    if (S_ISDIR(file.st_mode)) {
      return complain({ERROR, "program-is-folder", quoted(what) + " is a folder", startFails(EACCES),
                       "the path of a program in it"});
    }
    if (!S_ISREG(file.st_mode)) {
      return complain({ERROR, "program-is-no-file", quoted(what) + " is no regular file", startFails(EACCES),
                       "the path of a program"});
    }
    if ((file.st_mode & ANY_EXECUTE) == 0) {
      return complain({ERROR, "not-executable", quoted(what) + " is not executable", startFails(EACCES),
                       "chmod +x " + printable(what)});
    }
    if (isOnNoexec(found)) {
      return complain({ERROR, "mounted-noexec", quoted(what) + " is on a file system that is mounted noexec",
                       startFails(EACCES), "a program on another file system, or a mount without noexec"});
    }
    checkContent(path, found, depth);
  }

  void tellNotFound(const std::string &path, int error) {
    if (error == EACCES) {
      return complain({WARNING, "program-unknown", "no permission to look at " + quoted(path),
                       "whether it can be started is not known", "orvctl check run as the daemon's user"});
    }
    const std::string near = nearPath(root_, path);
    const std::string elsewhere = root_.empty() ? "; where it is on another machine, --root DIR or --no-programs" : "";
    complain({ERROR, "program-missing",
              "there is no " + quoted(path) + (root_.empty() ? "" : " below " + quoted(root_)), startFails(error),
              near.empty() ? "the path of the program" + elsewhere : printable(near)});
  }

  bool isOnNoexec(const RootedPath &found) const {
    struct statvfs system = {};
    return root_.empty() && statvfs(found.here.c_str(), &system) == 0 && (system.f_flag & ST_NOEXEC) != 0;
  }

  void checkContent(const std::string &path, const RootedPath &found, int depth) {
    const ElfHeader header = readElfHeader(found.here);
    if (header.isElf) return checkElf(path, found, header);
    constexpr size_t KERNEL_READS = 256;
    std::string begin;
    if (!readBegin(found.here, KERNEL_READS, begin)) {
      return complain({WARNING, "program-unknown", "no permission to read " + quoted(path),
                       "whether it can be started is not known", "orvctl check run as the daemon's user"});
    }
    if (!begin.starts_with("#!")) {
      return complain({ERROR, "no-program",
                       quoted(path) + " is neither a program nor a script that names its interpreter",
                       startFails(ENOEXEC), "#!/bin/sh as its first line, where it is a script"});
    }
    checkScript(path, begin.substr(2, begin.find('\n') - 2), depth);
  }

  static bool readBegin(const std::string &path, size_t length, std::string &text) {
    int descriptor = -1;
    if (!openRegularFile(path, descriptor).ok()) return false;
    text.resize(length);
    const ssize_t count = read(descriptor, text.data(), length);
    close(descriptor);
    text.resize(static_cast<size_t>(std::max<ssize_t>(count, 0)));
    return count >= 0;
  }

  void checkScript(const std::string &path, const std::string &line, int depth) {
    std::istringstream words(line);
    std::string interpreter;
    std::string argument;
    words >> interpreter >> argument;
    if (line.find('\r') != std::string::npos) {
      return complain({ERROR, "interpreter-missing",
                       "the first line of " + quoted(path) + " ends with a carriage return",
                       "it belongs to the interpreter's name or its argument, and the start fails",
                       "line feeds alone: sed -i 's/\\r$//' " + printable(path)});
    }
    if (interpreter.empty() || !interpreter.starts_with('/')) {
      return complain({ERROR, "interpreter-missing", quoted(path) + " names no interpreter", startFails(ENOENT),
                       "#!/bin/sh as its first line, for instance"});
    }
    if (depth == MAX_INTERPRETERS) {
      return complain({ERROR, "interpreter-missing", "too many interpreters, one of another", startFails(ELOOP),
                       "a script with a program as its interpreter"});
    }
    const RootedPath found = followBelow(root_, interpreter);
    if (found.error != 0) {
      return complain({ERROR, "interpreter-missing",
                       "there is no " + quoted(interpreter) + ", the interpreter of " + quoted(path),
                       startFails(found.error), "#! with an interpreter that is there"});
    }
    checkProgram(interpreter, interpreter, depth + 1);
    if (!interpreter.ends_with("/env") || argument.empty() || argument.starts_with('-') || !lookUp(argument).empty()) {
      return;
    }
    complain({WARNING, "not-in-path",
              quoted(argument) + ", the interpreter of " + quoted(path) + ", is in no folder of PATH",
              "env looks it up in the daemon's PATH; looked at was " + quoted(searchPath_),
              "#! with the whole path of the interpreter"});
  }

  void checkElf(const std::string &path, const RootedPath &found, const ElfHeader &header) {
    const std::optional<ElfHeader> native = nativeMachine(root_);
    if (native && !canRun(*native, header, root_.empty())) {
      return complain({ERROR, "wrong-machine", quoted(path) + " is a program for " + machineText(header),
                       startFails(ENOEXEC), "a program for " + machineText(*native)});
    }
    if (!header.isWhole || (header.type != ET_EXEC && header.type != ET_DYN)) {
      return complain({ERROR, "no-program", quoted(path) + " is no whole program", startFails(ENOEXEC),
                       "the program, linked and copied as a whole"});
    }
    if (!header.interpreter.empty() && followBelow(root_, header.interpreter).error != 0) {
      return complain({ERROR, "interpreter-missing",
                       "there is no " + quoted(header.interpreter) + ", the dynamic linker of " + quoted(path),
                       startFails(ENOENT), "a program for this system, or the C library that it was linked with"});
    }
    for (const MissingLibrary &library : missingLibraries(root_, found, header)) {
      const std::string whose =
          library.neededBy == found.there ? "" : " (needed by " + printable(library.neededBy) + ")";
      complain({ERROR, "library-missing",
                "the shared library " + quoted(library.name) + whose + " of " + quoted(path) + " is not to be found",
                "the program ends with 127 before it does anything, unless LD_LIBRARY_PATH leads to the library",
                "the library in a folder of ld.so.conf, or a program that is linked with RUNPATH"});
    }
  }

  const std::string &root_;
  const std::string &searchPath_;
  std::vector<Complaint> complaints_;
};

}  // namespace

std::vector<Complaint> programComplaints(const std::string &path, const CheckOptions &options) {
  return ProgramCheck(options).check(path);
}

std::vector<Complaint> fileComplaints(const std::string &path, const CheckOptions &options) {
  if (!path.starts_with('/')) {
    return {{WARNING, "relative-path", quoted(path) + " does not begin with \"/\"",
             "it is looked for below the folder in which the daemon was started", "the whole path"}};
  }
  const RootedPath found = followBelow(options.root, path);
  struct stat file = {};
  int error = found.error;
  if (error == 0 && stat(found.here.c_str(), &file) != 0) error = errno;
  if (error == EACCES) return {};
  if (error != 0) {
    const std::string near = nearPath(options.root, path);
    return {{WARNING, "file-missing", "there is no " + quoted(path),
             "the platform says so and goes on without it: " + systemText(error),
             near.empty() ? "the path of the file" : printable(near)}};
  }
  if (S_ISREG(file.st_mode)) return {};
  return {{WARNING, "file-missing", quoted(path) + " is no regular file", "the platform does not read it",
           "the path of a file"}};
}

}  // namespace orv::checking
