#include "client/commands/schedule/schedule_word.h"

const Schedule& ScheduleWord::find(const std::vector<Schedule>& all,
                                   std::optional<int32_t> unit) const {
  return findSchedule(all, text, unit, isId ? WordIs::id : isName ? WordIs::name : WordIs::either);
}

Argument addScheduleWord(Arguments& app, ScheduleWord* word, const std::string& help) {
  const Argument id = app.flag("--id", word->isId, "what is given is an id");
  app.flag("--name", word->isName, "what is given is a name").excludes(id);
  return app.add("ID", word->text, help);
}
