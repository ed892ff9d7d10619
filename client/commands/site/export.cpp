// export: schedules and boot delays as a document.
#include <algorithm>
#include <set>

#include "api/site_document.h"
#include "cli/files.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/site/site.h"

namespace {

// A unit without ports that was never set is none.
void leaveOutAbsentUnits(const std::set<int32_t>& units, std::vector<BootDelay>* bootDelays) {
  const auto isAbsent = [&units](const BootDelay& each) {
    return isSameBootDelay(each, {each.unit, 0, 0, false}) && units.count(each.unit) == 0;
  };
  bootDelays->erase(std::remove_if(bootDelays->begin(), bootDelays->end(), isAbsent),
                    bootDelays->end());
}

int runExport(const std::string& path, Session& session) {
  SiteConfig config = askSiteConfig(session);
  leaveOutAbsentUnits(session.unitsWithPorts(), &config.bootDelays);
  // On several lines always: such files are compared.
  const std::string text = printedJson(
      siteDocument(config, ScheduleMembers::stored, session.names(), session.poePorts()),
      JsonForm::indented);
  if (path.empty() || path == "-") {
    session.output().print(text);
    return kExitDone;
  }
  writeWholeFile(path, text);
  session.output().say(counted(config.schedules.size(), "schedule") + " and " +
                       counted(config.bootDelays.size(), "boot delay") + " written to " +
                       escaped(path));
  return kExitDone;
}

}  // namespace

SessionAction defineExport(Arguments& app, Options&) {
  const auto path = std::make_shared<std::string>();
  app.add("FILE", *path, "file to write; the output when none is given");
  return [path](Session& session) { return runExport(*path, session); };
}
