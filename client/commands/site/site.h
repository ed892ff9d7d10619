// What export and import share, and what import shows, for the commands and their tests.
#ifndef QUORIN_CLIENT_COMMANDS_SITE_SITE_H
#define QUORIN_CLIENT_COMMANDS_SITE_SITE_H

#include <string>
#include <vector>

#include "client/session.h"
#include "client/site/import_plan.h"

// What there is now, of all units.
SiteConfig askSiteConfig(Session& session);

// What the file ("-": the input) holds, whose words for ports are those of this switch. moreKeys
// and faults as readSiteFile has them. Throws Failure.
SiteFile readSite(const std::string& path, const std::vector<std::string>& moreKeys,
                  Session& session, std::vector<SiteFault>* faults);

// A line for each difference: "+ unit 1  "night"  off 22:00-06:00 mon-fri  1/0/5-8", "~" for what
// changes, "-" for what goes. What stays as it is has none.
std::string differencesText(const std::vector<Difference>& differences, const PortNames& names,
                            const Screen& screen);

// How an import went.
struct ImportResult {
  bool isDryRun = false;
  size_t stepsDone = 0;
  std::string failure;  // empty: none
};

// "1 added, 2 changed, 0 removed, 5 the same".
std::string importSummary(const ImportPlan& plan, const ImportResult& result);

// {"dryRun", "added": [{"unit", "name", "kind"}], "changed", "removed", "kept", "failed"}: what was
// done, or with dryRun would be; of an import that failed, without what is not done whole. kind is
// "schedule" or "bootDelay", whose name is null.
JsonPtr importJson(const ImportPlan& plan, const ImportResult& result);

#endif
