// Every path that the daemon uses. All are fixed in the program, each below the compile-time prefix
// QUORIN_POED_ROOT (empty in the product), which exists so that builds on a developer's machine and
// tests keep to a tree of their own.
#ifndef QUORIN_DAEMON_PATHS_H
#define QUORIN_DAEMON_PATHS_H

#include "log/log.h"

// Below /tmp.
extern const char kLogFilePath[];
extern const char kOldLogFilePath[];
extern const char kLogLevelPath[];
// What the log is told of them.
extern const LogPaths kLogPaths;

extern const char kDataDirPath[];  // survives reboots
extern const char kDataDirParentPath[];
extern const char kLockFilePath[];
extern const char kScheduleDbPath[];
extern const char kHistoryDbPath[];
extern const char kBootDelayConfigPath[];
extern const char kBootDelayTempPath[];  // becomes the former by a rename
extern const char kPidFilePath[];
extern const char kSocketPath[];  // at most 107 bytes, the room in a Unix-domain socket address
extern const char kShowPortOutputPath[];

#endif
