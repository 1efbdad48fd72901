// The start-up record of the simulated platform.
#ifndef ORV_SIMULATED_STARTUPRECORD_H
#define ORV_SIMULATED_STARTUPRECORD_H

#include <string>

namespace orv::sim {

// Gives gOrvStartupConfig the platform's defaults.
void resetStartupRecord();

// The record's members in order, "nid=0x1011 masterNid=...", and the environment variable that goes with it.
std::string startupRecordText();

}  // namespace orv::sim

#endif
