// Any bytes on the socket: the worker must answer with one line of JSON or just close.
#include <cjson/cJSON.h>

#include <string>

#include "base/json.h"
#include "fuzz/in_process.h"
#include "tests/support/in_process.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  openInProcess();
  const std::string answer = askWorker(std::string(reinterpret_cast<const char*>(data), size));
  if (!answer.empty()) {
    require(answer.find('\n') == answer.size() - 1, "an answer is one line");
    const JsonPtr tree = jsonParse(answer.c_str());
    const cJSON* ok = jsonMember(tree.get(), "ok");
    require(cJSON_IsBool(ok), "an answer says whether it is ok");
    require(cJSON_IsTrue(ok) != cJSON_IsNumber(jsonMember(tree.get(), "error")),
            "an error has a code");
  }
  forgetOften();
  return 0;
}
