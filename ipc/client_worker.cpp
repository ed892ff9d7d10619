#include "ipc/client_worker.h"

#include <cjson/cJSON.h>

#include <cstring>
#include <new>
#include <string>

#include "base/json.h"
#include "base/result_codes.h"
#include "base/send_all.h"
#include "base/unique_fd.h"
#include "ipc/method_table.h"
#include "ipc/request_reader.h"
#include "log/log.h"

namespace {

void answerRequest(int connection, const char* text) {
  const JsonPtr request = jsonParse(text);
  if (request == nullptr) {
    sendResponse(connection, ERR_INVALID_ARG, nullptr);
    return;
  }
  const cJSON* method = jsonMember(request.get(), "method");
  const char* name = cJSON_IsString(method) ? method->valuestring : nullptr;
  const RpcHandler handler = name != nullptr ? rpcFindMethod(name) : nullptr;
  if (handler == nullptr) {
    logMessage(LOG_WARNING, "[%s:%d] unknown RPC method: %s", __func__, __LINE__, name != nullptr ? name : "(null)");
    sendResponse(connection, ERR_UNSUPPORTED, nullptr);
    return;
  }
  JsonPtr result;
  const int32_t code = handler(jsonMember(request.get(), "params"), &result);
  sendResponse(connection, code, result.get());
}

}  // namespace

void sendResponse(int connection, int32_t code, const cJSON* result) {
  std::string line = code == RESULT_OK ? R"({"ok":true)" : R"({"ok":false,"error":)" + std::to_string(code);
  if (result != nullptr) {
    const JsonTextPtr text(cJSON_PrintUnformatted(result));
    if (text == nullptr) {
      return;
    }
    line.append(R"(,"result":)").append(text.get());
  }
  line += "}\n";
  sendAll(connection, line);  // a client that has gone needs no answer
}

void* clientWorker(void* descriptor) try {
  const UniqueFd connection(static_cast<int>(reinterpret_cast<intptr_t>(descriptor)));
  std::string text;
  if (readRequest(connection.get(), &text)) {
    answerRequest(connection.get(), text.c_str());
  }
  return nullptr;
} catch (const std::bad_alloc&) {
  return nullptr;  // the connection is closed: no answer
}
