// The program: its command line, and how it ends.
#ifndef QUORIN_CLIENT_APP_H
#define QUORIN_CLIENT_APP_H

#include "cli/program.h"
#include "client/session.h"

// options must outlive what comes back, and holds what is parsed.
Program clientProgram(Options* options);

// Parses, carries out, says what went wrong; the exit status. options has the paths of this build.
// REQUIRES: setlocale was called.
int runClient(int argc, const char* const* argv, Options options);

#endif
