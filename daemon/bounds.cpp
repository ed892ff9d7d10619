#include "daemon/bounds.h"

#include <algorithm>
#include <array>
#include <atomic>

#include "base/sleep.h"
#include "log/log.h"

namespace {

constexpr int64_t kReportPauseMs = 60000;
constexpr size_t kBounds = 4;

std::atomic<int32_t> reached[kBounds];
int64_t nextReportMs = 0;

}  // namespace

void boundReached(Bound bound) {
  ++reached[static_cast<size_t>(bound)];
}

void boundsReport() {
  const bool isAnything = std::any_of(std::begin(reached), std::end(reached),
                                      [](const auto& count) { return count.load() > 0; });
  if (!isAnything || monotonicMs() < nextReportMs) {
    return;
  }

  std::array<int32_t, kBounds> counts{};
  std::transform(std::begin(reached), std::end(reached), counts.begin(),
                 [](auto& count) { return count.exchange(0); });
  LOG_HERE(LOG_WARNING,
           "clients met a bound: %d silent connection(s) made room, %d request(s) too large, "
           "%d without memory, %d refused because too many wait",
           counts[0], counts[1], counts[2], counts[3]);
  nextReportMs = monotonicMs() + kReportPauseMs;
}
