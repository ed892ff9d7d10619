// metrics: figures for Prometheus, in its text format.
#include "client/commands/metrics.h"

#include <cstdio>

#include "cli/failure.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "client/command.h"
#include "forecast/firings.h"

namespace {

constexpr const char* kPrefix = "quorin_poe_";
constexpr double kMilliPerUnit = 1e3;
constexpr double kMicroPerUnit = 1e6;

constexpr std::array<const char*, 6> kDetectionStates{"delivering", "denied", "disabled",
                                                      "fault",      "off",    "searching"};

using Labels = std::vector<std::pair<const char*, std::string>>;

Labels labelsOf(const SensorPort& port, const PortNames& names) {
  return {{"unit", std::to_string(port.unit)},
          {"ifnum", std::to_string(port.ifNum)},
          {"port", names.nameOrEmpty(port.ifNum)},
          {"label", names.labelOrEmpty(port.ifNum)}};
}

// A sample a port.
template <typename ValueOf>
Metric perPort(const char* name, const char* help, const Status& status, const PortNames& names,
               const ValueOf& valueOf) {
  return {name, help, mapped(status.ports, [&](const StatedPort& each) {
            return Sample{labelsOf(each.port, names), static_cast<double>(valueOf(each.port))};
          })};
}

// A sample for each state that a port may be in, so that a series does not end when it leaves it.
Metric portStates(const Status& status, const PortNames& names) {
  Metric metric{"port_state", "1 for the state that the port is in, else 0.", {}};
  for (const StatedPort& each : status.ports) {
    for (const char* state : kDetectionStates) {
      Labels labels = labelsOf(each.port, names);
      labels.emplace_back("state", state);
      metric.samples.push_back({labels, each.port.detectionStatus.text == state ? 1.0 : 0.0});
    }
  }
  return metric;
}

Metric powerLimits(const Status& status, const PortNames& names) {
  Metric metric{"port_power_limit_watts", "What the port may take at most.", {}};
  for (const StatedPort& each : status.ports) {
    if (each.port.powerLimitMw) {
      metric.samples.push_back({labelsOf(each.port, names),
                                static_cast<double>(*each.port.powerLimitMw) / kMilliPerUnit});
    }
  }
  return metric;
}

Metric portCounts(const Status& status) {
  constexpr std::array<const char*, kPortStates> kConditions{
      "delivering",      "searching", "off_by_schedule", "off_for_good", "off_by_run",
      "off_unexplained", "fault"};
  const std::array<int64_t, kPortStates> counts = portsByState(status);
  Metric metric{"ports", "Ports by what they do, and why those are off that are off.", {}};
  for (size_t i = 0; i < kPortStates; ++i) {
    metric.samples.push_back({{{"condition", kConditions[i]}}, static_cast<double>(counts[i])});
  }
  return metric;
}

Metric runCounts(const Status& status) {
  return {"day_runs", "Runs of the last 24 hours that have ended, by result.",
          mapped(runsByResult(status), [](const auto& each) {
            return Sample{{{"result", each.first}}, static_cast<double>(each.second)};
          })};
}

Metric nextFiringIn(const Status& status, const View& view) {
  Metric metric{"next_firing_seconds", "Until a schedule acts next; missing when none will.", {}};
  for (const Firing& next : nextFirings(status.schedules, view.now(), 1, view.zone)) {
    metric.samples.push_back({{}, static_cast<double>(next.at - view.now())});
  }
  return metric;
}

Metric single(const char* name, const char* help, double value) {
  return {name, help, {{{}, value}}};
}

Metric up(bool isUp) {
  return single("up", "Whether the daemon answered.", isUp ? 1 : 0);
}

// Backslash, quote and line end are the format's own; what else could harm a screen is escaped,
// too.
std::string labelValue(const std::string& text) {
  std::string value;
  for (const char c : escaped(text)) {
    value += c == '\\' || c == '"' ? std::string("\\") + c : std::string(1, c);
  }
  return value;
}

std::string sampleText(const char* name, const Sample& sample) {
  const std::vector<std::string> labels = mapped(sample.labels, [](const auto& label) {
    return std::string(label.first) + "=\"" + labelValue(label.second) + "\"";
  });
  char value[32];
  snprintf(value, sizeof value, "%.10g", sample.value);
  return std::string(kPrefix) + name + (labels.empty() ? "" : "{" + joined(labels, ",") + "}") +
         " " + value + "\n";
}

// A daemon that does not answer is a figure, too, beside the error.
int runMetrics(Session& session) {
  session.refuseJson("metrics");
  const auto print = [&session](const std::vector<Metric>& metrics) {
    session.output().print(metricsText(metrics));
  };
  try {
    const View view = session.view();
    print(metricsOf(askStatus(session.daemon(), session.units(), view), view));
    return kExitDone;
  } catch (const Failure& failure) {
    if (failure.status() == kExitNoDaemon || failure.status() == kExitTimedOut) {
      print(metricsOfSilence());
    }
    throw;
  }
}

}  // namespace

std::vector<Metric> metricsOf(const Status& status, const View& view) {
  const PortNames& names = view.names;
  return {up(true),
          single("answer_seconds", "How long the daemon took for an answer.",
                 static_cast<double>(status.answerUs) / kMicroPerUnit),
          perPort("port_enabled", "Whether the port is switched on.", status, names,
                  [](const SensorPort& port) { return port.isOn(); }),
          portStates(status, names),
          perPort("port_power_watts", "What the port delivers.", status, names,
                  [](const SensorPort& port) {
                    return static_cast<double>(port.powerMw) / kMilliPerUnit;
                  }),
          powerLimits(status, names),
          perPort("port_temperature_celsius", "The temperature at the port.", status, names,
                  [](const SensorPort& port) { return port.temperature; }),
          portCounts(status),
          runCounts(status),
          single("open_runs", "Runs that have begun and not ended.",
                 static_cast<double>(status.openRuns.size())),
          single("schedules", "Schedules, disabled ones too.",
                 static_cast<double>(status.schedules.size())),
          nextFiringIn(status, view)};
}

std::vector<Metric> metricsOfSilence() {
  return {up(false)};
}

std::string metricsText(const std::vector<Metric>& metrics) {
  std::string text;
  for (const Metric& metric : metrics) {
    const std::string name = std::string(kPrefix) + metric.name;
    text += joined({"# HELP ", name, " ", metric.help, "\n# TYPE ", name, " gauge\n"}, "");
    for (const Sample& sample : metric.samples) {
      text += sampleText(metric.name, sample);
    }
  }
  return text;
}

SessionAction defineMetrics(Arguments& app, Options& options) {
  addUnit(app, options);
  return runMetrics;
}
