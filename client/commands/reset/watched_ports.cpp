#include "client/commands/reset/watched_ports.h"

#include <algorithm>

#include "base/sleep.h"
#include "cli/failure.h"
#include "cli/text.h"
#include "client/command.h"

namespace {

constexpr int32_t kSampleMs = 500;
constexpr int64_t kRunEndMs = 3000;  // from the last port's end to its run's

SensorPort sensorOf(const PoePort& port, const std::vector<SensorPort>& sensors) {
  const SensorPort* own = findPort(sensors, port);
  return own != nullptr ? *own : SensorPort();
}

const Run& runOf(const std::vector<Run>& runs, const WatchedPort& port) {
  const auto found = std::find_if(runs.begin(), runs.end(),
                                  [&port](const Run& run) { return run.runId == port.runId; });
  return found != runs.end() ? *found : runs.front();
}

RunPort outcomeIn(const Run& run, const PoePort& port) {
  const RunPort* own = run.port(port.ifNum);
  return own != nullptr ? *own : RunPort{port.ifNum, "pending", ""};
}

// A line a port, in their order, without line ends: "1/0/3  cam-lobby  12.9 W > dark 4 s ...".
std::vector<std::string> linesOf(const std::vector<WatchedPort>& ports, int64_t nowMs,
                                 const View& view) {
  Table table({{""}, {""}, {""}});
  for (const WatchedPort& port : ports) {
    const PortWatch& watch = port.watch;
    const Tint tint = !watch.isOver() ? Tint::plain : watch.isBack() ? Tint::good : Tint::bad;
    table.row({view.names.name(port.port.ifNum),
               view.names.labelOrEmpty(port.port.ifNum),
               {watch.line(nowMs), tint}});
  }
  std::vector<std::string> lines = splitAt(table.text(view.screen), '\n');
  lines.resize(ports.size());
  return lines;
}

// "back" is null until the port is over; then false or true, with "backAfterMs" for true.
JsonPtr watchedJson(const WatchedPort& port, const View& view) {
  const PortWatch& watch = port.watch;
  const SensorPort& sensor = watch.sensor();
  const auto isBack = watch.isOver() ? std::make_optional(watch.isBack()) : std::nullopt;
  return jsonObject(portJson(port.port.unit, port.port.ifNum, view),
                    {{"runId", port.runId},
                     {"stage", watch.stage()},
                     {"adminMode", sensor.adminMode.text},
                     {"detectionStatus", sensor.detectionStatus.text},
                     {"powerMw", sensor.powerMw},
                     {"powerLimitMw", sensor.powerLimitMw},
                     {"outcome", watch.outcome().status.text},
                     {"errorMessage", watch.outcome().errorMessage},
                     {"back", isBack},
                     {"backAfterMs", watch.backAfterMs()},
                     {"verdict", watch.verdict()}});
}

// Shows the watched ports: redraws their lines on a terminal that has room, else prints those that
// change.
class ResetScreen {
 public:
  ResetScreen(const Session& session, const View& view, const std::vector<WatchedPort>& ports)
      : session_(session),
        view_(view),
        ports_(ports),
        isLive_(!session.options().json && view.screen.columns > 0 &&
                ports.size() + 1 < terminalRows()) {}

  void show(const std::vector<bool>& isChanged, int64_t nowMs) {
    if (isLive_) {
      redraw(nowMs);
      return;
    }
    const std::vector<std::string> lines = linesOf(ports_, nowMs, view_);
    for (size_t i = 0; i < ports_.size(); ++i) {
      if (isChanged[i]) {
        print(ports_[i], lines[i]);
      }
    }
  }

 private:
  void print(const WatchedPort& port, const std::string& line) {
    const Output& output = session_.output();
    if (session_.options().json) {
      output.printJsonLine(
          jsonObject(jsonObject({{"event", "change"}, {"time", view_.stamp(systemNow())}}),
                     watchedJson(port, view_)));
      return;
    }
    output.print(line + "\n");
    output.flush();
  }

  void redraw(int64_t nowMs) {
    std::string text = isDrawn_ ? "\033[" + std::to_string(ports_.size()) + "A" : "";
    isDrawn_ = true;
    for (const std::string& line : linesOf(ports_, nowMs, view_)) {
      text += "\r" + line + "\033[K\n";
    }
    session_.output().print(text);
    session_.output().flush();
  }

  const Session& session_;
  const View& view_;
  const std::vector<WatchedPort>& ports_;
  bool isLive_;
  bool isDrawn_ = false;
};

// What the runs have recorded is asked before the ports: a port that a run calls done has been
// switched on when it is looked at.
std::vector<bool> sample(std::vector<Run>* runs, std::vector<WatchedPort>* ports,
                         Session& session) {
  for (Run& run : *runs) {
    run = askRun(session.daemon(), run.unit, run.runId);
  }
  const auto sensors =
      ofUnits(unitsOf(*runs), [&](int32_t unit) { return askSensors(session.daemon(), unit); });
  std::vector<bool> isChanged;
  const int64_t nowMs = monotonicMs();
  for (WatchedPort& port : *ports) {
    const Run& run = runOf(*runs, port);
    isChanged.push_back(!port.watch.isOver() &&
                        port.watch.feed(nowMs, run.isOpen(), outcomeIn(run, port.port),
                                        sensorOf(port.port, sensors)));
  }
  return isChanged;
}

bool areOver(const std::vector<WatchedPort>& ports) {
  return std::all_of(ports.begin(), ports.end(),
                     [](const WatchedPort& port) { return port.watch.isOver(); });
}

bool areClosed(const std::vector<Run>& runs) {
  return std::none_of(runs.begin(), runs.end(), [](const Run& run) { return run.isOpen(); });
}

}  // namespace

std::vector<WatchedPort> watchedPorts(const std::vector<Run>& runs,
                                      const std::vector<SensorPort>& before, int64_t nowMs,
                                      int64_t waitMs) {
  std::vector<WatchedPort> watched;
  for (const Run& run : runs) {
    for (const RunPort& port : run.ports) {
      const PoePort own{run.unit, port.ifNum};
      watched.push_back({own, run.runId, PortWatch(sensorOf(own, before), nowMs, waitMs)});
    }
  }
  return watched;
}

void watchPorts(int64_t longestMs, std::vector<Run>* runs, std::vector<WatchedPort>* ports,
                const View& view, Session& session) {
  ResetScreen screen(session, view, *ports);
  const int64_t giveUpMs = monotonicMs() + longestMs;
  int64_t overMs = 0;
  for (;;) {
    const std::vector<bool> isChanged = sample(runs, ports, session);
    screen.show(isChanged, monotonicMs());
    if (areOver(*ports)) {
      overMs = overMs == 0 ? monotonicMs() : overMs;
      if (areClosed(*runs) || monotonicMs() - overMs >= kRunEndMs) {
        return;
      }
    }
    requireMovingClock();
    if (monotonicMs() >= giveUpMs) {
      throw Failure(kExitTimedOut, "the reset is not over after " + durationText(longestMs));
    }
    sleepMilliseconds(kSampleMs);
  }
}

JsonPtr resultJson(const std::vector<Run>& runs, const std::vector<WatchedPort>& ports,
                   const View& view) {
  const auto ofRun = [](const Run& run) {
    return jsonObject({{"runId", run.runId}, {"unit", run.unit}, {"status", run.status.text}});
  };
  const auto ofPort = [&](const WatchedPort& port) { return watchedJson(port, view); };
  return jsonObject({{"event", "result"},
                     {"time", view.stamp(systemNow())},
                     {"runs", jsonArray(runs, ofRun)},
                     {"ports", jsonArray(ports, ofPort)}});
}
