#include "switchsim/lab/moves.h"

#include "cli/failure.h"
#include "cli/text.h"

namespace switchsim {
namespace {

constexpr int64_t kMsPerSec = 1000;

}  // namespace

Zone zoneOf(const Lab& lab) {
  return Zone(lab.zone());
}

int64_t momentOf(const std::string& text, int64_t nowMs, const Zone& zone) {
  const auto moment = parseMoment(text, nowMs / kMsPerSec, zone, Toward::future);
  if (!moment) {
    throw Failure(kExitUsage, "no such time: " + escaped(text) + "; " + kMomentForms);
  }
  return *moment;
}

std::string unmistakable(int64_t instant, const Zone& zone) {
  std::string text = momentText(instant, zone);
  for (const int64_t difference : {-3600, -1800, 1800, 3600}) {
    if (momentText(instant + difference, zone) == text) {
      return text + " " + zone.abbreviation(instant);
    }
  }
  return text;
}

void goTo(Lab& lab, const std::string& moment, const std::function<void()>& check) {
  const Zone zone = zoneOf(lab);
  lab.requireRunning();
  lab.claim();
  const int64_t to = momentOf(moment, lab.nowMs(), zone);
  if (to * kMsPerSec < lab.nowMs()) {
    throw Failure(kExitUsage, "in the lab it is " + unmistakable(lab.nowMs() / kMsPerSec, zone) +
                                  " already: `switchsim lab jump` sets its clock back, and does "
                                  "not undo what was done");
  }
  lab.travelTo(to * kMsPerSec, check);
}

void jumpTo(Lab& lab, const std::string& moment) {
  lab.requireRunning();
  lab.claim();
  lab.jumpTo(momentOf(moment, lab.nowMs(), zoneOf(lab)) * kMsPerSec);
}

void setSpeed(Lab& lab, int32_t speed) {
  lab.requireRunning();
  lab.claim();
  lab.setSpeed(speed);
}

}  // namespace switchsim
