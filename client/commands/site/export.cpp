// export: schedules and boot delays as a document.
#include <cjson/cJSON.h>

#include "api/site_document.h"
#include "cli/files.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/site/site.h"

namespace {

// On several lines always: such files are compared.
std::string printed(const JsonPtr& document) {
  const JsonTextPtr text(document != nullptr ? cJSON_Print(document.get()) : nullptr);
  if (text == nullptr) {
    throw std::bad_alloc();
  }
  return std::string(text.get()) + "\n";
}

// A unit without ports that was never set is none.
void leaveOutAbsentUnits(const std::vector<PoePort>& ports, std::vector<BootDelay>* bootDelays) {
  std::vector<BootDelay> kept;
  for (const BootDelay& each : *bootDelays) {
    bool isThere = each.delaySec > 0;
    for (const PoePort& port : ports) {
      isThere = isThere || port.unit == each.unit;
    }
    if (isThere) {
      kept.push_back(each);
    }
  }
  *bootDelays = kept;
}

int runExport(const std::string& path, Session& session) {
  SiteConfig config = askSiteConfig(session);
  leaveOutAbsentUnits(session.poePorts(), &config.bootDelays);
  const std::string text = printed(siteDocument(config, session.names()));
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
