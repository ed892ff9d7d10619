#include "ipc/client_worker.h"

#include <cjson/cJSON.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "base/result_codes.h"
#include "base/send_all.h"
#include "base/thread_annotations.h"
#include "base/unique_fd.h"
#include "base/utf8.h"
#include "daemon/bounds.h"
#include "daemon/request_line.h"
#include "ipc/connections.h"
#include "ipc/freed_memory.h"
#include "ipc/held_bytes.h"
#include "ipc/method_table.h"
#include "ipc/request_reader.h"
#include "log/log.h"

namespace {

constexpr size_t kLargeRequestBytes = size_t{2} * 1024;
constexpr size_t kVeryLargeRequestBytes = size_t{128} * 1024;
constexpr size_t kMaxLoggedNameBytes = 128;

// Held from the parsing of a large request until its tree is freed. Always the outermost lock.
Mutex largeRequestGate;

class Connection {
 public:
  explicit Connection(int descriptor) : descriptor_(descriptor) {}
  ~Connection() {
    connectionRemove(descriptor_.get());
    noteFreedMemory();  // most of all when there was none left
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  int get() const { return descriptor_.get(); }

 private:
  UniqueFd descriptor_;
};

struct Request {
  std::string text;
  HeldBytes held;

  void freeText() {
    std::string().swap(text);
    held.resize(0);
  }
};

struct Response {
  bool isWanted = false;  // false: the connection is closed without an answer
  int32_t code = ERR_GENERAL;
  JsonPtr result;
};

int32_t refuseMethod(const char* nameOrNull) {
  const std::string name =
      nameOrNull != nullptr ? printableUtf8(nameOrNull, kMaxLoggedNameBytes) : "(null)";
  LOG_HERE(LOG_WARNING, "unknown RPC method: %s", name.c_str());
  return ERR_UNSUPPORTED;
}

int32_t carryOut(const cJSON* request, JsonPtr* result) {
  const char* name = jsonTextMember(request, "method");
  const RpcHandler handler = name != nullptr ? rpcFindMethod(name) : nullptr;
  return handler != nullptr ? handler(jsonMember(request, "params"), result) : refuseMethod(name);
}

// Frees the request's text as soon as it is parsed, and its tree before it returns.
Response respondTo(Request* request) {
  const bool isText = isUtf8(request->text.c_str());
  const JsonPtr tree = isText ? jsonParse(request->text.c_str()) : nullptr;
  const bool isOutOfMemory = isText && tree == nullptr && errno == ENOMEM;
  if (isOutOfMemory) {
    boundReached(Bound::memory);
  }
  request->freeText();
  Response response;
  response.isWanted = !isOutOfMemory;
  response.code = tree != nullptr ? carryOut(tree.get(), &response.result) : ERR_INVALID_ARG;
  return response;
}

// The tree of one that is very large is given back before the next one's is made.
Response respondAtGate(Request* request) REQUIRES(largeRequestGate) {
  const bool isVeryLarge = request->text.size() > kVeryLargeRequestBytes;
  Response response = respondTo(request);
  if (isVeryLarge) {
    returnFreedMemoryNow();
  }
  return response;
}

Response respondToLarge(Request* request) {
  if (!largeRequestGate.tryLock()) {
    if (!takeWaitingPlace()) {
      return {true, ERR_GENERAL, nullptr};
    }
    largeRequestGate.lock();
  }
  const MutexLock gate(largeRequestGate, std::adopt_lock);
  return respondAtGate(request);
}

Response carryOutFor(int connection, Request* request) {
  const ServedRequest served(connection);
  const bool isLarge = request->text.size() > kLargeRequestBytes;
  return isLarge ? respondToLarge(request) : respondTo(request);
}

void serve(int connection) {
  Request request;
  if (!readRequest(connection, &request.held, &request.text)) {
    return;
  }
  Response response = carryOutFor(connection, &request);
  if (response.isWanted) {
    sendResponse(connection, response.code, std::move(response.result));
  }
}

}  // namespace

void sendResponse(int connection, int32_t code, JsonPtr result) {
  const std::string envelope =
      code == RESULT_OK ? R"({"ok":true)" : R"({"ok":false,"error":)" + std::to_string(code);
  if (result == nullptr) {
    sendAll(connection, {envelope, "}\n"});
    return;
  }

  HeldBytes held;
  JsonTextPtr text = jsonPrintAndFree(std::move(result));
  if (text == nullptr) {
    boundReached(Bound::memory);
    return;
  }
  const size_t bytes = strlen(text.get());
  if (held.resize(bytes)) {
    const std::string_view answer(text.get(), bytes);
    sendAll(connection, {envelope, R"(,"result":)", answer, "}\n"});
  }
}

void* clientWorker(void* descriptor) try {
  const Connection connection(static_cast<int>(reinterpret_cast<intptr_t>(descriptor)));
  serve(connection.get());
  return nullptr;
} catch (const std::bad_alloc&) {
  boundReached(Bound::memory);
  return nullptr;  // the connection is closed: no answer
}
