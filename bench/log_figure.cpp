// A record of the log, to its file, at the level that the daemon has by default.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <string>

#include "base/unique_fd.h"
#include "bench/floors.h"
#include "bench/stores.h"
#include "daemon/paths.h"
#include "log/log.h"

namespace {

using benchmark::State;

constexpr size_t kMaxFileBytes = 1048576;  // the daemon's log rotates beyond it

void logOne() {
  LOG_HERE(LOG_INFO, "schedule %lld unit %d endTime: no open run for this occurrence", 123LL, 1);
}

void logOurs(State& state) {
  for (auto _ : state) {
    logOne();
  }
}

UniqueFd openFloorLog() {
  return UniqueFd(open(floorPath("floor.log").c_str(),
                       O_WRONLY | O_CREAT | O_APPEND | O_TRUNC | O_CLOEXEC, 0644));
}

// One write(2) to a file open for appending, which is emptied where the daemon's log rotates.
void writeOne(const UniqueFd& file, const char* text, size_t bytes, size_t* written) {
  must(write(file.get(), text, bytes) == static_cast<ssize_t>(bytes), "a write");
  *written += bytes;
  if (*written > kMaxFileBytes) {
    must(ftruncate(file.get(), 0) == 0, "emptying a file");
    *written = 0;
  }
}

// A ready text, as long as the record.
void logFloor(State& state) {
  const auto before = std::filesystem::file_size(kLogFilePath);
  logOne();
  const auto after = std::filesystem::file_size(kLogFilePath);
  const std::string text(after > before ? after - before : 128, 'x');
  const UniqueFd file = openFloorLog();
  size_t written = 0;
  for (auto _ : state) {
    writeOne(file, text.data(), text.size(), &written);
  }
}

// The same with a text that is formatted for each write, with the time in it.
void logFormattedFloor(State& state) {
  const UniqueFd file = openFloorLog();
  size_t written = 0;
  for (auto _ : state) {
    timespec now{};
    tm local{};
    clock_gettime(CLOCK_REALTIME, &now);
    localtime_r(&now.tv_sec, &local);
    char text[256];
    const int bytes = snprintf(
        text, sizeof text,
        "%04d-%02d-%02d %02d:%02d:%02d.%03ld (%s): %s: [%s:%d] schedule %lld unit %d endTime: no "
        "open run for this occurrence",
        local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
        local.tm_sec, now.tv_nsec / 1000000, "INFO", "quorin_poed", __func__, __LINE__, 123LL, 1);
    writeOne(file, text, static_cast<size_t>(bytes), &written);
  }
}

}  // namespace

void registerLogFigure() {
  benchmark::RegisterBenchmark("log record/ours", logOurs)->UseRealTime();
  benchmark::RegisterBenchmark("log record/floor", logFloor)->UseRealTime();
  benchmark::RegisterBenchmark("log record, floor formats/ours", logOurs)->UseRealTime();
  benchmark::RegisterBenchmark("log record, floor formats/floor", logFormattedFloor)->UseRealTime();
}
