// Any bytes on the socket: the worker must answer with one line of JSON or just close.
#include <cjson/cJSON.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "base/json.h"
#include "base/send_all.h"
#include "base/unique_fd.h"
#include "fuzz/in_process.h"
#include "ipc/client_worker.h"

namespace {

std::string exchange(const std::string& request) {
  int ends[2];
  require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "no socket");
  const UniqueFd client(ends[0]);
  std::thread worker(clientWorker, reinterpret_cast<void*>(static_cast<intptr_t>(ends[1])));
  sendAll(client.get(), {request});
  shutdown(client.get(), SHUT_WR);
  std::string answer;
  char chunk[4096];
  for (ssize_t n = 0; (n = read(client.get(), chunk, sizeof chunk)) > 0;) {
    answer.append(chunk, static_cast<size_t>(n));
  }
  worker.join();
  return answer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool open = (openInProcess(), true);
  (void)open;
  const std::string answer = exchange(std::string(reinterpret_cast<const char*>(data), size));
  if (!answer.empty()) {
    require(answer.find('\n') == answer.size() - 1, "an answer is one line");
    const JsonPtr tree = jsonParse(answer.c_str());
    const cJSON* ok = jsonMember(tree.get(), "ok");
    require(cJSON_IsBool(ok), "an answer says whether it is ok");
    require(cJSON_IsTrue(ok) != cJSON_IsNumber(jsonMember(tree.get(), "error")), "an error has a code");
  }
  forgetOften();
  return 0;
}
