// A vendor's platform, as small as it can be: libORV.so for a board that has nothing but Linux.
//
// Tags live in this process alone, so that its programs cannot set any; messages go nowhere; the log is standard error.
// What the daemon needs is all there, with the meanings that the headers give.
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "AaConfig.h"
#include "AaError.h"
#include "AaFile.h"
#include "AaMem.h"
#include "AaPro.h"
#include "AaStartup.h"
#include "AaSysCom.h"
#include "AaSysLog.h"
#include "AaSysTime.h"

extern char **environ;

// --- The start-up record --------------------------------------------------------------------------------------------

struct OrvStartupConfig gOrvStartupConfig = {
    .masterIp = "127.0.0.1", .testerPort = 15005, .printPort = 51005, .printIp = 0x7f000001};

// --- Tags: a list that only grows -----------------------------------------------------------------------------------

struct Tag {
  struct Tag *next;
  char *name;
  char *text;
};

static struct Tag *tags;
static pthread_mutex_t tagLock = PTHREAD_MUTEX_INITIALIZER;

static struct Tag *findTag(const char *name) {
  struct Tag *tag = tags;
  while (tag != NULL && strcmp(tag->name, name) != 0)
    tag = tag->next;
  return tag;
}

static int32_t setTag(const char *name, const char *text) {
  char *const copy = strdup(text);
  if (copy == NULL) return ENOMEM;
  pthread_mutex_lock(&tagLock);
  struct Tag *tag = findTag(name);
  if (tag == NULL) {
    tag = calloc(1, sizeof *tag);
    if (tag != NULL) {
      tag->name = strdup(name);
      tag->next = tags;
      tags = tag;
    }
  }
  if (tag != NULL) {
    free(tag->text);
    tag->text = copy;
  }
  pthread_mutex_unlock(&tagLock);
  if (tag == NULL) free(copy);
  return tag == NULL ? ENOMEM : 0;
}

int32_t AaConfigTagSetString(const char *name, const char *text) {
  return setTag(name, text);
}

int32_t AaConfigTagSetU32(const char *name, uint32_t value) {
  char text[16];
  snprintf(text, sizeof text, "%u", (unsigned)value);
  return setTag(name, text);
}

int32_t AaConfigTagSetU16(const char *name, uint16_t value) {
  return AaConfigTagSetU32(name, value);
}

int32_t AaConfigTagReadFile(const char *path) {
  (void)path;  // this board has no configuration files
  return ENOTSUP;
}

int32_t AaConfigTagIsSet(const char *name) {
  pthread_mutex_lock(&tagLock);
  const int isSet = findTag(name) != NULL;
  pthread_mutex_unlock(&tagLock);
  return isSet;
}

int32_t AaConfigTagGetString(const char *name, char **text, uint32_t *length) {
  pthread_mutex_lock(&tagLock);
  const struct Tag *const tag = findTag(name);
  char *const copy = tag == NULL ? NULL : strdup(tag->text);
  pthread_mutex_unlock(&tagLock);
  if (copy == NULL) return ENOENT;
  *length = (uint32_t)strlen(copy);
  *text = copy;
  return 0;
}

uint32_t AaConfigRadGetValue(uint32_t number) {
  (void)number;
  return 0;
}

// Each buffer has one reference.
void AaMemUnRefDbg(char **buffer, const char *file, uint32_t line) {
  (void)file;
  (void)line;
  free(*buffer);
  *buffer = NULL;
}

// --- Execution units: threads, of which the joinable ones are remembered ------------------------------------------

enum { MOST_JOINABLE = 16 };
static pthread_t joinable[MOST_JOINABLE];
static unsigned joinableCount;
static uint32_t lastEu;
static _Thread_local uint32_t ownEu;

struct EuStart {
  uint32_t id;
  AaProEuEntry entry;
  _Alignas(max_align_t) char argument[];
};

static void *runEu(void *argument) {
  struct EuStart *const start = argument;
  ownEu = start->id;
  void *const result = start->entry(start->argument);
  free(start);
  return result;
}

int32_t AaProEuCreateAndStartJoinable(uint32_t *euId, const char *name, AaProEuEntry entry, uint32_t stackSize,
                                      uint32_t priority, const void *argument, uint32_t argumentSize,
                                      uint32_t isJoinable) {
  (void)name, (void)stackSize, (void)priority;
  struct EuStart *const start = malloc(sizeof *start + argumentSize);
  if (start == NULL || (isJoinable && joinableCount == MOST_JOINABLE)) {
    free(start);
    return EAGAIN;
  }
  start->id = *euId = ++lastEu;
  start->entry = entry;
  if (argumentSize != 0) memcpy(start->argument, argument, argumentSize);
  pthread_t thread;
  const int error = pthread_create(&thread, NULL, runEu, start);
  if (error != 0) {
    free(start);
  } else if (isJoinable) {
    joinable[joinableCount++] = thread;
  } else {
    pthread_detach(thread);
  }
  return error;
}

int32_t AaProEuCreateAndStart(uint32_t *euId, const char *name, AaProEuEntry entry, uint32_t stackSize,
                              uint32_t priority, const void *argument, uint32_t argumentSize) {
  return AaProEuCreateAndStartJoinable(euId, name, entry, stackSize, priority, argument, argumentSize, 0);
}

uint32_t AaProEuCurrent(void) {
  return ownEu;
}

// --- Programs: those that run are remembered, so that the shutdown can end them -------------------------------------

enum { MOST_PROGRAMS = 64, MOST_WORDS = 64 };
static pid_t programs[MOST_PROGRAMS];  // 0: a free place
static pthread_mutex_t programLock = PTHREAD_MUTEX_INITIALIZER;

// Puts `by` in the place of `pid`. False where there is none.
static int replaceProgram(pid_t pid, pid_t by) {
  unsigned i = 0;
  while (i < MOST_PROGRAMS && programs[i] != pid)
    ++i;
  if (i < MOST_PROGRAMS) programs[i] = by;
  return i < MOST_PROGRAMS;
}

static void splitWords(char *text, char **words) {
  unsigned count = 0;
  for (char *word = strsep(&text, " "); word != NULL && count + 1 < MOST_WORDS; word = strsep(&text, " ")) {
    if (*word != '\0') words[count++] = word;
  }
  words[count] = NULL;
}

// Holds the lock over start and entry, so that a shutdown misses no program.
static int startProgram(const char *path, char **words, pid_t *child) {
  pthread_mutex_lock(&programLock);
  int error = EAGAIN;
  if (replaceProgram(0, -1)) {
    error = posix_spawnp(child, path, NULL, NULL, words, environ);
    replaceProgram(-1, error == 0 ? *child : 0);
  }
  pthread_mutex_unlock(&programLock);
  return error;
}

int32_t AaProCmdExec(const char *path, const char *args, uint32_t supervisionFlags, int32_t *waitStatus) {
  (void)supervisionFlags;
  char *words[MOST_WORDS + 1] = {(char *)path};
  char *const text = strdup(args);
  if (text == NULL) return ENOMEM;
  splitWords(text, words + 1);
  pid_t child = 0;
  const int error = startProgram(path, words, &child);
  free(text);
  if (error != 0) return error == 5 ? -5 : error;  // 5 would say that it ran
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  pthread_mutex_lock(&programLock);
  replaceProgram(child, 0);
  pthread_mutex_unlock(&programLock);
  *waitStatus = status;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 5;
}

// --- Start and end of the CE ----------------------------------------------------------------------------------------

int32_t AaStartupEarlyStartup(void) {
  return 0;
}

int32_t AaStartupCeStartup(void) {
  fprintf(stderr, "vendor: node 0x%04x starts\n", gOrvStartupConfig.nid);
  return 0;
}

int32_t AaStartupCeShutdown(void) {
  for (unsigned i = 0; i < joinableCount; ++i)
    pthread_join(joinable[i], NULL);
  // The lock is kept: whoever waits for these programs has nothing more to say, and ends with the process.
  pthread_mutex_lock(&programLock);
  for (unsigned i = 0; i < MOST_PROGRAMS; ++i) {
    if (programs[i] > 0) kill(programs[i], SIGTERM);
  }
  fputs("vendor: node ends\n", stderr);
  return 0;
}

uint32_t AaStartupCeUngracefulShutdownCount(uint32_t context) {
  (void)context;
  return 0;
}

// --- Messages: there is nobody to send them to ----------------------------------------------------------------------

uint32_t AaSysComEuUserRegister(uint32_t options) {
  (void)options;
  return 1;
}

int32_t AaSysComUserDeregister(uint32_t cpid) {
  (void)cpid;
  return 0;
}

// The header of 16 bytes, with the sender's address at offset 8, and the payload behind it.
void *AaSysComMsgCreate(uint32_t messageId, uint32_t payloadSize, uint32_t receiver) {
  uint32_t *const message = calloc(1, 16 + payloadSize);
  if (message == NULL) return NULL;
  message[0] = messageId;
  message[1] = receiver;
  return message;
}

int32_t AaSysComMsgSendWithPriority(void **message, uint32_t priority) {
  (void)priority;
  free(*message);
  *message = NULL;
  return EHOSTUNREACH;
}

uint16_t AaSysComGetOwnNid(void) {
  return gOrvStartupConfig.nid;
}

// --- The rest -------------------------------------------------------------------------------------------------------

int32_t AaSysLogPrint(uint32_t severity, const char *format, ...) {
  (void)severity, (void)format;  // the daemon's own lines stand on standard error already
  return 0;
}

void AaErrorExceptionRaise(uint32_t kind, uint32_t code, uint32_t reserved1, uint32_t reserved2, const char *text,
                           const char *file, uint32_t line) {
  (void)reserved1, (void)reserved2;
  fprintf(stderr, "vendor: error %u, 0x%x: %s [%s:%u]\n", (unsigned)kind, (unsigned)code, text, file, (unsigned)line);
}

void *AaFileOpen(const char *name, const char *mode) {
  return fopen(name, mode);
}

uint32_t AaFileRead(void *buffer, uint32_t itemSize, uint32_t itemCount, void *file) {
  return (uint32_t)fread(buffer, itemSize, itemCount, file);
}

int32_t AaFileClose(void *file) {
  return fclose(file);
}

int32_t AaSysTimeSleep(uint32_t amount, uint32_t unit) {
  struct timespec left = {.tv_sec = unit == 4 ? (time_t)amount : (time_t)(amount / 1000),
                          .tv_nsec = unit == 4 ? 0 : (long)(amount % 1000) * 1000000};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
  return 0;
}
