#include "api/error_words.h"

#include "base/json.h"
#include "base/result_codes.h"
#include "cli/text.h"

namespace {

// The words take {unit}, {id} (of the schedule or run) and {name} from the request.
struct Words {
  const char* method;
  int32_t code;
  const char* text;
};

constexpr Words kWords[] = {
    {"schedule.get", ERR_NOT_FOUND,
     "unit {unit} has no schedule {id}. See: quorin_poectl schedule list"},
    {"schedule.update", ERR_NOT_FOUND,
     "unit {unit} has no schedule {id}: nothing was changed. See: quorin_poectl schedule list"},
    {"schedule.delete", ERR_NOT_FOUND,
     "unit {unit} has no schedule {id}: it was deleted before. See: quorin_poectl schedule list"},
    {"schedule.create", ERR_EXISTS,
     "unit {unit} has a schedule {name} already: give it another name, or change that one with "
     "quorin_poectl schedule set"},
    {"schedule.create", ERR_INVALID_ARG,
     "the daemon refuses the schedule {name}: name, days, times and ports must be there, an off "
     "time must be 1 s or more. Nothing was stored"},
    {"schedule.create", ERR_GENERAL,
     "the daemon could not store the schedule {name}: a port or day is in it twice, or its "
     "database failed. Look with: quorin_poectl log --level error"},
    {"schedule.update", ERR_INVALID_ARG,
     "the daemon refuses the change of schedule {id}: its type cannot change, name, days, times "
     "and ports must be there. Nothing was changed"},
    {"schedule.update", ERR_GENERAL,
     "the daemon could not store schedule {id}: unit {unit} has the name {name} already, or its "
     "database failed. Look with: quorin_poectl log --level error"},
    {"history.detail", ERR_NOT_FOUND,
     "unit {unit} has no run {id} (runs are kept for 30 days). See: quorin_poectl history"},
    {"manual.reset", ERR_INVALID_ARG,
     "the daemon refuses the reset: a port is no PoE port of unit {unit}, or no port of it is "
     "enabled. No port was switched. See: quorin_poectl ports"},
    {"manual.reset", ERR_GENERAL,
     "the daemon could not begin the reset: 256 are in progress, it is stopping, or its database "
     "failed. No port was switched. Look with: quorin_poectl log --level error"},
    {"bootdelay.set", ERR_INVALID_ARG,
     "the daemon refuses the boot delay: the delay is 0 to 600 s, the stagger 0 to 300 s. Nothing "
     "was changed"},
    {"bootdelay.set", ERR_GENERAL,
     "the daemon could not write the boot delay's settings; the old ones hold. Look with: "
     "quorin_poectl log --level error"},
    {nullptr, ERR_INVALID_ARG,
     "the daemon refuses {method}: a parameter is missing, of the wrong type or out of range"},
    {nullptr, ERR_GENERAL,
     "{method} failed inside the daemon: its database, memory or the switch. Look with: "
     "quorin_poectl log --level error"},
    {nullptr, ERR_NOT_FOUND, "{method}: the daemon knows no such thing"},
    {nullptr, ERR_EXISTS, "{method}: the name is taken"},
    {nullptr, ERR_UNSUPPORTED,
     "this daemon has no method {method}: it is older or newer than this client"},
};

void replaceAll(std::string* text, const std::string& part, const std::string& with) {
  for (size_t at = text->find(part); at != std::string::npos;
       at = text->find(part, at + with.size())) {
    text->replace(at, part.size(), with);
  }
}

std::string numberIn(const cJSON* params, const char* key) {
  return std::to_string(jsonInt64Member(params, key, 0));
}

std::string filled(std::string text, const std::string& method, const cJSON* params) {
  const char* idKey = method == "history.detail" ? "runId" : "scheduleId";
  const char* name = jsonTextMember(jsonMember(params, "schedule"), "name");
  replaceAll(&text, "{unit}", numberIn(params, "unit"));
  replaceAll(&text, "{id}", numberIn(params, idKey));
  replaceAll(&text, "{method}", escaped(method));
  replaceAll(&text, "{name}", inQuotes(name != nullptr ? name : ""));
  return text;
}

}  // namespace

std::string errorInWords(const std::string& method, const cJSON* params, int32_t code) {
  for (const Words& words : kWords) {
    if (words.code == code && (words.method == nullptr || method == words.method)) {
      return filled(words.text, method, params);
    }
  }
  return "the daemon answers " + escaped(method) + " with the unknown error " +
         std::to_string(code);
}
