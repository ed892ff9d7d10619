// quorin_poectl: the command line of quorin_poed.
#include <clocale>

#include "cli/lab_clock.h"
#include "client/app.h"
#include "daemon/paths.h"

namespace {

// In a lab the daemon's files are below the lab's root, in place of this build's.
std::string fileAt(const char* path) {
  const std::string lab = labFolder();
  return lab.empty() ? path : lab + "/root" + (path + sizeof QUORIN_POED_ROOT - 1);
}

}  // namespace

int main(int argc, char** argv) {
  setlocale(LC_CTYPE, "");
  Options options;
  options.socketPath = fileAt(kSocketPath);
  options.portFilePath = fileAt(QUORIN_POED_ROOT "/etc/quorin_poed/ports");
  options.logPath = fileAt(kLogFilePath);
  options.oldLogPath = fileAt(kOldLogFilePath);
  options.logLevelPath = fileAt(kLogLevelPath);
  return runClient(argc, argv, options);
}
