// call: one request as it is, and the answer as it comes.
#include <cjson/cJSON.h>
#include <strings.h>

#include <algorithm>

#include "api/error_words.h"
#include "api/schedule_keys.h"
#include "base/result_codes.h"
#include "cli/failure.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "client/command.h"

namespace {

struct CallOptions {
  std::string method;
  std::string params;
  bool raw = false;
};

using Keys = std::vector<std::string>;

struct KnownMethod {
  const char* name;
  Keys keys;
  const char* inner;  // the key of an object among the params; null for none
  Keys innerKeys;
};

// A schedule is taken as an answer shows it: the daemon leaves out what it makes itself.
const std::vector<KnownMethod>& knownMethods() {
  static const Keys kSchedule =
      mapped(scheduleKeys(), [](const ScheduleKey& key) { return std::string(key.name); });
  static const std::vector<KnownMethod> kMethods{
      {"schedule.list", {"unit"}, nullptr, {}},
      {"schedule.create", {"unit", "schedule"}, "schedule", kSchedule},
      {"schedule.get", {"unit", "scheduleId"}, nullptr, {}},
      {"schedule.update", {"unit", "scheduleId", "schedule"}, "schedule", kSchedule},
      {"schedule.delete", {"unit", "scheduleId"}, nullptr, {}},
      {"history.list", {"unit", "page", "pageSize"}, nullptr, {}},
      {"history.detail", {"unit", "runId"}, nullptr, {}},
      {"manual.reset",
       {"unit", "request"},
       "request",
       {"ifNums", "offTimeSec", "executionMode", "interPortDelaySec"}},
      {"sensors.all", {"unit"}, nullptr, {}},
      {"bootdelay.get", {"unit"}, nullptr, {}},
      {"bootdelay.set", {"unit", "delaySec", "executionMode", "interPortDelaySec"}, nullptr, {}},
  };
  return kMethods;
}

// The daemon ignores keys that it does not know, and so a slip would do something else.
void checkKeys(const std::string& method, const cJSON* object, const Keys& known) {
  const cJSON* member = nullptr;
  cJSON_ArrayForEach(member, object) {
    const bool isKnown = std::any_of(known.begin(), known.end(), [member](const std::string& key) {
      return member->string != nullptr && strcasecmp(key.c_str(), member->string) == 0;
    });
    if (isKnown || member->string == nullptr) {
      continue;
    }
    const std::string meant = nearest(member->string, known);
    throw Failure(kExitUsage, method + ": " + escaped(member->string) + "? " +
                                  (meant.empty() ? "it knows " + joined(known, ", ")
                                                 : "did you mean " + meant) +
                                  " (--raw sends it anyway)");
  }
}

void checkParams(const std::string& method, const cJSON* params) {
  for (const KnownMethod& known : knownMethods()) {
    if (method == known.name && cJSON_IsObject(params)) {
      checkKeys(method, params, known.keys);
      const cJSON* inner = known.inner != nullptr ? jsonMember(params, known.inner) : nullptr;
      checkKeys(method, cJSON_IsObject(inner) ? inner : nullptr, known.innerKeys);
    }
  }
}

JsonPtr paramsOf(const CallOptions& options) {
  if (options.params.empty()) {
    return nullptr;
  }
  JsonPtr params = jsonParse(options.params.c_str());
  if (params == nullptr) {
    throw Failure(kExitUsage, "PARAMS-JSON is not a JSON document: " + escaped(options.params));
  }
  if (!options.raw) {
    checkParams(options.method, params.get());
  }
  return params;
}

std::string nearestMethod(const std::string& method) {
  const std::string text = didYouMean(method, mapped(knownMethods(), [](const KnownMethod& known) {
                                        return std::string(known.name);
                                      }));
  return text.empty() ? "" : "." + text;
}

int runCall(const CallOptions& options, Session& session) {
  JsonPtr params = paramsOf(options);
  const JsonPtr kept(cJSON_Duplicate(params.get(), 1));
  const std::string line = requestLine(options.method, std::move(params));
  const std::string received = session.daemon().exchange(options.method, line);
  const JsonPtr answer = parsedAnswer(received);

  if (session.output().screen().columns > 0) {
    session.output().printJson(answer);
  } else {
    session.output().print(received + "\n");
  }
  if (cJSON_IsTrue(jsonMember(answer.get(), "ok"))) {
    return kExitDone;
  }
  const int32_t code = jsonInt32Member(answer.get(), "error", ERR_GENERAL);
  throw DaemonError(kExitDaemonError, code,
                    "error " + std::to_string(code) + " (" + resultCodeName(code) +
                        "): " + errorInWords(options.method, kept.get(), code) +
                        (code == ERR_UNSUPPORTED ? nearestMethod(options.method) : ""));
}

}  // namespace

SessionAction defineCall(Arguments& app, Options&) {
  const auto given = std::make_shared<CallOptions>();
  app.add("METHOD", given->method, "method, for example manual.reset").required();
  app.add("PARAMS-JSON", given->params, "its parameters, a JSON object");
  app.flag("--raw", given->raw, "send also what the method does not know");
  return [given](Session& session) { return runCall(*given, session); };
}
