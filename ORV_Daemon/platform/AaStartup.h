// Start-up and shutdown of the node's computing environment (CE), and the start-up record that describes the node.
//
// A process calls AaStartupEarlyStartup first; the CE itself is started and ended by the node's start-up daemon alone.
// int32_t results: 0 is success, any other value is a failure code of the platform.
#ifndef ORV_PLATFORM_AASTARTUP_H
#define ORV_PLATFORM_AASTARTUP_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// What the node is and where its parts are reached. The record belongs to libORV.so, which sets the platform's
// defaults; the start-up daemon overwrites members before it starts the CE, and the platform reads them from then on.
// The byte offsets are part of the interface (a library built elsewhere relies on them); the library's own object may
// be longer than the members declared here, so it is never copied as a whole.
typedef struct OrvStartupConfig {
  uint16_t nid;                  // node id of this node
  uint16_t masterNid;            // node id of the master node
  char masterIp[16];             // IPv4 address of the master node, dotted text, NUL-terminated
  uint32_t testerPort;           // port of the tester connection
  uint32_t printPort;            // port that log lines are sent to
  uint32_t printIp;              // IPv4 address that log lines are sent to, as a number: 0x7f000001 is 127.0.0.1
  uint8_t platformPrivate1[16];  // the platform's own
  uint32_t btsLogPort;           // port of the log connection
  uint32_t testerMultiplicity;   // how many testers may connect
  uint8_t platformPrivate2[8];   // the platform's own
  const char *sysComGwProtocol;  // name of the protocol between the nodes' gateways; not owned, lives as long as the
                                 // process; null for the platform's default
  char rtConfigFile[4096];       // path of the XML configuration read at the CE start-up, NUL-terminated; may be empty
} OrvStartupConfig;

#ifdef __cplusplus
#define ORV_RECORD_ASSERT(condition, text) static_assert(condition, text)
#else
#define ORV_RECORD_ASSERT(condition, text) _Static_assert(condition, text)
#endif
#define ORV_RECORD_AT(member, offset) \
  ORV_RECORD_ASSERT(offsetof(OrvStartupConfig, member) == (offset), #member " is not where the platform expects it")

ORV_RECORD_AT(nid, 0);
ORV_RECORD_AT(masterNid, 2);
ORV_RECORD_AT(masterIp, 4);
ORV_RECORD_AT(testerPort, 20);
ORV_RECORD_AT(printPort, 24);
ORV_RECORD_AT(printIp, 28);
ORV_RECORD_AT(platformPrivate1, 32);
ORV_RECORD_AT(btsLogPort, 48);
ORV_RECORD_AT(testerMultiplicity, 52);
ORV_RECORD_AT(platformPrivate2, 56);
ORV_RECORD_AT(sysComGwProtocol, 64);
#if UINTPTR_MAX == UINT32_MAX
ORV_RECORD_AT(rtConfigFile, 68);
ORV_RECORD_ASSERT(sizeof(OrvStartupConfig) == 68 + 4096, "the record has no members after rtConfigFile");
#endif

// The start-up record of this process. Written before the CE is started, read-only afterwards.
extern struct OrvStartupConfig gOrvStartupConfig;

// Makes tags, RAD parameters and the log usable, and clears what an earlier run of the node left in them. To be called
// once, before any other operation of the platform, by the daemon that starts the node.
int32_t AaStartupEarlyStartup(void);

// Starts the CE as gOrvStartupConfig describes it. Called once, after the early start-up, from the main thread.
int32_t AaStartupCeStartup(void);

// Ends the CE: waits until the joinable EUs have ended, then ends whatever the node still runs. Returns only when the
// CE is down. Blocks the calling thread for as long as a joinable EU lives, which is how a resident daemon waits.
int32_t AaStartupCeShutdown(void);

// How often the CE went down without a shutdown since the last graceful one. `context` is the start-up context word
// that is handed down through the start-up; a platform may ignore it.
uint32_t AaStartupCeUngracefulShutdownCount(uint32_t context);

#ifdef __cplusplus
}
#endif

#endif
