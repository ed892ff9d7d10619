#include "bench/stores.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <array>
#include <filesystem>
#include <numeric>

#include "bench/floors.h"
#include "bench/sample_data.h"
#include "daemon/daemon_context.h"
#include "daemon/paths.h"
#include "history/history_store.h"
#include "tests/support/in_process.h"

namespace fs = std::filesystem;

namespace {

constexpr int64_t kWideRuns = 100;

fs::path rootPath() {
  return fs::path(kLogFilePath).parent_path().parent_path();
}

void closeHistory() {
  {
    const HistoryAccess history;
    sqlite3_close(history.db());
  }
  publishHistoryDb(nullptr);
}

void openHistory() {
  must(historyStoreInit() == 0, "opening the history");
}

void removeHistory() {
  for (const char* suffix : {"", "-wal", "-shm"}) {
    fs::remove(std::string(kHistoryDbPath) + suffix);
  }
}

// The file with so many runs, beside the root, which is made anew each time.
fs::path historyFile(int64_t runs) {
  fs::path file = rootPath().parent_path() / ("history_" + std::to_string(runs) + ".db");
  if (!fs::exists(file)) {
    openHistory();
    {
      const HistoryAccess history;
      fillHistory(history.db(), runs, kWideRuns);
    }
    closeHistory();
    fs::rename(kHistoryDbPath, file);
  }
  return file;
}

// Puts what place makes into the history's place, unless it is there already.
template <typename Place>
void replaceHistory(const std::string& name, Place place) {
  static std::string present = "0";
  if (name == present) {
    return;
  }
  closeHistory();
  removeHistory();
  place();
  openHistory();
  present = name;
}

}  // namespace

RunBeginRequest beginRequest(int32_t count) {
  static std::array<uint32_t, kWidePorts> ports;
  std::iota(ports.begin(), ports.end(), 1);
  RunBeginRequest request;
  request.unit = 1;
  request.scheduleId = 1;
  request.scheduleName = "Schedule 1";
  request.action = POE_ACTION_POWER_OFF;
  request.ifNums = ports.data();
  request.ifCount = count;
  return request;
}

void openHistoryOf(int64_t runs) {
  replaceHistory(std::to_string(runs), [runs] {
    if (runs != 0) {
      fs::create_symlink(historyFile(runs), kHistoryDbPath);
    }
  });
}

void openHistoryCopyOf(int64_t runs) {
  replaceHistory("copy of " + std::to_string(runs),
                 [runs] { fs::copy_file(historyFile(runs), kHistoryDbPath); });
}

std::string floorPath(const char* name) {
  return rootPath() / name;
}

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  must(!benchmark::ReportUnrecognizedArguments(argc, argv), "reading the arguments");
  makeRoot({1, kWidePorts + 4, kWidePorts});
  must(openStores(), "opening the stores");
  registerHistoryFigures();
  registerTickFigures();
  registerLogFigure();
  registerPurgeFigure();
  registerFlashFigures();
  benchmark::RunSpecifiedBenchmarks();
}
