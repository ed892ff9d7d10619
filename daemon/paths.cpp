#include "daemon/paths.h"

#ifndef QUORIN_POED_ROOT
#error "QUORIN_POED_ROOT must be defined: the prefix of all paths, \"\" in the product"
#endif

#define DATA_DIR_PARENT QUORIN_POED_ROOT "/mnt/fastpath"
#define DATA_DIR DATA_DIR_PARENT "/quorin_poed"

const char kLogFilePath[] = QUORIN_POED_ROOT "/tmp/sw900.log";
const char kOldLogFilePath[] = QUORIN_POED_ROOT "/tmp/sw900.log.old";
const char kLogLevelPath[] = QUORIN_POED_ROOT "/tmp/devmgr_log_level";

const LogPaths kLogPaths{kLogFilePath, kOldLogFilePath, kLogLevelPath};

const char kDataDirPath[] = DATA_DIR;
const char kDataDirParentPath[] = DATA_DIR_PARENT;
const char kLockFilePath[] = DATA_DIR "/quorin_poed.lock";
const char kScheduleDbPath[] = DATA_DIR "/schedule.db";
const char kHistoryDbPath[] = DATA_DIR "/history.db";
const char kBootDelayConfigPath[] = DATA_DIR "/bootdelay.json";
const char kBootDelayTempPath[] = DATA_DIR "/bootdelay.json.tmp";
const char kPidFilePath[] = QUORIN_POED_ROOT "/var/run/quorin_poed.pid";
const char kSocketPath[] = QUORIN_POED_ROOT "/var/run/quorin_poed.sock";
const char kShowPortOutputPath[] = QUORIN_POED_ROOT "/tmp/quorin_poed_show_port";

static_assert(sizeof kSocketPath <= 108, "the root is too long for a Unix-domain socket address");
static_assert(sizeof kShowPortOutputPath <= 96,
              "the root is too long for the switch OS's output file");
