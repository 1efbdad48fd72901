// All platform headers in one C translation unit, and what C makes of the start-up record.
#include <stddef.h>

#include "AaConfig.h"
#include "AaError.h"
#include "AaFile.h"
#include "AaMem.h"
#include "AaPro.h"
#include "AaStartup.h"
#include "AaSysCom.h"
#include "AaSysLog.h"
#include "AaSysTime.h"
#include "SysComReceive.h"
#include "ddal.h"

// In the order of the record's members; StartupRecordTest compares them with its own.
extern const size_t orvRecordOffsetsInC[];
extern const size_t orvRecordSizeInC;
const size_t orvRecordOffsetsInC[] = {
    offsetof(OrvStartupConfig, nid),
    offsetof(OrvStartupConfig, masterNid),
    offsetof(OrvStartupConfig, masterIp),
    offsetof(OrvStartupConfig, testerPort),
    offsetof(OrvStartupConfig, printPort),
    offsetof(OrvStartupConfig, printIp),
    offsetof(OrvStartupConfig, platformPrivate1),
    offsetof(OrvStartupConfig, btsLogPort),
    offsetof(OrvStartupConfig, testerMultiplicity),
    offsetof(OrvStartupConfig, platformPrivate2),
    offsetof(OrvStartupConfig, sysComGwProtocol),
    offsetof(OrvStartupConfig, rtConfigFile),
};
const size_t orvRecordSizeInC = sizeof(OrvStartupConfig);
