// What the real shells make of a program's completion scripts in completions/.
#ifndef ORV_TESTS_COMPLETIONSHELLS_H
#define ORV_TESTS_COMPLETIONSHELLS_H

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "DaemonProcess.h"
#include "FreshDirectory.h"

class CompletionShells {
 public:
  using Lines = std::vector<std::string>;

  // The program is found in PATH by its name. The shells run in `directory`, which the files are offered of, with
  // `environment` beside.
  CompletionShells(const std::string &program, const FreshDirectory &directory, Lines environment = {})
      : name_(program.substr(program.rfind('/') + 1)), directory_(directory), environment_(std::move(environment)) {
    environment_.insert(environment_.end(), {"HOME=" + directory.path(), "TERM=dumb",
                                             "PATH=" + program.substr(0, program.rfind('/')) + ":/usr/bin:/bin"});
  }

  // What bash offers for a line that ends at the cursor, taken to words as bash does it.
  Lines bash(const std::string &line, const Lines &words) const {
    std::string script = "source '" ORV_COMPLETIONS_DIR "/" + name_ + ".bash'\ncompopt() { :; }\nCOMP_LINE='" + line +
                         "'\nCOMP_POINT=${#COMP_LINE}\nCOMP_WORDS=(";
    for (const std::string &word : words)
      script += " '" + word + "'";
    script +=
        ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_" + name_ + " " + name_ + "\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
    return shell({"/bin/bash", "--norc", "-c", script});
  }

  // What becomes of each line that is typed into zsh with the key for completion behind it.
  Lines zsh(const Lines &lines) const {
    std::string script = R"(
zmodload zsh/zpty
zpty shell zsh -f -i
zpty -w shell "PS1=; unsetopt zle_bracketed_paste; stty -echo; fpath=($1 \$fpath); autoload -U compinit; compinit -u -D"
zpty -w shell "show() { print -r -- \"<\$BUFFER>\"; BUFFER= }; zle -N show; bindkey '^X' show; print rea''dy"
zpty -r shell text "*ready*"
for line in)";
    for (const std::string &line : lines)
      script += " '" + line + "'";
    script += R"(; do
  zpty -w -n shell "$line"$'\t\x18'
  zpty -r shell text "*>*"
  print -r -- "${${text##*<}%%>*}"
done
zpty -d shell
)";
    return shell({"/usr/bin/zsh", "-f", directory_.write("drive.zsh", script), ORV_COMPLETIONS_DIR});
  }

  // What fish offers for a line, each with its explanation behind a tab.
  Lines fish(const std::string &line) const {
    return shell({"/usr/bin/fish", "--no-config", "-c",
                  "source '" ORV_COMPLETIONS_DIR "/" + name_ + ".fish'; complete -C '" + line + "'"});
  }

 private:
  Lines shell(const Lines &arguments) const {
    ProcessStart start;
    start.arguments = arguments;
    start.environment = environment_;
    start.directory = directory_.path();
    const CommandResult result = runCommand(start);
    EXPECT_EQ(result.errors, Lines());
    return result.output;
  }

  std::string name_;
  const FreshDirectory &directory_;
  Lines environment_;
};

#endif
