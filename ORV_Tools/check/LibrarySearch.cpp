#include "check/LibrarySearch.h"

#include <glob.h>

#include <deque>
#include <fstream>
#include <set>
#include <sstream>

namespace orv::checking {
namespace {

constexpr int MAX_INCLUDES = 8;  // one in another

std::vector<std::string> glob(const std::string &pattern) {
  glob_t found = {};
  std::vector<std::string> paths;
  if (::glob(pattern.c_str(), 0, nullptr, &found) == 0) paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
  globfree(&found);
  return paths;
}

std::string folderOf(const std::string &path) {
  return path.substr(0, path.rfind('/'));
}

// The folders that ld.so.conf at `path` (here) names, with the files that it includes.
void readConfiguration(const std::string &root, const std::string &path, int depth, std::vector<std::string> &folders) {
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line)) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::string word;
    if (!(words >> word)) continue;
    if (word != "include") {
      folders.push_back(word);
      continue;
    }
    while (words >> word) {
      const std::string pattern = word.starts_with('/') ? root + word : folderOf(path) + "/" + word;
      if (depth == MAX_INCLUDES) continue;
      for (const std::string &included : glob(pattern))
        readConfiguration(root, included, depth + 1, folders);
    }
  }
}

// Those for any processor: a library for another one is passed over as the dynamic linker does.
std::vector<std::string> usualFolders(const std::string &root) {
  std::vector<std::string> folders;
  readConfiguration(root, root + "/etc/ld.so.conf", 0, folders);
  for (const char *folder : {"/lib64", "/usr/lib64", "/lib", "/usr/lib", "/usr/local/lib", "/lib32", "/usr/lib32"})
    folders.emplace_back(folder);
  for (const char *pattern : {"/lib/*-linux-*", "/usr/lib/*-linux-*"}) {
    for (const std::string &found : glob(root + pattern))
      folders.push_back(found.substr(root.size()));
  }
  return folders;
}

// A program or library, and who wanted it: DT_RPATH is inherited.
struct LoadedObject {
  RootedPath path;
  ElfHeader header;
  const LoadedObject *loader = nullptr;
};

class Search {
 public:
  Search(const std::string &root, const ElfHeader &program)
      : root_(root), program_(program), usualFolders_(usualFolders(root)) {}

  std::vector<MissingLibrary> of(const RootedPath &path) {
    objects_.push_back({path, program_, nullptr});
    // The list grows on the way; elements of a deque stay where they are.
    for (size_t i = 0; i < objects_.size(); ++i) {
      const LoadedObject &object = objects_[i];
      for (const std::string &name : object.header.needed)
        load(name, object);
    }
    return missing_;
  }

 private:
  void load(const std::string &name, const LoadedObject &loader) {
    if (!seen_.insert(name).second) return;
    if (name.find('/') != std::string::npos) {
      if (!take(name, loader)) missing_.push_back({name, loader.path.there});
      return;
    }
    for (const std::string &folder : foldersFor(loader))
      if (take(folder + "/" + name, loader)) return;
    missing_.push_back({name, loader.path.there});
  }

  bool take(const std::string &path, const LoadedObject &loader) {
    const RootedPath found = followBelow(root_, path);
    if (found.error != 0) return false;
    const ElfHeader header = readElfHeader(found.here);
    if (!header.isElf || header.machine != program_.machine || header.wordClass != program_.wordClass ||
        header.byteOrder != program_.byteOrder) {
      return false;
    }
    objects_.push_back({found, header, &loader});
    return true;
  }

  std::vector<std::string> foldersFor(const LoadedObject &loader) const {
    std::vector<std::string> folders;
    if (loader.header.runpath.empty()) {
      for (const LoadedObject *object = &loader; object != nullptr; object = object->loader)
        addFolders(object->header.rpath, *object, folders);
    } else {
      addFolders(loader.header.runpath, loader, folders);
    }
    folders.insert(folders.end(), usualFolders_.begin(), usualFolders_.end());
    return folders;
  }

  // The folders of a search path; "$LIB" stands for either of two names.
  static void addFolders(const std::string &searchPath, const LoadedObject &object, std::vector<std::string> &folders) {
    std::istringstream list(searchPath);
    std::string folder;
    while (std::getline(list, folder, ':')) {
      for (const char *name : {"$ORIGIN", "${ORIGIN}"})
        replace(folder, name, folderOf(object.path.there));
      std::string other = folder;
      for (const char *name : {"$LIB", "${LIB}"}) {
        replace(folder, name, "lib");
        replace(other, name, "lib64");
      }
      if (!folder.empty()) folders.push_back(folder);
      if (other != folder) folders.push_back(other);
    }
  }

  static void replace(std::string &text, const std::string &what, const std::string &by) {
    for (size_t place = text.find(what); place != std::string::npos; place = text.find(what, place + by.size()))
      text.replace(place, what.size(), by);
  }

  const std::string &root_;
  const ElfHeader &program_;
  std::vector<std::string> usualFolders_;
  std::deque<LoadedObject> objects_;
  std::set<std::string> seen_;
  std::vector<MissingLibrary> missing_;
};

}  // namespace

std::vector<MissingLibrary> missingLibraries(const std::string &root, const RootedPath &program,
                                             const ElfHeader &header) {
  return Search(root, header).of(program);
}

}  // namespace orv::checking
