#include "switchsim/commands/replayer.h"

#include <cjson/cJSON.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <set>

#include "base/result_codes.h"
#include "base/send_all.h"
#include "base/utf8.h"
#include "cli/text.h"

namespace switchsim {
namespace {

constexpr size_t kMaxRequestBytes = size_t{1024} * 1024;  // as the daemon has it
constexpr size_t kMaxShownBytes = 400;

std::string shown(const std::string& text) {
  const std::string start = printableUtf8(repairedUtf8(text.c_str()).c_str(), kMaxShownBytes);
  return text.size() > kMaxShownBytes ? start + "..." : start;
}

std::string shown(const cJSON* tree) {
  const JsonTextPtr text(cJSON_PrintUnformatted(tree));
  return text == nullptr ? "" : shown(std::string(text.get()));
}

bool areEqual(const cJSON* a, const cJSON* b) {
  return cJSON_Compare(a, b, 1) != 0;
}

// What is different in `asked` from `known`, one text for each place.
void addDifferences(const std::string& path, const cJSON* asked, const cJSON* known,
                    std::vector<std::string>* texts) {
  if (areEqual(asked, known)) {
    return;
  }
  if (cJSON_IsObject(asked) == 0 || cJSON_IsObject(known) == 0) {
    texts->push_back(path + " is " + shown(asked) + ", not " + shown(known));
    return;
  }

  const std::string inside = path.empty() ? "" : path + ".";
  for (const cJSON* member = asked->child; member != nullptr; member = member->next) {
    const cJSON* other = cJSON_GetObjectItemCaseSensitive(known, member->string);
    if (other != nullptr) {
      addDifferences(inside + member->string, member, other, texts);
    } else {
      texts->push_back("there is no " + inside + member->string + " in it");
    }
  }
  for (const cJSON* member = known->child; member != nullptr; member = member->next) {
    if (cJSON_GetObjectItemCaseSensitive(asked, member->string) == nullptr) {
      texts->push_back(inside + member->string + " is missing");
    }
  }
}

std::string methodOf(const cJSON* request) {
  const char* method = jsonTextMember(request, "method");
  return method != nullptr ? method : "";
}

// False when there is none, as when stopFd is readable.
bool readRequest(int connection, int stopFd, std::string* request) {
  char chunk[4096];
  for (;;) {
    pollfd ready[] = {{connection, POLLIN, 0}, {stopFd, POLLIN, 0}};
    poll(ready, 2, -1);
    const ssize_t n = ready[1].revents == 0 ? recv(connection, chunk, sizeof chunk, 0) : -1;
    if (n <= 0) {
      return n == 0 && !request->empty();
    }
    request->append(chunk, static_cast<size_t>(n));
    const size_t end = request->find('\n');
    if (end != std::string::npos) {
      request->resize(end);
      return end <= kMaxRequestBytes;
    }
    if (request->size() > kMaxRequestBytes) {
      return false;
    }
  }
}

}  // namespace

Replayer::Replayer(const std::vector<Exchange>& exchanges) {
  size_t line = 0;
  for (const Exchange& exchange : exchanges) {
    ++line;
    JsonPtr request = jsonParse(exchange.request.c_str());
    Recorded* recorded = find(exchange.request, request.get());
    if (recorded == nullptr) {
      recorded_.push_back({line, exchange.request, std::move(request), {}});
      recorded = &recorded_.back();
    }
    recorded->answers.push_back({exchange.answer, exchange.tookMs});
  }
}

Replayer::Recorded* Replayer::find(const std::string& text, const cJSON* request) {
  const auto isThat = [&](const Recorded& recorded) {
    const bool areJson = request != nullptr && recorded.request != nullptr;
    return areJson ? areEqual(request, recorded.request.get()) : text == recorded.text;
  };
  const auto found = std::find_if(recorded_.begin(), recorded_.end(), isThat);
  return found != recorded_.end() ? &*found : nullptr;
}

Replayer::Answer Replayer::answerTo(const std::string& request) {
  const JsonPtr asked = jsonParse(request.c_str());
  const std::lock_guard<std::mutex> lock(mutex_);
  if (Recorded* recorded = find(request, asked.get())) {
    const size_t last = recorded->answers.size() - 1;
    return recorded->answers[std::min(recorded->next++, last)];
  }

  wasAskedUnknown_ = true;
  fprintf(stderr, "switchsim: NOT RECORDED: %s; %s\n", shown(request).c_str(),
          nearestTo(asked.get()).c_str());
  return {R"({"ok":false,"error":)" + std::to_string(ERR_GENERAL) + "}\n"};
}

std::string Replayer::nearestTo(const cJSON* request) const {
  const std::string method = methodOf(request);
  const Recorded* nearest = nullptr;
  std::vector<std::string> least;
  std::set<std::string> methods;

  for (const Recorded& recorded : recorded_) {
    methods.insert(methodOf(recorded.request.get()));
    if (method.empty() || methodOf(recorded.request.get()) != method) {
      continue;
    }
    std::vector<std::string> differences;
    addDifferences("", request, recorded.request.get(), &differences);
    if (nearest == nullptr || differences.size() < least.size()) {
      nearest = &recorded;
      least = differences;
    }
  }

  if (nearest == nullptr) {
    return "nothing like it is recorded, only " +
           shown(joined({methods.begin(), methods.end()}, ", "));
  }
  return "the nearest is line " + std::to_string(nearest->line) + ", " + shown(nearest->text) +
         ": " + joined(least, ", ");
}

void Replayer::serve(int connection, int stopFd, bool isSlow) {
  std::string request;
  if (!readRequest(connection, stopFd, &request)) {
    return;
  }

  const Answer answer = answerTo(request);
  pollfd stop = {stopFd, POLLIN, 0};
  const bool isStopped =
      isSlow && poll(&stop, 1, static_cast<int>(std::min<int64_t>(answer.tookMs, INT32_MAX))) > 0;
  if (!isStopped) {
    sendAll(connection, {answer.bytes});
  }
}

}  // namespace switchsim
