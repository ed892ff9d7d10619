#include "client/site/import_plan.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "cli/text.h"

namespace {

bool isOneName(const Schedule& a, const Schedule& b) {
  return a.unit == b.unit && strcmp(a.name.c_str(), b.name.c_str()) == 0;
}

const Schedule* namedLike(const std::vector<Schedule>& all, const Schedule& schedule) {
  const auto found = std::find_if(all.begin(), all.end(), [&schedule](const Schedule& each) {
    return isOneName(each, schedule);
  });
  return found != all.end() ? &*found : nullptr;
}

Difference differenceOf(Difference::Kind kind, const Schedule* before, const Schedule* after) {
  Difference difference;
  difference.kind = kind;
  if (before != nullptr) {
    difference.before = *before;
  }
  if (after != nullptr) {
    difference.after = *after;
  }
  return difference;
}

// Changes come first, then what is added, then what is removed.
class Planner {
 public:
  ImportPlan plan(const SiteConfig& wanted, const SiteConfig& present, bool replace) {
    for (const Schedule& each : wanted.schedules) {
      want(each, namedLike(present.schedules, each));
    }
    for (const Schedule& each : present.schedules) {
      if (namedLike(wanted.schedules, each) == nullptr) {
        leaveOrRemove(each, replace);
      }
    }
    plan_.steps = std::move(changes_);
    for (std::vector<ImportStep>* steps : {&additions_, &removals_}) {
      plan_.steps.insert(plan_.steps.end(), steps->begin(), steps->end());
    }
    setBootDelays(wanted, present, replace);
    return std::move(plan_);
  }

 private:
  size_t note(Difference::Kind kind, const Schedule* before, const Schedule* after) {
    plan_.differences.push_back(differenceOf(kind, before, after));
    return plan_.differences.size() - 1;
  }
  void want(const Schedule& wanted, const Schedule* presentOrNull);
  void leaveOrRemove(const Schedule& present, bool replace);
  void setBootDelays(const SiteConfig& wanted, const SiteConfig& present, bool replace);

  ImportPlan plan_;
  std::vector<ImportStep> changes_;
  std::vector<ImportStep> additions_;
  std::vector<ImportStep> removals_;
};

void Planner::want(const Schedule& wanted, const Schedule* presentOrNull) {
  using Kind = Difference::Kind;
  if (presentOrNull == nullptr) {
    additions_.push_back(
        {ImportStep::Kind::create, wanted, {}, note(Kind::added, nullptr, &wanted)});
    return;
  }
  const bool isSame = isSameContent(*presentOrNull, wanted);
  const size_t difference = note(isSame ? Kind::same : Kind::changed, presentOrNull, &wanted);
  if (isSame) {
    return;
  }
  if (presentOrNull->type != wanted.type) {
    additions_.push_back({ImportStep::Kind::remove, *presentOrNull, {}, difference});
    additions_.push_back({ImportStep::Kind::create, wanted, {}, difference});
    return;
  }
  Schedule changed = wanted;
  changed.scheduleId = presentOrNull->scheduleId;
  changes_.push_back({ImportStep::Kind::update, changed, {}, difference});
}

void Planner::leaveOrRemove(const Schedule& present, bool replace) {
  const size_t difference =
      note(replace ? Difference::Kind::removed : Difference::Kind::onlyHere, &present, nullptr);
  if (replace) {
    removals_.push_back({ImportStep::Kind::remove, present, {}, difference});
  }
}

void Planner::setBootDelays(const SiteConfig& wantedSite, const SiteConfig& presentSite,
                            bool replace) {
  for (const BootDelay& present : presentSite.bootDelays) {
    const auto wanted =
        std::find_if(wantedSite.bootDelays.begin(), wantedSite.bootDelays.end(),
                     [&present](const BootDelay& each) { return each.unit == present.unit; });
    const bool isInFile = wanted != wantedSite.bootDelays.end();
    const BootDelay none{present.unit, 0, 0, false};
    const bool isNone = isSameBootDelay(present, none);
    if (!isInFile && (isNone || !replace)) {
      continue;
    }
    const BootDelay after = isInFile ? *wanted : none;
    Difference difference;
    difference.kind = isSameBootDelay(present, after) ? Difference::Kind::same
                      : isInFile                      ? Difference::Kind::changed
                                                      : Difference::Kind::removed;
    difference.delayBefore = present;
    difference.delayAfter = after;
    plan_.differences.push_back(difference);
    if (difference.kind != Difference::Kind::same) {
      plan_.steps.push_back(
          {ImportStep::Kind::setBootDelay, {}, after, plan_.differences.size() - 1});
    }
  }
}

}  // namespace

int32_t Difference::unit() const {
  return after        ? after->unit
         : before     ? before->unit
         : delayAfter ? delayAfter->unit
                      : delayBefore.value_or(BootDelay()).unit;
}

std::string Difference::name() const {
  return after ? after->name.c_str() : before ? before->name.c_str() : "";
}

ImportPlan importPlan(const SiteConfig& wanted, const SiteConfig& present, bool replace) {
  return Planner().plan(wanted, present, replace);
}

std::string stepText(const ImportStep& step) {
  const Schedule& schedule = step.schedule;
  const std::string name = inQuotes(schedule.name.c_str());
  const std::string unit = "unit " + std::to_string(schedule.unit);
  const std::string so = std::to_string(schedule.scheduleId) + " " + name + " of " + unit;
  switch (step.kind) {
    case ImportStep::Kind::create:
      return "add " + name + " to " + unit;
    case ImportStep::Kind::update:
      return "change " + so;
    case ImportStep::Kind::remove:
      return "delete " + so;
    default:
      return "set the boot delay of unit " + std::to_string(step.bootDelay.unit);
  }
}
