// The document that export writes and import reads: schedules and boot delays, with the names of
// ports beside their ifNums.
#ifndef QUORIN_CLIENT_SITE_FILE_H
#define QUORIN_CLIENT_SITE_FILE_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "client/failure.h"
#include "client/import_plan.h"
#include "client/port_names.h"
#include "client/time_text.h"

constexpr int32_t kSiteFormat = 1;

struct SiteFile {
  SiteConfig config;
  std::map<uint32_t, std::string> portNames;  // of the file, as far as it has names
};

// {"format": 1, "schedules": [...], "bootDelays": [...]}. A schedule has "unit", the daemon's keys
// as far as they are content, and "portNames" beside "ifNums"; absent values are null.
JsonPtr siteDocument(const SiteConfig& config, const PortNames& names);

// What keeps a file from being imported, and what that is for the exit status.
struct SiteFault {
  ExitCode status = kExitUsage;
  std::string text;  // escaped
};

// Throws Failure, kExitUsage, for what is no such document; what is wrong inside is appended to
// *faults.
SiteFile readSiteFile(const std::string& text, std::vector<SiteFault>* faults);

// The ports of the file that each "1/0/3=2/0/3" names on its left (by its names, or ifNums) become
// those on the right, which portsNamed finds. A schedule goes to the unit of its ports. Throws
// Failure.
using PortsNamed = std::function<std::vector<PoePort>(const std::string&)>;
void mapPorts(const std::vector<std::string>& maps, const PortsNamed& portsNamed,
              const std::vector<PoePort>& ports, SiteFile* file);

// What of the plan is not for a switch with these ports, or would be stored and never fire; nothing
// when forced.
struct SiteGround {
  const std::vector<PoePort>& ports;
  const PortNames& names;
  int64_t now = 0;
  Zone zone;
  bool isForced = false;
};
std::vector<SiteFault> planFaults(const ImportPlan& plan, const SiteFile& file,
                                  const SiteGround& ground);

#endif
