// The files' contract: what makes the two libraries replaceable under a built daemon, read from the files themselves.
//
// The variable ORV_CONTRACT_DAEMON names another daemon than the one of this build, for one that was built against
// libraries of another maker.
#include <elf.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ElfFile.h"
#include "TestNode.h"

namespace {

std::string daemonPath() {
  const char *named = std::getenv("ORV_CONTRACT_DAEMON");
  return named == nullptr ? ORV_DAEMON_EXE : named;
}

const ElfSymbol *find(const ElfFile &file, const std::string &name) {
  const auto &symbols = file.symbols();
  const auto found =
      std::find_if(symbols.begin(), symbols.end(), [&](const ElfSymbol &symbol) { return symbol.name == name; });
  return found == symbols.end() ? nullptr : &*found;
}

std::set<std::string> exported(const ElfFile &file) {
  std::set<std::string> names;
  for (const ElfSymbol &symbol : file.symbols()) {
    if (symbol.defined && symbol.global) names.insert(symbol.name);
  }
  return names;
}

// The functions that a header declares: a name of the interface, or of the extension, before a parenthesis.
std::set<std::string> declaredFunctions(const std::string &header,
                                        const std::string &directory = ORV_PLATFORM_HEADERS) {
  constexpr const char *NAME_CHARACTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
  std::ifstream file(directory + "/" + header);
  std::set<std::string> names;
  for (std::string line; std::getline(file, line);) {
    line.erase(std::min(line.find("//"), line.size()));
    const size_t end = line.find('(');
    if (end == std::string::npos || line.starts_with("typedef")) continue;
    const size_t before = line.find_last_not_of(NAME_CHARACTERS, end - 1);
    const std::string name = line.substr(before + 1, end - before - 1);
    for (const char *prefix : {"Aa", "ddal_", "orv"}) {
      if (name.starts_with(prefix)) names.insert(name);
    }
  }
  return names;
}

// The operations that libORV.so defines for the daemon.
std::set<std::string> libOrvInterface() {
  std::set<std::string> declared;
  for (const char *header : {"AaStartup.h", "AaPro.h", "AaConfig.h", "AaSysCom.h", "AaFile.h", "AaSysTime.h",
                             "AaSysLog.h", "AaError.h", "AaMem.h"}) {
    const std::set<std::string> names = declaredFunctions(header);
    EXPECT_FALSE(names.empty()) << header;
    declared.insert(names.begin(), names.end());
  }
  return declared;
}

std::string bannerOf(const ElfFile &daemon) {
  const ElfSymbol *symbol = find(daemon, "ORV_VER");
  if (symbol == nullptr) throw std::runtime_error("the daemon has no ORV_VER");
  return daemon.textAt(daemon.pointerAt(symbol->value));
}

}  // namespace

TEST(DaemonFile, NeedsItsLibrariesByTheirBareNames) {
  const std::vector<std::string> needed = ElfFile(daemonPath()).dynamicTexts(DT_NEEDED);
  for (const std::string name : {"libORV.so", "libTARNDDAL.so", "libsystemd.so.0"}) {
    EXPECT_EQ(std::count(needed.begin(), needed.end(), name), 1) << name;
  }
  for (const std::string &name : needed)
    EXPECT_EQ(name.find('/'), std::string::npos) << name;
}

TEST(DaemonFile, FindsItsLibrariesByRunPathWhichTheEnvironmentOverrides) {
  const ElfFile daemon(daemonPath());
  EXPECT_EQ(daemon.dynamicTexts(DT_RPATH), std::vector<std::string>());
  const std::vector<std::string> runPaths = daemon.dynamicTexts(DT_RUNPATH);
  ASSERT_EQ(runPaths.size(), 1U);
  // Relative to the daemon alone: an empty entry, or one without the origin, would be searched in the current folder.
  std::istringstream entries(runPaths[0] + ":");
  for (std::string entry; std::getline(entries, entry, ':');) {
    EXPECT_TRUE(entry.starts_with("$ORIGIN/")) << "\"" << entry << "\" in " << runPaths[0];
  }
}

// A copy would have the size that the daemon's headers declare, and not the one of the library's object.
TEST(DaemonFile, CopiesNoObjectOutOfALibrary) {
  const std::map<unsigned, unsigned> copyTypes = {
      {EM_X86_64, R_X86_64_COPY}, {EM_386, R_386_COPY}, {EM_ARM, R_ARM_COPY}, {EM_AARCH64, R_AARCH64_COPY}};
  const ElfFile daemon(daemonPath());
  ASSERT_EQ(copyTypes.count(daemon.machine()), 1U) << "machine " << daemon.machine();
  ASSERT_FALSE(daemon.relocations().empty());
  for (const ElfRelocation &relocation : daemon.relocations()) {
    EXPECT_NE(relocation.type, copyTypes.at(daemon.machine())) << "at " << relocation.offset;
  }
  const ElfSymbol *record = find(daemon, "gOrvStartupConfig");
  ASSERT_NE(record, nullptr);
  EXPECT_FALSE(record->defined);
}

// Of an extension that only one of the platforms offers it knows nothing, and libsystemd is the board library's affair.
TEST(DaemonFile, NeedsTheWholeInterfaceOfItsLibrariesAndNothingElse) {
  std::set<std::string> expected = libOrvInterface();
  expected.merge(declaredFunctions("ddal.h"));
  expected.insert("gOrvStartupConfig");
  const ElfFile daemon(daemonPath());
  std::set<std::string> needed;
  for (const ElfSymbol &symbol : daemon.symbols()) {
    for (const char *prefix : {"Aa", "ddal_", "gOrv", "orv", "sd_"}) {
      if (!symbol.defined && symbol.name.starts_with(prefix)) needed.insert(symbol.name);
    }
  }
  EXPECT_EQ(needed, expected);
}

TEST(DaemonFile, ExportsItsBannerAsAnObject) {
  const ElfFile daemon(daemonPath());
  const ElfSymbol *banner = find(daemon, "ORV_VER");
  ASSERT_NE(banner, nullptr);
  EXPECT_TRUE(banner->defined);
  EXPECT_TRUE(banner->global);
  EXPECT_EQ(banner->type, static_cast<unsigned>(STT_OBJECT));
}

TEST(DaemonFile, BannerNamesVersionRevisionAndBuildType) {
  const std::string banner = bannerOf(ElfFile(daemonPath()));
  std::istringstream words(banner);
  std::string mark;
  std::string name;
  std::string version;
  std::string revision;
  std::string buildType;
  words >> mark >> name >> version >> revision >> buildType;
  EXPECT_EQ(banner, mark + " " + name + " " + version + " " + revision + " " + buildType);
  EXPECT_EQ(mark, "@(#)");
  EXPECT_EQ(name, "OrvDaemon");
  EXPECT_EQ(version, ORV_PROJECT_VERSION);
  EXPECT_EQ(buildType, ORV_BUILD_TYPE);
  // Twelve digits of the revision, or "unknown" where the sources came without their history.
  const std::string commit = revision.substr(0, revision.find("-dirty"));
  const bool isCommit = commit.size() >= 12 && commit.find_first_not_of("0123456789abcdef") == std::string::npos;
  EXPECT_TRUE(isCommit || revision == "unknown") << revision;
}

TEST(DaemonFile, PrintsTheBannerThatItExports) {
  const TestNode node;
  ProcessStart start;
  start.arguments = {daemonPath()};
  start.environment = node.environment();
  const CommandResult result = runCommand(start);
  ASSERT_FALSE(result.errors.empty());
  EXPECT_EQ(result.errors[0], "RT-ORV build " + bannerOf(ElfFile(daemonPath())));
}

// Every implementation of the platform.
struct PlatformCase {
  const char *name;
  const char *directory;
  bool simulated;
};

class PlatformFiles : public testing::TestWithParam<PlatformCase> {
 protected:
  static std::string libOrv() {
    return std::string(GetParam().directory) + "/libORV.so";
  }
  static std::string libTarnddal() {
    return std::string(GetParam().directory) + "/libTARNDDAL.so";
  }
};

TEST_P(PlatformFiles, LibOrvDefinesEveryDeclaredFunction) {
  const ElfFile library(libOrv());
  const std::set<std::string> declared = libOrvInterface();
  EXPECT_EQ(declared.size(), 27U);
  for (const std::string &name : declared) {
    const ElfSymbol *symbol = find(library, name);
    ASSERT_NE(symbol, nullptr) << name;
    EXPECT_TRUE(symbol->defined && symbol->global) << name;
    EXPECT_EQ(symbol->type, static_cast<unsigned>(STT_FUNC)) << name;
  }
  const ElfSymbol *record = find(library, "gOrvStartupConfig");
  ASSERT_NE(record, nullptr);
  EXPECT_TRUE(record->defined);
  EXPECT_EQ(record->type, static_cast<unsigned>(STT_OBJECT));
}

TEST_P(PlatformFiles, LibOrvExportsNothingBesideTheInterface) {
  const std::set<std::string> cLibraryParts = {"sem_init", "sem_wait", "sem_post", "sigaction", "signal"};
  for (const std::string &name : exported(ElfFile(libOrv()))) {
    const bool ofTheSimulation = name.starts_with("orvSimulated") || cLibraryParts.contains(name);
    const bool ofTheLinuxPlatform = name.starts_with("orvPlatform") || name.starts_with("orvSysCom");
    EXPECT_TRUE(name.starts_with("Aa") || name == "gOrvStartupConfig" ||
                (GetParam().simulated ? ofTheSimulation : ofTheLinuxPlatform))
        << name;
  }
}

// What the Linux platform offers beside the interface is what its headers declare, no more and no less.
TEST(LinuxPlatformFile, ExportsItsExtensionsAndWhatItsLibrariesTellEachOther) {
  const std::set<std::string> receiving = declaredFunctions("SysComReceive.h", ORV_LINUX_HEADERS);
  EXPECT_EQ(receiving.size(), 12U);
  std::set<std::string> expected = receiving;
  expected.merge(declaredFunctions("PlatformReset.h", ORV_LINUX_HEADERS));
  std::set<std::string> extensions;
  for (const std::string &name : exported(ElfFile(std::string(ORV_LINUX_DIR) + "/libORV.so"))) {
    if (name.starts_with("orv")) extensions.insert(name);
  }
  EXPECT_EQ(extensions, expected);
}

TEST_P(PlatformFiles, LibTarnddalExportsItsTwoFunctionsAndNothingElse) {
  const std::set<std::string> names = exported(ElfFile(libTarnddal()));
  EXPECT_EQ(names, declaredFunctions("ddal.h"));
  EXPECT_EQ(names, (std::set<std::string>{"ddal_system_notify_ready", "ddal_watchdog_reboot"}));
}

TEST_P(PlatformFiles, LibrariesCarryTheNamesThatTheDaemonNeeds) {
  for (const std::string &path : {libOrv(), libTarnddal()}) {
    const std::vector<std::string> names = ElfFile(path).dynamicTexts(DT_SONAME);
    EXPECT_EQ(names, std::vector<std::string>{path.substr(path.rfind('/') + 1)});
  }
}

INSTANTIATE_TEST_SUITE_P(, PlatformFiles,
                         testing::Values(PlatformCase{"linux", ORV_LINUX_DIR, false},
                                         PlatformCase{"simulated", ORV_SIMULATED_DIR, true}),
                         [](const auto &test) { return std::string(test.param.name); });
