#include "client/diagnosis/port_event.h"

#include "cli/text.h"
#include "rules/run_words.h"

namespace {

std::string doer(const PortEvent& event) {
  const Run& run = event.run;
  if (event.cause == PortCause::bootDelay) {
    return "the boot delay";
  }
  if (!run.scheduleId) {
    return "a manual reset";
  }
  const std::string action = event.actionText.empty() ? "now gone" : event.actionText;
  return "schedule " + std::to_string(*run.scheduleId) + " " + inQuotes(run.scheduleName) + " (" +
         escaped(action) + ")";
}

std::string outcomeText(const PortEvent& event) {
  const Run& run = event.run;
  const std::string& portSays = event.port().errorMessage;
  if (run.isOpen()) {
    return "still open";
  }
  if (wasCutOff(event)) {
    return "cut off by a restart of the daemon";
  }
  if (!event.twinName.empty() && run.errorMessage == kRunNeverEnded) {
    return "whose last night " + inQuotes(event.twinName) + " ends";
  }
  const std::string& why = run.errorMessage.empty() ? portSays : run.errorMessage;
  return escaped(run.status.text + (why.empty() ? "" : ": " + why));
}

std::string runText(const PortEvent& event) {
  return doer(event) + ", run " + std::to_string(event.run.runId) + ", " + outcomeText(event);
}

std::string verbText(const PortEvent& event) {
  const bool switchesBack =
      event.cause == PortCause::restart || event.cause == PortCause::bootDelay;
  switch (event.effect) {
    case PortEffect::none:
      return "not switched";
    case PortEffect::unclear:
      return switchesBack && event.isToOff && (!event.isPerhapsPlain || wasCutOff(event))
                 ? "perhaps left off"
                 : std::string("perhaps switched ") + (event.isToOff ? "off" : "on");
    default:
      return std::string("switched ") + (event.isToOff ? "off" : "on");
  }
}

std::string lostEndText(const PortEvent& event, const std::string& window) {
  const std::string text = verbText(event) + (event.until > event.at ? " then or later" : "") +
                           " by the end of " + window + ", not recorded: ";
  return event.run.runId == 0
             ? text + "that window had no run"
             : text + "run " + std::to_string(event.run.runId) + " was closed before";
}

std::string endText(const PortEvent& event, bool isSameRun) {
  const std::string window = isSameRun ? "that window" : "the window of " + doer(event);
  if (event.cause == PortCause::lostEnd) {
    return lostEndText(event, window);
  }
  const std::string& error = event.port().errorMessage;
  return verbText(event) + " by the end of " + window +
         (isSameRun ? "" : ", run " + std::to_string(event.run.runId)) +
         (error.empty() ? "" : ": " + escaped(error));
}

}  // namespace

bool wasCutOff(const PortEvent& event) {
  return event.run.errorMessage == kRunInterrupted || event.port().errorMessage == kRunInterrupted;
}

bool isOffBySchedule(const PortEvent& event) {
  const bool isWindow =
      event.cause == PortCause::windowStart && (event.endsAt || event.run.isOpen());
  const bool isLasting = event.cause == PortCause::allDay || event.cause == PortCause::windowEnd ||
                         event.cause == PortCause::lostEnd;
  return event.mayHaveSwitched() && event.isToOff && (isWindow || isLasting);
}

std::string eventText(const PortEvent& event, bool isSameRun) {
  if (event.cause == PortCause::windowEnd || event.cause == PortCause::lostEnd) {
    return endText(event, isSameRun);
  }
  if (event.effect == PortEffect::none) {
    const bool isMoment =
        event.cause == PortCause::plainReset && event.port().status == PortStatus::success;
    const std::string onlyIf = event.after.isOn() ? "" : ", if it was on,";
    return isMoment    ? "off and on again in a moment" + onlyIf + " by " + runText(event)
           : isSameRun ? "not switched on again: " + escaped(event.port().errorMessage)
                       : "left as it was by " + runText(event);
  }
  return verbText(event) + (isSameRun ? " again by that run" : " by " + runText(event));
}
