#include "switchos/session.h"

#include <unistd.h>

#include <cstdio>

#include "base/sleep.h"
#include "log/level_file.h"
#include "log/log.h"

OpenClientHandle openApiClient{};

namespace {

constexpr int32_t kServerChecks = 7;
constexpr int32_t kServerCheckPauseSec = 3;
constexpr size_t kClientNameBytes = 100;
constexpr uint32_t kOsVersionBytes = 100;

// The crash logger catches SIGBUS, too, which the log's level file needs first.
void registerCrashLogger() {
  const LevelGuardPause pause;
  l7proc_crashlog_register();
}

bool waitForServer(OpenClientHandle* handle) {
  for (int32_t check = 1;; ++check) {
    const int32_t result = rpcclt_openapiConnectivityCheck(handle);
    if (result == OPENCLT_OK) {
      return true;
    }
    if (check == kServerChecks) {
      return false;
    }
    LOG_HERE(LOG_WARNING, "RPC call can fail until server starts. Keep trying (result = %d)\n",
             result);
    sleepSeconds(kServerCheckPauseSec);
  }
}

void logVersions(OpenClientHandle* handle) {
  char text[kOsVersionBytes + 1] = {};  // one more, for a server that fills the buffer to its end
  OpenBuffDesc osVersion{kOsVersionBytes, text};
  if (rpcclt_openapiNetworkOSVersionGet(handle, &osVersion) == OPENCLT_OK) {
    LOG_HERE(LOG_DEBUG, "ICOS Version = %s\n", text);
  } else {
    LOG_HERE(LOG_ERR, "Network OS Version retrieve error\n");
  }

  OpenApiVersion version{};
  if (rpcclt_openapiApiVersionGet(handle, &version) == OPENCLT_OK) {
    LOG_HERE(LOG_DEBUG, "Open API Version = %d.%d.%d.%d\n", version.component[0],
             version.component[1], version.component[2], version.component[3]);
  } else {
    LOG_HERE(LOG_ERR, "Open API Version retrieve error\n");
  }
}

}  // namespace

int32_t initHandler(const char* name, OpenClientHandle* handle) {
  registerCrashLogger();
  char clientName[kClientNameBytes];
  snprintf(clientName, sizeof clientName, "%s_%d", name != nullptr ? name : "common",
           static_cast<int>(getpid()));
  const int32_t result = openapiClientRegister(clientName, handle);
  if (result != OPENCLT_OK) {
    LOG_HERE(LOG_ERR, "\nFailed to initialize RPC to OpEN. Exiting (result = %d)\n", result);
    return -1;
  }

  LOG_HERE(LOG_DEBUG, "Register RPC to OpEN success. (client name = %s)\n", clientName);
  if (!waitForServer(handle)) {
    return -1;
  }

  logVersions(handle);
  return 0;
}
