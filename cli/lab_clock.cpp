#include "cli/lab_clock.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

namespace {

constexpr int64_t kUsPerMs = 1000;
constexpr int64_t kUsPerSec = 1000000;

// Of the lab that this program belongs to.
std::optional<LabClock> ownClock() {
  const std::string folder = labFolder();
  return folder.empty() ? std::nullopt : readLabClock(folder);
}

int64_t clockUs(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return int64_t{now.tv_sec} * kUsPerSec + now.tv_nsec / 1000;
}

}  // namespace

std::optional<LabClock> readLabClock(const std::string& folder) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen((folder + "/clock").c_str(), "re"),
                                                   [](FILE* each) { return fclose(each); });
  LabClock clock;
  if (file == nullptr ||
      fscanf(file.get(), "# %" SCNd64 " %" SCNd64 " %" SCNd32, &clock.labMs, &clock.hostMs,
             &clock.speed) != 3 ||
      clock.speed < 1 || clock.speed > kMaxLabSpeed) {
    return std::nullopt;
  }
  // A host that was started anew counts from 0 again: the lab stood still meanwhile.
  clock.hostMs = std::min(clock.hostMs, hostMonotonicMs());
  return clock;
}

// libfaketime shows: start + offset + (now - start) * speed.
std::string labClockText(const LabClock& clock, int64_t daemonStartUs) {
  const int64_t ranUs = (hostRealUs() - daemonStartUs) * clock.speed;
  const int64_t offsetUs = clock.labMs * kUsPerMs - daemonStartUs - ranUs;
  char text[160];
  const int length = snprintf(
      text, sizeof text, "# %" PRId64 " %" PRId64 " %" PRId32 "\n%+.6f x%" PRId32 "\n", clock.labMs,
      clock.hostMs, clock.speed, static_cast<double>(offsetUs) / kUsPerSec, clock.speed);
  return std::string(text, static_cast<size_t>(length));
}

std::string labFolder() {
  const char* folder = getenv("QUORIN_POED_LAB");
  return folder != nullptr ? folder : "";
}

bool isLabDaemon() {
  const char* time = getenv("SWITCHSIM_TIME");
  return time != nullptr && strcmp(time, "wall") == 0;
}

int64_t systemMs() {
  const std::optional<LabClock> clock = ownClock();
  return clock ? clock->labMsAt(hostMonotonicMs()) : hostRealUs() / kUsPerMs;
}

int32_t systemSpeed() {
  const std::optional<LabClock> clock = ownClock();
  return clock ? clock->speed : 1;
}

int64_t hostMonotonicMs() {
  return clockUs(CLOCK_MONOTONIC) / kUsPerMs;
}

int64_t hostRealUs() {
  return clockUs(CLOCK_REALTIME);
}
