// The real daemon as a process, on a fresh root with a simulated switch of 48 PoE ports whose clock
// stands still in a night without schedules.
#ifndef QUORIN_BENCH_DAEMON_WORLD_H
#define QUORIN_BENCH_DAEMON_WORLD_H

#include <memory>

#include "bench/child_process.h"
#include "bench/socket_client.h"

struct sqlite3;

// Puts something into the daemon's databases.
using Fill = void (*)(sqlite3* schedules, sqlite3* history);

// A line of the socket that is a request.
std::string requestLine(const std::string& method, const std::string& params);

// One that creates, or deletes, a schedule of unit 1.
std::string createRequest(int64_t number);
std::string deleteRequest(int64_t scheduleId);

// Starts the daemon on a new root, fills its databases, and returns once it answers.
std::unique_ptr<ChildProcess> startDaemon(Fill fill);
// Starts it once more on the root as it is; it need not answer yet.
std::unique_ptr<ChildProcess> startDaemonAgain();

// The path of a file in the daemon's root.
std::string inRoot(const char* name);

void registerSocketFigures();
void registerProcessFigures();

#endif
