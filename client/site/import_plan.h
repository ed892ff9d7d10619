// What an import does, step by step.
#ifndef QUORIN_CLIENT_SITE_IMPORT_PLAN_H
#define QUORIN_CLIENT_SITE_IMPORT_PLAN_H

#include <optional>
#include <string>
#include <vector>

#include "api/records.h"
#include "api/site_document.h"

// A schedule or a boot delay that the file or the daemon has, or both.
struct Difference {
  enum class Kind { added, changed, removed, same, onlyHere };
  Kind kind = Kind::same;
  std::optional<Schedule> before;
  std::optional<Schedule> after;
  std::optional<BootDelay> delayBefore;  // these two are of boot delays
  std::optional<BootDelay> delayAfter;

  int32_t unit() const;
  // Empty for a boot delay.
  std::string name() const;
};

struct ImportStep {
  enum class Kind { create, update, remove, setBootDelay };
  Kind kind = Kind::create;
  Schedule schedule;  // what is sent
  BootDelay bootDelay;
  size_t difference = 0;  // which one it belongs to
};

struct ImportPlan {
  std::vector<Difference> differences;
  std::vector<ImportStep> steps;
};

// The steps from what there is to what is wanted; with replace, what is not wanted is removed. Two
// schedules with the same name in a unit are the same schedule, which keeps its id. Its type cannot
// change: then the old one is deleted and the new one added.
ImportPlan importPlan(const SiteConfig& wanted, const SiteConfig& present, bool replace);

// `add "night" to unit 1`, `change 3 "a" of unit 1`, escaped.
std::string stepText(const ImportStep& step);

#endif
