// status --check: one line for a monitoring system, and the exit statuses of its plugins.
#ifndef QUORIN_CLIENT_DIAGNOSIS_STATUS_CHECK_H
#define QUORIN_CLIENT_DIAGNOSIS_STATUS_CHECK_H

#include <functional>
#include <string>

#include "client/diagnosis/status.h"

// What is asked for with --check ends with one of these and nothing else, as the Monitoring Plugins
// Development Guidelines have it.
enum CheckStatus : int { kCheckOk = 0, kCheckWarning = 1, kCheckCritical = 2, kCheckUnknown = 3 };

// "POE WARNING: 1/0/12 denied | delivering=27 ...": what is wrong, the worst first, then the
// figures. clockTrouble: what is wrong with the switch's clock; empty for nothing.
struct CheckResult {
  CheckStatus status;
  std::string line;
};
CheckResult checkedStatus(const Status& status, const std::string& clockTrouble, const View& view);

// Runs the program. What it throws becomes the line, and one of the statuses.
int runStatusCheck(const std::function<int()>& program);

#endif
