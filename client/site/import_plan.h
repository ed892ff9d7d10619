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
  // Empty for a boot delay. Of a schedule that is renamed, the new one.
  std::string name() const;
};

struct ImportStep {
  enum class Act { create, update, remove, setBootDelay };
  Act act = Act::create;
  Schedule schedule;       // what is sent
  std::string namedSoFar;  // of update and remove
  BootDelay bootDelay;
  size_t difference = 0;  // which one it belongs to
};

struct ImportPlan {
  std::vector<Difference> differences;
  std::vector<ImportStep> steps;
};

// From what there is to what is wanted; with replace, also without what is not wanted. A schedule
// keeps its id: under its name, or with its content under another name. Where its type changes, the
// old one is renamed, the new one added, the old one deleted. No two of a unit have one name at any
// time. What an import that failed has left under its temporary name is removed.
ImportPlan importPlan(const SiteConfig& wanted, const SiteConfig& present, bool replace);

// `add "night" to unit 1`, `rename 3 "a" of unit 1 to "b"`, escaped.
std::string stepText(const ImportStep& step);

#endif
