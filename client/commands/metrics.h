// What metrics prints, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_METRICS_H
#define QUORIN_CLIENT_COMMANDS_METRICS_H

#include <string>
#include <utility>
#include <vector>

#include "client/diagnosis/status.h"

struct Sample {
  std::vector<std::pair<const char*, std::string>> labels;
  double value = 0;
};

// A gauge; its name is without the prefix that all have.
struct Metric {
  const char* name;
  const char* help;
  std::vector<Sample> samples;
};

std::vector<Metric> metricsOf(const Status& status, const View& view);
// Of a daemon that does not answer.
std::vector<Metric> metricsOfSilence();

// The text format of Prometheus.
std::string metricsText(const std::vector<Metric>& metrics);

#endif
