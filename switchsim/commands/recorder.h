// What a recording proxy does with a connection.
#ifndef QUORIN_SWITCHSIM_COMMANDS_RECORDER_H
#define QUORIN_SWITCHSIM_COMMANDS_RECORDER_H

#include <string>

#include "switchsim/commands/recording.h"

namespace switchsim {

// Passes on every byte, and every end, between a client and the daemon at this socket until the
// daemon closes its connection; the exchange then goes to the file, unless nothing passed. What
// stopFd cuts off is not recorded. A daemon that is not there is told on stderr.
void recordConnection(int client, const std::string& daemonPath, int stopFd, RecordingFile* file);

}  // namespace switchsim

#endif
