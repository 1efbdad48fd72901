// libORV.so: tells of the calls that make a start-up, and lets it happen in one thread. An EU runs to its end where it
// is created; no program is run, and each is said to have failed; the node is asked to end as soon as it is up. What
// the daemon reads is here: the definition file, its online tag, and leave to reset the board.
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "AaConfig.h"
#include "AaError.h"
#include "AaFile.h"
#include "AaMem.h"
#include "AaPro.h"
#include "AaStartup.h"
#include "AaSysCom.h"
#include "AaSysLog.h"
#include "AaSysTime.h"

#define TELL(...) fprintf(stderr, NAME ": " __VA_ARGS__)

// A library's record may have members behind those that the daemon was built with: they are this library's own. The
// header's declaration has no room for them, hence another name for the compiler.
static const char MARK[] = "behind the record";
extern struct Record record __asm__("gOrvStartupConfig");
struct Record {
  struct OrvStartupConfig declared;
  char own[sizeof MARK];
} record = {.declared = {.masterIp = "127.0.0.1", .testerPort = 15005, .printPort = 51005}, .own = "behind the record"};

int32_t AaStartupEarlyStartup(void) {
  TELL("early start-up\n");
  return 0;
}

int32_t AaStartupCeStartup(void) {
  TELL("node 0x%x starts, tester port %u, configured by %s\n", (unsigned)record.declared.nid,
       (unsigned)record.declared.testerPort, record.declared.rtConfigFile);
  return 0;
}

int32_t AaStartupCeShutdown(void) {
  TELL("node ends, what is behind the record is %s\n", memcmp(record.own, MARK, sizeof MARK) == 0 ? "kept" : "lost");
  return 0;
}

uint32_t AaStartupCeUngracefulShutdownCount(uint32_t context) {
  (void)context;
  return 0;
}

int32_t AaProEuCreateAndStartJoinable(uint32_t *euId, const char *name, AaProEuEntry entry, uint32_t stackSize,
                                      uint32_t priority, const void *argument, uint32_t argumentSize,
                                      uint32_t joinable) {
  TELL("EU %s, %u bytes of stack, priority %u, argument of %u bytes%s\n", name, (unsigned)stackSize, (unsigned)priority,
       (unsigned)argumentSize, joinable ? ", joinable" : "");
  *euId = 1;
  void *const copy = malloc(argumentSize);
  memcpy(copy, argument, argumentSize);
  entry(copy);
  free(copy);
  return 0;
}

int32_t AaProEuCreateAndStart(uint32_t *euId, const char *name, AaProEuEntry entry, uint32_t stackSize,
                              uint32_t priority, const void *argument, uint32_t argumentSize) {
  return AaProEuCreateAndStartJoinable(euId, name, entry, stackSize, priority, argument, argumentSize, 0);
}

uint32_t AaProEuCurrent(void) {
  return 1;
}

int32_t AaProCmdExec(const char *path, const char *args, uint32_t supervisionFlags, int32_t *waitStatus) {
  TELL("program %s, arguments '%s', flags %u\n", path, args, (unsigned)supervisionFlags);
  *waitStatus = 1 << 8;
  return 5;
}

void AaErrorExceptionRaise(uint32_t kind, uint32_t code, uint32_t reserved1, uint32_t reserved2, const char *text,
                           const char *file, uint32_t line) {
  (void)reserved1, (void)reserved2, (void)file, (void)line;
  TELL("error %u 0x%x: %s\n", (unsigned)kind, (unsigned)code, text);
}

int32_t AaConfigTagSetString(const char *name, const char *text) {
  TELL("tag %s is '%s'\n", name, text);
  return 0;
}

int32_t AaConfigTagSetU16(const char *name, uint16_t value) {
  TELL("tag %s is %u, 16 bits\n", name, (unsigned)value);
  return 0;
}

int32_t AaConfigTagSetU32(const char *name, uint32_t value) {
  TELL("tag %s is %u, 32 bits\n", name, (unsigned)value);
  return 0;
}

int32_t AaConfigTagReadFile(const char *path) {
  TELL("tags of %s\n", path);
  return 0;
}

int32_t AaConfigTagIsSet(const char *name) {
  const int isSet = strcmp(name, "pump.online") == 0 || strstr(name, "watchdog") != NULL;
  TELL("tag %s is %s\n", name, isSet ? "set" : "not set");
  return isSet;
}

int32_t AaConfigTagGetString(const char *name, char **text, uint32_t *length) {
  TELL("tag %s is asked for\n", name);
  *text = strdup("AppDef.txt");
  *length = (uint32_t)strlen(*text);
  return 0;
}

uint32_t AaConfigRadGetValue(uint32_t number) {
  TELL("parameter 0x%x\n", (unsigned)number);
  return 0;
}

void AaMemUnRefDbg(char **buffer, const char *file, uint32_t line) {
  (void)file, (void)line;
  TELL("'%s' is given back\n", *buffer);
  free(*buffer);
  *buffer = NULL;
}

static const char *definitions = "pump;/opt/pump;--fast;0;3;pump.online\n";

void *AaFileOpen(const char *name, const char *mode) {
  TELL("file %s, mode %s\n", name, mode);
  return &definitions;
}

// Called for a character at a time.
uint32_t AaFileRead(void *buffer, uint32_t itemSize, uint32_t itemCount, void *file) {
  const char **const rest = file;
  if (itemSize != 1 || itemCount != 1 || **rest == '\0') return 0;
  *(char *)buffer = *(*rest)++;
  return 1;
}

int32_t AaFileClose(void *file) {
  TELL("file closed%s\n", file == &definitions ? "" : ", but another");
  return 0;
}

uint32_t AaSysComEuUserRegister(uint32_t options) {
  TELL("user with options %u\n", (unsigned)options);
  return 7;
}

int32_t AaSysComUserDeregister(uint32_t cpid) {
  TELL("user %u leaves\n", (unsigned)cpid);
  return 0;
}

void *AaSysComMsgCreate(uint32_t messageId, uint32_t payloadSize, uint32_t receiver) {
  TELL("message 0x%x of %u bytes to 0x%x\n", (unsigned)messageId, (unsigned)payloadSize, (unsigned)receiver);
  return calloc(1, 16 + payloadSize);
}

int32_t AaSysComMsgSendWithPriority(void **message, uint32_t priority) {
  uint32_t sender = 0;
  memcpy(&sender, (const char *)*message + 8, sizeof sender);
  TELL("sent by 0x%x, priority %u\n", (unsigned)sender, (unsigned)priority);
  free(*message);
  *message = NULL;
  return 0;
}

uint16_t AaSysComGetOwnNid(void) {
  return record.declared.nid;
}

int32_t AaSysTimeSleep(uint32_t amount, uint32_t unit) {
  TELL("sleeps %u of unit %u\n", (unsigned)amount, (unsigned)unit);
  return 0;
}

// The log is not told of: the daemon's lines stand on standard error already. It says when the node is up.
int32_t AaSysLogPrint(uint32_t severity, const char *format, ...) {
  (void)severity;
  char line[256];
  va_list values;
  va_start(values, format);
  vsnprintf(line, sizeof line, format, values);
  va_end(values);
  if (strstr(line, "CE start-up complete") != NULL) raise(SIGTERM);
  return 0;
}
