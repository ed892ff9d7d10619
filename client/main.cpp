// quorin_poectl: the command line of quorin_poed.
#include <clocale>

#include "client/app.h"
#include "daemon/paths.h"

int main(int argc, char** argv) {
  setlocale(LC_CTYPE, "");
  Options options;
  options.socketPath = kSocketPath;
  options.portFilePath = QUORIN_POED_ROOT "/etc/quorin_poed/ports";
  options.logPath = kLogFilePath;
  options.oldLogPath = kOldLogFilePath;
  options.logLevelPath = kLogLevelPath;
  return runClient(argc, argv, options);
}
