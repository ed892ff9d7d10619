#include "client/commands/schedule/schedule_word.h"

#include <algorithm>

namespace {

void addKind(Arguments& app, WordKind* kind) {
  const Argument id = app.flag("--id", kind->isId, "what is given is an id");
  app.flag("--name", kind->isName, "what is given is a name").excludes(id);
}

}  // namespace

WordIs WordKind::meant() const {
  return isId ? WordIs::id : isName ? WordIs::name : WordIs::either;
}

const Schedule& ScheduleWord::find(const std::vector<Schedule>& all,
                                   std::optional<int32_t> unit) const {
  return findSchedule(all, text, unit, kind.meant());
}

std::vector<const Schedule*> ManyScheduleWords::find(const std::vector<Schedule>& all,
                                                     std::optional<int32_t> unit) const {
  std::vector<const Schedule*> found;
  for (const std::string& text : texts) {
    const Schedule& schedule = findSchedule(all, text, unit, kind.meant());
    if (std::find(found.begin(), found.end(), &schedule) == found.end()) {
      found.push_back(&schedule);
    }
  }
  return found;
}

Argument addScheduleWord(Arguments& app, ScheduleWord* word, const std::string& help) {
  addKind(app, &word->kind);
  return app.add("ID", word->text, help);
}

Argument addScheduleWords(Arguments& app, ManyScheduleWords* words) {
  addKind(app, &words->kind);
  return app.add("ID", words->texts, "numbers or names");
}
