// wait: until the daemon answers.
#include <algorithm>

#include "base/sleep.h"
#include "cli/failure.h"
#include "client/command.h"

namespace {

constexpr int64_t kDefaultMs = 30000;
constexpr int32_t kPauseMs = 100;

// An error of the daemon's is an answer, too.
bool answersWithin(Daemon& daemon, int64_t milliseconds) try {
  daemon.setTimeout(milliseconds);
  daemon.ask("bootdelay.get", JsonObject().number("unit", 1).take());
  return true;
} catch (const DaemonError&) {
  return true;
} catch (const Failure& failure) {
  if (failure.status() == kExitNotPermitted) {
    throw;
  }
  return false;
}

int runWait(int64_t forMs, Session& session) {
  session.refuseJson("wait");
  const int64_t endMs = monotonicMs() + forMs;
  while (!answersWithin(session.daemon(), std::max<int64_t>(endMs - monotonicMs(), 1))) {
    const int64_t leftMs = endMs - monotonicMs();
    if (leftMs <= 0) {
      throw Failure(kExitTimedOut, "no daemon answered within " + durationText(forMs) +
                                       ". Is quorin_poed running? Start it, or name its socket "
                                       "with --socket PATH.");
    }
    sleepMilliseconds(static_cast<int32_t>(std::min<int64_t>(leftMs, kPauseMs)));
  }
  return kExitDone;
}

}  // namespace

SessionAction defineWait(Arguments& app, Options&) {
  const auto forMs = std::make_shared<int64_t>(kDefaultMs);
  app.duration("--for", forMs.get(), "give up after this time [30s]");
  return [forMs](Session& session) { return runWait(*forMs, session); };
}
