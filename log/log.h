// The diagnostic log of the whole process.
//
// A record goes to a size-capped file, to syslog and to standard output, as the mode bits say. The
// file is rotated after the record that takes it past 1,048,576 bytes; one older generation is
// kept. Verbosity is the first byte of the level file, an ASCII digit that any other process may
// change at any time; it is read afresh for every record.
//
// Records carry no line end of their own: a caller that wants one puts it into its format. In the
// file one record runs straight on after the previous one; syslog separates them by itself.
//
// No failure in here reaches a caller, and none keeps a record from the other destinations.
#ifndef QUORIN_LOG_LOG_H
#define QUORIN_LOG_LOG_H

#include <syslog.h>

#include <cstdint>

struct LogPaths {
  const char* file;     // the log
  const char* oldFile;  // the one before it
  const char* level;    // the level file
};

constexpr uint32_t LOG_TO_FILE = 1;
constexpr uint32_t LOG_TO_SYSLOG = 2;
constexpr uint32_t LOG_TO_STDOUT = 4;

// Sets where the files are; the strings must stay valid. REQUIRES: called before the first logOpen.
void logSetPaths(const LogPaths& paths);

// Sets where records go, the syslog facility and the name printed in each record, and opens the
// files. ident is kept, not copied, and may be null (then the process's own name is looked up). May
// be called again to change them. REQUIRES: no other thread logs meanwhile.
void logOpen(uint32_t mode, int32_t facility, const char* ident);

// Why the log's file is not in use since logOpen, in words, or null when it is. Records go to
// standard output instead. REQUIRES: the thread that called logOpen.
const char* logFileProblem();

// Writes one record if its level (a syslog priority) is not above the level file's, 6 when there is
// none. Formats of the daemon begin "[%s:%d] ", filled with the function's name and the source
// line. The first record after logOpen completes the opening: REQUIRES that it is written before
// other threads log. Locks: the log's own mutex, always the innermost; any other lock may be held.
void logMessage(int32_t level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// A record that begins with the function and the line that it is written from: LOG_HERE(level,
// format, arguments...), where format is a literal. (The empty last argument is for those without
// arguments.)
#define LOG_HERE(level, ...) LOG_HERE_WITH(level, __VA_ARGS__, "")
#define LOG_HERE_WITH(level, format, ...) \
  logMessage(level, "[%s:%d] " format "%s", __func__, __LINE__, __VA_ARGS__)

// Closes what logOpen and the first record opened; nothing when there was no record. Safe while
// other threads still log: a record that comes too late goes to standard output, and to syslog,
// which it opens again, if the mode has it.
void logClose();

#endif
