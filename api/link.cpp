#include "api/link.h"

#include <cjson/cJSON.h>

#include <new>

#include "api/answer_shapes.h"
#include "api/error_words.h"
#include "base/result_codes.h"
#include "cli/failure.h"

namespace {

ExitCode statusOf(int32_t code) {
  return code == ERR_NOT_FOUND ? kExitNoSuch : kExitDaemonError;
}

void checkAnswer(const std::string& method, const cJSON* answer) {
  const std::string fault = answerFault(method, answer);
  if (!fault.empty()) {
    const char* mayBeDone =
        isChange(method) ? " It may be done nevertheless: look before you do it again." : "";
    throw Failure(kExitDaemonError, "the daemon's answer to " + method +
                                        " is not as it should be: " + fault +
                                        ". It is older or newer than this client." + mayBeDone);
  }
}

}  // namespace

bool isChange(const std::string& method) {
  for (const char* change :
       {"schedule.create", "schedule.update", "schedule.delete", "manual.reset", "bootdelay.set"}) {
    if (method == change) {
      return true;
    }
  }
  return false;
}

std::string requestLine(const std::string& method, JsonPtr params) {
  JsonObject request;
  request.text("method", method.c_str());
  if (params != nullptr) {
    request.add("params", std::move(params));
  }
  const JsonPtr tree = request.take();
  const JsonTextPtr text(tree != nullptr ? cJSON_PrintUnformatted(tree.get()) : nullptr);
  if (text == nullptr) {
    throw std::bad_alloc();
  }
  return text.get();
}

JsonPtr parsedAnswer(const std::string& answerLine) {
  JsonPtr answer = jsonParse(answerLine.c_str());
  if (!cJSON_IsBool(jsonMember(answer.get(), "ok"))) {
    throw Failure(kExitNoDaemon,
                  "no daemon answers: what answered is no quorin_poed. Name its socket with "
                  "--socket PATH");
  }
  return answer;
}

JsonPtr Daemon::ask(const char* method, JsonPtr params) {
  const JsonPtr kept(cJSON_Duplicate(params.get(), 1));
  const JsonPtr answer = parsedAnswer(exchange(method, requestLine(method, std::move(params))));
  checkAnswer(method, answer.get());
  if (!cJSON_IsTrue(jsonMember(answer.get(), "ok"))) {
    const int32_t code = jsonInt32Member(answer.get(), "error", ERR_GENERAL);
    throw DaemonError(statusOf(code), code, errorInWords(method, kept.get(), code));
  }
  return JsonPtr(cJSON_DetachItemFromObject(answer.get(), "result"));
}
