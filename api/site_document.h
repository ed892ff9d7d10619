// The document that export writes and import reads: schedules and boot delays, with the names of
// ports beside their ifNums.
#ifndef QUORIN_API_SITE_DOCUMENT_H
#define QUORIN_API_SITE_DOCUMENT_H

#include <map>
#include <string>
#include <vector>

#include "api/port_names.h"
#include "api/records.h"
#include "api/schedule_keys.h"
#include "cli/failure.h"

constexpr int32_t kSiteFormat = 1;

// What an export holds.
struct SiteConfig {
  std::vector<Schedule> schedules;  // in the order of their ids, by which the daemon works; of a
                                    // file they have the ids that it tells, or 0
  std::vector<BootDelay> bootDelays;
};

struct SiteFile {
  SiteConfig config;
  std::map<uint32_t, std::string> portNames;  // of the file, as far as it has names
};

// {"format": 1, "schedules": [...], "bootDelays": [...]}. A schedule has "unit", the daemon's keys
// (an export those that are stored), and "portNames"; absent values are null.
JsonPtr siteDocument(const SiteConfig& config, ScheduleMembers members, const PortNames& names);

// The file's own name of a port; empty where it has none.
std::string nameIn(const SiteFile& file, uint32_t ifNum);

// What keeps a file from being imported, and what that is for the exit status.
struct SiteFault {
  ExitCode status = kExitUsage;
  std::string text;  // escaped
};

// Throws Failure, kExitUsage, for what is no such document; what is wrong inside is appended to
// *faults.
SiteFile readSiteFile(const std::string& text, std::vector<SiteFault>* faults);

#endif
