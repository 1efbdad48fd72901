// Where a node keeps its files.
//
// The node directory holds everything volatile of one node (the node store, the message sockets); two nodes on one
// machine have two of them. The state directory holds what has to survive a restart of the board. Both are named by the
// environment, with defaults that suit a board (root) and a developer's machine (anybody else).
#ifndef ORV_LINUX_NODEPATHS_H
#define ORV_LINUX_NODEPATHS_H

#include <string>

#include "Status.h"

namespace orv {

// $ORV_NODE_DIR, else /run/orv for root, else $XDG_RUNTIME_DIR/orv, else orv-<uid> in $TMPDIR or /tmp. Nothing is
// created or checked.
std::string nodeDirectory();

// $ORV_STATE_DIR, else /var/lib/orv for root, else $XDG_STATE_HOME/orv, else $HOME/.local/state/orv, else the state
// folder in the node directory. Nothing is created or checked.
std::string stateDirectory();

// $ORV_CONFIG, else /etc/orv/platform.xml.
std::string configurationFile();

// True when $ORV_CONFIG names the file, so that its absence is worth a word.
bool configurationFileIsNamed();

// Gives a file or directory to the group "orv", for those who may look at a node without running it. Leaves it as it is
// where there is no such group, or the caller may not give it away.
void giveToNodeGroup(const std::string &path);

// Makes `directory` and its parents where they are missing (the directory itself with mode 0750 and the group "orv",
// where there is one) and checks that it is one that the node may trust: a real directory, not a symbolic link, owned
// by the calling user or root, and writable by nobody outside its owner and group. Fails with what is wrong and what to
// do.
Status ensurePrivateDirectory(const std::string &directory);

// The checks of ensurePrivateDirectory for a directory that has to be there; creates nothing.
Status checkPrivateDirectory(const std::string &directory);

}  // namespace orv

#endif
