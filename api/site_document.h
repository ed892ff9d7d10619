// The document that export writes and import reads: schedules with their ports in words, and boot
// delays.
#ifndef QUORIN_API_SITE_DOCUMENT_H
#define QUORIN_API_SITE_DOCUMENT_H

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "api/port_names.h"
#include "api/records.h"
#include "cli/failure.h"

// The first edition, "format" 1, had "ifNums" that counted and "portNames" beside them. It is still
// read.
constexpr int32_t kSiteVersion = 2;

// What an export holds.
struct SiteConfig {
  std::vector<Schedule> schedules;  // in the order of their ids, by which the daemon works; of a
                                    // file they have the ids that it tells, or 0
  std::vector<BootDelay> bootDelays;
};

enum class ScheduleMembers { stored, all };

// {"version": 2, "schedules": [...], "bootDelays": [...]}. A schedule has "unit" and the daemon's
// keys (an export those that are stored), as far as they have a value, with "ports" ("1/0/5-8") in
// place of "ifNums" unless names does not tell all its ports among those that its unit has.
JsonPtr siteDocument(const SiteConfig& config, ScheduleMembers members, const PortNames& names,
                     const std::vector<PoePort>& ports);

struct SiteFile {
  SiteConfig config;
  std::map<uint32_t, std::string> portNames;  // of a file of the first edition

  // Where things stand in the file.
  JsonPtr document;
  std::map<const cJSON*, size_t> lines;
  std::map<std::pair<int32_t, std::string>, const cJSON*> sources;  // by unit and name

  // The object of one of its schedules.
  const cJSON* source(const Schedule& schedule) const {
    return sources.at({schedule.unit, schedule.name.c_str()});
  }
};

// The file's own name of a port; empty where it has none.
std::string nameIn(const SiteFile& file, uint32_t ifNum);

// What keeps a file from being used, and what that is for the exit status.
struct SiteFault {
  ExitCode status = kExitUsage;
  size_t line = 0;
  std::string text;  // `line 12, "night": ...`, escaped
};

// A fault of a schedule, an object of the file, at a key that it may not have.
SiteFault faultAt(const SiteFile& file, const cJSON* object, const char* key, ExitCode status,
                  const std::string& text);
// `startDate "2026-02-30" must be a date of the calendar`, for a key that it has.
SiteFault misfitAt(const SiteFile& file, const cJSON* object, const char* key,
                   const std::string& what);

// All faults in one Failure, in the order of the file, if there are any. what: "cannot be
// imported".
void refuseFaults(std::vector<SiteFault> faults, const std::string& path, const char* what);

// How a file is read.
struct SiteReading {
  std::string path;  // for messages
  // The ports that words mean. Throws Failure as PortNames::parse does.
  std::function<std::vector<PoePort>(const std::string& words)> portsOf;
  std::vector<std::string> moreKeys;  // of the document, beside those of an export
};

// What a document to be rehearsed may have beside: what time it is, and `ports --json`.
inline const std::vector<std::string> kRehearsalKeys{"now", "ports", "units"};

// Throws Failure, kExitUsage, for what is no such document, and what portsOf throws but for words
// that mean no ports; what is wrong inside is appended to *faults.
SiteFile readSiteFile(const std::string& text, const SiteReading& how,
                      std::vector<SiteFault>* faults);

#endif
