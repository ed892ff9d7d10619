// The daemon's insides in this process, for tests and fuzz targets: real databases and a simulated
// switch below a root.
#ifndef QUORIN_TESTS_SUPPORT_IN_PROCESS_H
#define QUORIN_TESTS_SUPPORT_IN_PROCESS_H

#include <functional>
#include <string>

#include "switchsim/switch/switch_state.h"

// A root without files of an earlier time, and a switch of its own.
void makeRoot(const switchsim::SwitchOptions& options);

// Opens log, context, session, stores and port locks below it.
bool openStores();

// One request through a connection's worker on this thread; serve is given what does the work. The
// answer as sent.
std::string askWorker(
    const std::string& request, const std::function<void(const std::function<void()>&)>& serve =
                                    [](const auto& work) { work(); });

#endif
