#include "tests/support/in_process.h"

#include <sys/socket.h>

#include <cstdlib>
#include <filesystem>
#include <thread>

#include "base/send_all.h"
#include "base/unique_fd.h"
#include "config/schedule_store.h"
#include "daemon/daemon_context.h"
#include "daemon/paths.h"
#include "history/history_store.h"
#include "ipc/client_worker.h"
#include "log/log.h"
#include "poe/port_locks.h"
#include "switchos/session.h"

namespace fs = std::filesystem;

void makeRoot(const switchsim::SwitchOptions& options) {
  const fs::path root = fs::path(kLogFilePath).parent_path().parent_path();
  fs::remove_all(root);
  for (const char* folder : {"tmp", "var/run", "mnt/fastpath"}) {
    fs::create_directories(root / folder);
  }
  setenv("SWITCHSIM_STATE", (root / "switch.state").c_str(), 1);
  switchsim::createSwitch(options, true);
}

bool openStores() {
  logSetPaths(kLogPaths);
  logOpen(LOG_TO_FILE, LOG_DAEMON, "quorin_poed");
  logMessage(LOG_INFO, "test starts");
  fs::create_directories(kDataDirPath);
  return (daemonContext() != nullptr || contextCreate()) &&
         initHandler("test", &openApiClient) == 0 && scheduleStoreInit() == 0 &&
         historyStoreInit() == 0 && portLockInit() == 0;
}

std::string askWorker(const std::string& request,
                      const std::function<void(const std::function<void()>&)>& serve) {
  int ends[2] = {-1, -1};
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) {
    return "no sockets";
  }
  const UniqueFd client(ends[0]);
  std::string answer;
  std::thread other([&] {  // what is sent or answered may be more than a socket holds
    sendAll(client.get(), {request});
    shutdown(client.get(), SHUT_WR);
    char chunk[4096];
    for (ssize_t n = 0; (n = recv(client.get(), chunk, sizeof chunk, 0)) > 0;) {
      answer.append(chunk, static_cast<size_t>(n));
    }
  });
  serve([&] { clientWorker(reinterpret_cast<void*>(static_cast<intptr_t>(ends[1]))); });
  other.join();
  return answer;
}
