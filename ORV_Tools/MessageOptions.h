// The options of orvctl msg.
#ifndef ORV_TOOLS_MESSAGEOPTIONS_H
#define ORV_TOOLS_MESSAGEOPTIONS_H

#include "MessageCommand.h"

namespace CLI {
class App;
}

namespace orv {

// What is given goes to `arguments`, which has to outlive the parsing.
void addSendOptions(CLI::App &command, MessageArguments &arguments);
void addListenOptions(CLI::App &command, MessageArguments &arguments);

}  // namespace orv

#endif
