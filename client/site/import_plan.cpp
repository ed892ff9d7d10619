#include "client/site/import_plan.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>

#include "cli/text.h"

namespace {

constexpr const char* kTemporary = "(import ";

using Name = std::pair<int32_t, std::string>;  // of a unit

Name nameOf(const Schedule& schedule) {
  return {schedule.unit, schedule.name.c_str()};
}

// "(import 3) night": a name that only an import gives, and takes away again.
bool isLeftover(const Schedule& schedule) {
  int number = 0;
  int end = 0;
  return sscanf(schedule.name.c_str(), "(import %d)%n", &number, &end) == 1 && end > 0 &&
         schedule.name.c_str()[end] == ' ';
}

// A wanted schedule, and the one of now that becomes it.
struct Match {
  const Schedule* wanted = nullptr;
  const Schedule* present = nullptr;   // null: none
  const Schedule* replaced = nullptr;  // of its name, but of another type; null: none
  size_t difference = 0;

  bool isRename() const { return present != nullptr && nameOf(*present) != nameOf(*wanted); }
};

class Planner {
 public:
  Planner(const SiteConfig& wanted, const SiteConfig& present, bool replace)
      : wanted_(wanted), present_(present), replace_(replace) {}

  ImportPlan plan() {
    match();
    compareSchedules();
    changeInPlace();
    rename();
    addAndReplace();
    removeLeaving();
    setBootDelays();
    return std::move(plan_);
  }

 private:
  void match();
  const Schedule* presentNamed(const Name& name) const;
  const Schedule* sameElsewhere(const Schedule& wanted) const;
  bool isFree(const Schedule* present) const { return taken_.count(present) == 0; }
  void compareSchedules();
  size_t note(Difference::Kind kind, const Schedule* before, const Schedule* after);
  void step(ImportStep::Act act, const Schedule& schedule, const std::string& namedSoFar,
            size_t difference);
  void changeInPlace();
  void rename();
  void addAndReplace();
  void removeLeaving();
  void setBootDelays();
  std::string moveAside(const Schedule& schedule, size_t difference);

  const SiteConfig& wanted_;
  const SiteConfig& present_;
  bool replace_;
  std::vector<Match> matches_;
  std::set<const Schedule*> taken_;  // of now, which have a wanted one
  std::set<Name> wantedNames_;
  std::set<Name> temporaryNames_;
  struct Leaving {
    const Schedule* schedule;
    std::string name;  // so far
    size_t difference;
  };
  std::vector<Leaving> leaving_;
  ImportPlan plan_;
};

const Schedule* Planner::presentNamed(const Name& name) const {
  for (const Schedule& present : present_.schedules) {
    if (nameOf(present) == name) {
      return &present;
    }
  }
  return nullptr;
}

// One that does the same under a name that it need not keep.
const Schedule* Planner::sameElsewhere(const Schedule& wanted) const {
  for (const Schedule& present : present_.schedules) {
    const bool mayLeave =
        replace_ || isLeftover(present) || wantedNames_.count(nameOf(present)) > 0;
    if (isFree(&present) && mayLeave && present.unit == wanted.unit &&
        isSameContent(present, wanted)) {
      return &present;
    }
  }
  return nullptr;
}

void Planner::match() {
  for (const Schedule& wanted : wanted_.schedules) {
    wantedNames_.insert(nameOf(wanted));
    const Schedule* named = presentNamed(nameOf(wanted));
    const bool isFit = named != nullptr && named->type == wanted.type;
    matches_.push_back({&wanted, isFit ? named : nullptr, nullptr, 0});
    if (isFit) {
      taken_.insert(named);
    }
  }
  for (Match& each : matches_) {
    if (each.present == nullptr) {
      each.present = sameElsewhere(*each.wanted);
      taken_.insert(each.present);
    }
  }
  for (Match& each : matches_) {
    const Schedule* named = presentNamed(nameOf(*each.wanted));
    if (each.present == nullptr && named != nullptr && isFree(named)) {
      each.replaced = named;
      taken_.insert(named);
    }
  }
}

size_t Planner::note(Difference::Kind kind, const Schedule* before, const Schedule* after) {
  Difference difference;
  difference.kind = kind;
  if (before != nullptr) {
    difference.before = *before;
  }
  if (after != nullptr) {
    difference.after = *after;
  }
  plan_.differences.push_back(std::move(difference));
  return plan_.differences.size() - 1;
}

void Planner::compareSchedules() {
  for (Match& each : matches_) {
    const Schedule* before = each.present != nullptr ? each.present : each.replaced;
    const bool isSame =
        each.present != nullptr && !each.isRename() && isSameContent(*each.present, *each.wanted);
    each.difference = note(before == nullptr ? Difference::Kind::added
                           : isSame          ? Difference::Kind::same
                                             : Difference::Kind::changed,
                           before, each.wanted);
  }
  for (const Schedule& present : present_.schedules) {
    if (!isFree(&present)) {
      continue;
    }
    const bool isLeaving =
        replace_ || isLeftover(present) || wantedNames_.count(nameOf(present)) > 0;
    const size_t difference =
        note(isLeaving ? Difference::Kind::removed : Difference::Kind::onlyHere, &present, nullptr);
    if (isLeaving) {
      leaving_.push_back({&present, present.name.c_str(), difference});
    }
  }
}

void Planner::step(ImportStep::Act act, const Schedule& schedule, const std::string& namedSoFar,
                   size_t difference) {
  plan_.steps.push_back({act, schedule, namedSoFar, {}, difference});
}

// Gives the schedule a name that nobody else has or will have.
std::string Planner::moveAside(const Schedule& schedule, size_t difference) {
  Schedule moved = schedule;
  for (int32_t number = 1;; ++number) {
    moved.name.assign((kTemporary + std::to_string(number) + ") " + schedule.name.c_str()).c_str());
    if (presentNamed(nameOf(moved)) == nullptr && wantedNames_.count(nameOf(moved)) == 0 &&
        temporaryNames_.insert(nameOf(moved)).second) {
      step(ImportStep::Act::update, moved, schedule.name.c_str(), difference);
      return moved.name.c_str();
    }
  }
}

void Planner::changeInPlace() {
  for (const Match& each : matches_) {
    const bool isChange = plan_.differences[each.difference].kind == Difference::Kind::changed;
    if (isChange && each.present != nullptr && !each.isRename()) {
      Schedule changed = *each.wanted;
      changed.scheduleId = each.present->scheduleId;
      step(ImportStep::Act::update, changed, changed.name.c_str(), each.difference);
    }
  }
}

// Those whose new name is free go first; where all wait for each other, one steps aside.
void Planner::rename() {
  std::vector<std::pair<const Match*, std::string>> waiting;  // with their names so far
  std::set<Name> held;
  for (const Match& each : matches_) {
    if (each.isRename()) {
      waiting.emplace_back(&each, each.present->name.c_str());
      held.insert(nameOf(*each.present));
    }
  }
  for (Leaving& each : leaving_) {
    if (wantedNames_.count(nameOf(*each.schedule)) > 0) {
      each.name = moveAside(*each.schedule, each.difference);
    }
  }

  while (!waiting.empty()) {
    auto next = std::find_if(waiting.begin(), waiting.end(), [&held](const auto& each) {
      return held.count(nameOf(*each.first->wanted)) == 0;
    });
    const bool isStuck = next == waiting.end();
    next = isStuck ? waiting.begin() : next;
    const Match& match = *next->first;
    held.erase({match.wanted->unit, next->second});
    if (isStuck) {
      next->second = moveAside(*match.present, match.difference);
      continue;
    }
    Schedule renamed = *match.wanted;
    renamed.scheduleId = match.present->scheduleId;
    step(ImportStep::Act::update, renamed, next->second, match.difference);
    waiting.erase(next);
  }
}

void Planner::addAndReplace() {
  for (const Match& each : matches_) {
    if (each.present != nullptr) {
      continue;
    }
    const Schedule* old = each.replaced;
    const std::string aside = old != nullptr ? moveAside(*old, each.difference) : "";
    step(ImportStep::Act::create, *each.wanted, "", each.difference);
    if (old != nullptr) {
      step(ImportStep::Act::remove, *old, aside, each.difference);
    }
  }
}

void Planner::removeLeaving() {
  for (const Leaving& each : leaving_) {
    step(ImportStep::Act::remove, *each.schedule, each.name, each.difference);
  }
}

void Planner::setBootDelays() {
  for (const BootDelay& present : present_.bootDelays) {
    const auto wanted =
        std::find_if(wanted_.bootDelays.begin(), wanted_.bootDelays.end(),
                     [&present](const BootDelay& each) { return each.unit == present.unit; });
    const bool isInFile = wanted != wanted_.bootDelays.end();
    const BootDelay none{present.unit, 0, 0, false};
    const bool isNone = isSameBootDelay(present, none);
    if (!isInFile && (isNone || !replace_)) {
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
          {ImportStep::Act::setBootDelay, {}, "", after, plan_.differences.size() - 1});
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
  return Planner(wanted, present, replace).plan();
}

std::string stepText(const ImportStep& step) {
  const Schedule& schedule = step.schedule;
  const std::string name = inQuotes(schedule.name.c_str());
  const std::string unit = "unit " + std::to_string(schedule.unit);
  const std::string so =
      std::to_string(schedule.scheduleId) + " " + inQuotes(step.namedSoFar) + " of " + unit;
  switch (step.act) {
    case ImportStep::Act::create:
      return "add " + name + " to " + unit;
    case ImportStep::Act::update:
      return step.namedSoFar == schedule.name.c_str() ? "change " + so
                                                      : "rename " + so + " to " + name;
    case ImportStep::Act::remove:
      return "delete " + so;
    default:
      return "set the boot delay of unit " + std::to_string(step.bootDelay.unit);
  }
}
