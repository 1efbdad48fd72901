// What orvctl check says about the programs that a definition names, below a root of the test's own.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "CheckFixture.h"
#include "ElfImage.h"
#include "FreshDirectory.h"
#include "check/ElfHeader.h"
#include "check/ProgramCheck.h"

namespace {

constexpr const char *LOADER = "/lib64/ld-linux.so.2";

class CheckPrograms : public testing::Test {
 protected:
  CheckPrograms() {
    program("/bin/sh", ElfImage{EM_X86_64, LOADER, {"libc.so"}, "", ""}.bytes());
    program(LOADER, ElfImage{}.bytes());
    program("/lib/libc.so", ElfImage{}.bytes());
  }

  void file(const std::string &path, const std::string &content, int mode = 0644) const {
    const std::filesystem::path whole = root_.path() + path;
    std::filesystem::create_directories(whole.parent_path());
    root_.write(path.substr(1), content);
    ASSERT_EQ(chmod(whole.c_str(), static_cast<mode_t>(mode)), 0);
  }
  void program(const std::string &path, const std::string &content) const {
    file(path, content, 0755);
  }
  void link(const std::string &path, const std::string &target) const {
    const std::filesystem::path whole = root_.path() + path;
    std::filesystem::create_directories(whole.parent_path());
    std::filesystem::create_symlink(target, whole);
  }

  // What is said of a path: severity and kind, what, why, instead. The root is called ROOT.
  Lines said(const std::string &path) const {
    orv::CheckOptions options;
    options.root = root_.path();
    options.searchPath = "/usr/bin:/bin";
    Lines lines;
    for (const orv::checking::Complaint &complaint : orv::checking::programComplaints(path, options)) {
      const bool isError = complaint.severity == orv::CheckSeverity::ERROR;
      for (const std::string &line : {(isError ? "error " : "warning ") + std::string(complaint.kind), complaint.what,
                                      complaint.why, complaint.instead}) {
        lines.push_back(line);
        const size_t place = lines.back().find(root_.path());
        if (place != std::string::npos) lines.back().replace(place, root_.path().size(), "ROOT");
      }
    }
    return lines;
  }

  FreshDirectory root_;
};

}  // namespace

TEST_F(CheckPrograms, NothingIsSaidOfAProgramThatCanBeStarted) {
  EXPECT_EQ(said("/bin/sh"), Lines{});
}

TEST_F(CheckPrograms, AMissingProgram) {
  EXPECT_EQ(said("/opt/agent"), (Lines{"error program-missing", "there is no \"/opt/agent\" below \"ROOT\"",
                                       "the start fails: No such file or directory", "the path of the program"}));
}

TEST_F(CheckPrograms, AMisspeltProgramIsSuggested) {
  EXPECT_EQ(said("/bin/hs").back(), "/bin/sh");
}

TEST_F(CheckPrograms, AFolder) {
  EXPECT_EQ(said("/bin"), (Lines{"error program-is-folder", "\"/bin\" is a folder",
                                 "the start fails: Permission denied", "the path of a program in it"}));
}

TEST_F(CheckPrograms, AFifo) {
  ASSERT_EQ(mkfifo((root_.path() + "/bin/fifo").c_str(), 0755), 0);
  EXPECT_EQ(said("/bin/fifo"), (Lines{"error program-is-no-file", "\"/bin/fifo\" is no regular file",
                                      "the start fails: Permission denied", "the path of a program"}));
}

TEST_F(CheckPrograms, AFileThatIsNotExecutable) {
  file("/bin/agent", "#!/bin/sh\n");
  EXPECT_EQ(said("/bin/agent"), (Lines{"error not-executable", "\"/bin/agent\" is not executable",
                                       "the start fails: Permission denied", "chmod +x /bin/agent"}));
}

TEST_F(CheckPrograms, APathInAFileIsNone) {
  EXPECT_EQ(said("/bin/sh/x")[2], "the start fails: Not a directory");
}

TEST_F(CheckPrograms, LinksLeadNowhereButBelowTheRoot) {
  link("/opt/agent", "/bin/sh");
  link("/opt/up", "../../../bin/sh");
  link("/opt/out", "/etc/passwd");
  link("/opt/loop", "loop");
  EXPECT_EQ(said("/opt/agent"), Lines{});
  EXPECT_EQ(said("/opt/up"), Lines{});
  EXPECT_EQ(said("/opt/out")[0], "error program-missing");
  EXPECT_EQ(said("/opt/loop")[2], "the start fails: Too many levels of symbolic links");
}

TEST_F(CheckPrograms, ANameIsLookedUp) {
  EXPECT_EQ(said("sh"), Lines{});
  EXPECT_EQ(said("agent"), (Lines{"warning not-in-path", "\"agent\" is in no folder of PATH",
                                  "a program without a \"/\" is looked up in the daemon's PATH; looked at was "
                                  "\"/usr/bin:/bin\"",
                                  "the whole path of the program"}));
}

TEST_F(CheckPrograms, ARelativePath) {
  EXPECT_EQ(said("./agent"),
            (Lines{"warning relative-path", "\"./agent\" does not begin with \"/\"",
                   "it is looked for below the folder in which the daemon was started", "the whole path"}));
}

TEST_F(CheckPrograms, AScriptWithItsInterpreter) {
  program("/bin/script", "#! /bin/sh -e\nexit\n");
  EXPECT_EQ(said("/bin/script"), Lines{});
}

TEST_F(CheckPrograms, AScriptWithoutItsInterpreter) {
  program("/bin/script", "#!/bin/bash\n");
  EXPECT_EQ(said("/bin/script"),
            (Lines{"error interpreter-missing", "there is no \"/bin/bash\", the interpreter of \"/bin/script\"",
                   "the start fails: No such file or directory", "#! with an interpreter that is there"}));
}

TEST_F(CheckPrograms, AScriptWithDosLineEnds) {
  program("/bin/script", "#!/bin/sh\r\nexit\r\n");
  EXPECT_EQ(said("/bin/script"),
            (Lines{"error interpreter-missing", "the first line of \"/bin/script\" ends with a carriage return",
                   "it belongs to the interpreter's name or its argument, and the start fails",
                   "line feeds alone: sed -i 's/\\r$//' /bin/script"}));
}

TEST_F(CheckPrograms, AScriptThatNamesNoInterpreter) {
  program("/bin/script", "#!\nexit\n");
  EXPECT_EQ(said("/bin/script"),
            (Lines{"error interpreter-missing", "\"/bin/script\" names no interpreter",
                   "the start fails: No such file or directory", "#!/bin/sh as its first line, for instance"}));
}

TEST_F(CheckPrograms, AnInterpreterThatEnvLooksUp) {
  program("/usr/bin/env", ElfImage{}.bytes());
  program("/bin/script", "#!/usr/bin/env sh\n");
  EXPECT_EQ(said("/bin/script"), Lines{});
  program("/bin/other", "#!/usr/bin/env python3\n");
  EXPECT_EQ(said("/bin/other"),
            (Lines{"warning not-in-path", "\"python3\", the interpreter of \"/bin/other\", is in no folder of PATH",
                   "env looks it up in the daemon's PATH; looked at was \"/usr/bin:/bin\"",
                   "#! with the whole path of the interpreter"}));
}

TEST_F(CheckPrograms, InterpretersInACircle) {
  program("/bin/one", "#!/bin/two\n");
  program("/bin/two", "#!/bin/one\n");
  EXPECT_EQ(said("/bin/one"), (Lines{"error interpreter-missing", "too many interpreters, one of another",
                                     "the start fails: Too many levels of symbolic links",
                                     "a script with a program as its interpreter"}));
}

TEST_F(CheckPrograms, AScriptWithoutItsFirstLine) {
  program("/bin/script", "exit 0\n");
  EXPECT_EQ(said("/bin/script"),
            (Lines{"error no-program", "\"/bin/script\" is neither a program nor a script that names its interpreter",
                   "the start fails: Exec format error", "#!/bin/sh as its first line, where it is a script"}));
}

TEST_F(CheckPrograms, AProgramThatWasCutShort) {
  const std::string whole = ElfImage{EM_X86_64, LOADER, {"libc.so"}, "", ""}.bytes();
  program("/bin/agent", whole.substr(0, 100));
  EXPECT_EQ(said("/bin/agent"),
            (Lines{"error no-program", "\"/bin/agent\" is no whole program", "the start fails: Exec format error",
                   "the program, linked and copied as a whole"}));
  // However short it is, it is no whole program, and never a crash.
  for (size_t length = 0; length < whole.size(); ++length) {
    program("/bin/agent", whole.substr(0, length));
    EXPECT_EQ(said("/bin/agent").empty(), false) << length;
  }
}

TEST_F(CheckPrograms, AProgramForAnotherProcessor) {
  program("/bin/agent", ElfImage{EM_AARCH64, "", {}, "", ""}.bytes());
  EXPECT_EQ(said("/bin/agent"), (Lines{"error wrong-machine", "\"/bin/agent\" is a program for AArch64 (64 bits)",
                                       "the start fails: Exec format error", "a program for x86-64 (64 bits)"}));
}

TEST_F(CheckPrograms, AProgramForTheSmallerSiblingOfTheProcessor) {
  program("/bin/agent", ElfImage{EM_386, "", {}, "", ""}.bytes());
  EXPECT_EQ(said("/bin/agent"), Lines{});
}

TEST_F(CheckPrograms, AProgramForTheLargerSiblingOfTheProcessor) {
  program("/bin/sh", ElfImage{EM_ARM, "", {}, "", ""}.bytes());
  program("/bin/agent", ElfImage{EM_AARCH64, "", {}, "", ""}.bytes());
  EXPECT_EQ(said("/bin/agent")[3], "a program for ARM (32 bits)");
}

TEST_F(CheckPrograms, AProgramWithoutItsDynamicLinker) {
  program("/bin/agent", ElfImage{EM_X86_64, "/lib/ld-musl.so.1", {}, "", ""}.bytes());
  EXPECT_EQ(said("/bin/agent"), (Lines{"error interpreter-missing",
                                       "there is no \"/lib/ld-musl.so.1\", the dynamic linker of \"/bin/agent\"",
                                       "the start fails: No such file or directory",
                                       "a program for this system, or the C library that it was linked with"}));
}

TEST_F(CheckPrograms, AMissingLibrary) {
  program("/bin/agent", ElfImage{EM_X86_64, LOADER, {"libc.so", "libagent.so"}, "", ""}.bytes());
  EXPECT_EQ(said("/bin/agent"),
            (Lines{"error library-missing", "the shared library \"libagent.so\" of \"/bin/agent\" is not to be found",
                   "the program ends with 127 before it does anything, unless LD_LIBRARY_PATH leads to the library",
                   "the library in a folder of ld.so.conf, or a program that is linked with RUNPATH"}));
}

TEST_F(CheckPrograms, ALibraryThatALibraryNeeds) {
  program("/bin/agent", ElfImage{EM_X86_64, LOADER, {"libone.so"}, "", ""}.bytes());
  program("/lib/libone.so", ElfImage{EM_X86_64, "", {"libtwo.so"}, "", ""}.bytes());
  EXPECT_EQ(said("/bin/agent")[1],
            "the shared library \"libtwo.so\" (needed by /lib/libone.so) of \"/bin/agent\" is not to be found");
}

TEST_F(CheckPrograms, ALibraryForAnotherProcessorIsPassedOver) {
  program("/bin/agent", ElfImage{EM_X86_64, LOADER, {"libone.so"}, "", ""}.bytes());
  program("/lib/libone.so", ElfImage{EM_386, "", {}, "", ""}.bytes());
  EXPECT_EQ(said("/bin/agent").size(), 4U);
  program("/usr/lib/libone.so", ElfImage{}.bytes());
  EXPECT_EQ(said("/bin/agent"), Lines{});
}

TEST_F(CheckPrograms, TheFoldersOfTheProgramItself) {
  program("/opt/agent/lib/libone.so", ElfImage{EM_X86_64, "", {"libtwo.so"}, "", ""}.bytes());
  program("/opt/agent/lib/libtwo.so", ElfImage{}.bytes());
  program("/opt/agent/bin/agent", ElfImage{EM_X86_64, LOADER, {"libone.so"}, "$ORIGIN/../lib", ""}.bytes());
  EXPECT_EQ(said("/opt/agent/bin/agent"), Lines{});
  // RUNPATH is not for the libraries of its libraries.
  program("/opt/agent/bin/agent", ElfImage{EM_X86_64, LOADER, {"libone.so"}, "", "${ORIGIN}/../lib"}.bytes());
  EXPECT_EQ(
      said("/opt/agent/bin/agent")[1],
      "the shared library \"libtwo.so\" (needed by /opt/agent/lib/libone.so) of \"/opt/agent/bin/agent\" is not to "
      "be found");
}

TEST_F(CheckPrograms, TheFoldersOfTheConfiguration) {
  program("/opt/lib/libone.so", ElfImage{}.bytes());
  program("/opt/more/libtwo.so", ElfImage{}.bytes());
  program("/lib/x86_64-linux-gnu/libthree.so", ElfImage{}.bytes());
  file("/etc/ld.so.conf", "# libraries\ninclude /etc/ld.so.conf.d/*.conf\n/opt/lib # ours\n");
  file("/etc/ld.so.conf.d/more.conf", "/opt/more\n");
  program("/bin/agent", ElfImage{EM_X86_64, LOADER, {"libone.so", "libtwo.so", "libthree.so"}, "", ""}.bytes());
  EXPECT_EQ(said("/bin/agent"), Lines{});
}

TEST_F(CheckPrograms, AFileThatThePlatformIsToRead) {
  orv::CheckOptions options;
  options.root = root_.path();
  file("/etc/orv/platform.xml", "<orv/>");
  EXPECT_TRUE(orv::checking::fileComplaints("/etc/orv/platform.xml", options).empty());
  const auto complaints = orv::checking::fileComplaints("/etc/orv/platfrom.xml", options);
  ASSERT_EQ(complaints.size(), 1U);
  EXPECT_EQ(complaints[0].what, "there is no \"/etc/orv/platfrom.xml\"");
  EXPECT_EQ(complaints[0].why, "the platform says so and goes on without it: No such file or directory");
  EXPECT_EQ(complaints[0].instead, "/etc/orv/platform.xml");
}

// What the dynamic linker of this machine finds, the check finds: this test and its tools run, so nothing is missing.
TEST(CheckProgramsHere, ProgramsThatRunAreAllRight) {
  orv::CheckOptions options;
  options.searchPath = "/usr/bin:/bin";
  for (const std::string path : {"/bin/sh", "/usr/bin/env", "ls"}) {
    const auto complaints = orv::checking::programComplaints(path, options);
    EXPECT_TRUE(complaints.empty()) << path << ": " << (complaints.empty() ? "" : complaints[0].what);
  }
}

TEST(CheckProgramsHere, TheHeaderOfThisProgram) {
  const orv::checking::ElfHeader header = orv::checking::readElfHeader("/proc/self/exe");
  EXPECT_TRUE(header.isWhole);
  EXPECT_FALSE(header.interpreter.empty());
  EXPECT_NE(std::find(header.needed.begin(), header.needed.end(), "libc.so.6"), header.needed.end());
}
