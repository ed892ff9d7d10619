#include "switchsim/web/bench.h"

#include <civetweb.h>
#include <cjson/cJSON.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>

#include "api/link.h"
#include "base/sleep.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/text.h"
#include "switchsim/lab/moves.h"
#include "switchsim/view/view.h"
#include "switchsim/web/page.h"

namespace switchsim {
namespace {

constexpr const char* kJson = "application/json";
constexpr int64_t kMsPerSec = 1000;
constexpr int64_t kAskTimeoutMs = 10000;  // a sweep's pauses hold up what asks about schedules
constexpr int32_t kLookMs = 100;          // at the journal
constexpr int64_t kClockMs = 1000;
constexpr int64_t kMaxFollowers = 4;  // of the server's eight connections
constexpr size_t kReadBytes = 4096;
constexpr const char* kClient = "SWITCHSIM_CLIENT";  // has the path of quorin_poectl
const std::string kAskClient =  // an emulator is a program and its options: no quotes
    "exec timeout 5 $SWITCHSIM_EMULATOR \"$SWITCHSIM_CLIENT\" -q --json ";
constexpr int kOverTime = 124;  // the status of timeout(1)

[[noreturn]] void refuse(const std::string& text) {
  throw Failure(kExitUsage, text);
}

JsonPtr objectOf(const Request& request) {
  JsonPtr body = jsonParse(request.body.c_str());
  if (cJSON_IsObject(body.get()) == 0) {
    refuse("a request is one JSON object");
  }
  return body;
}

// {"words": ["device", "1/0/5", "camera"]}: a command as the command line has it.
Answer changeSwitch(const Request& request, const Command& carryOut) {
  const JsonPtr body = objectOf(request);
  std::vector<std::string> command;
  const cJSON* each = nullptr;
  cJSON_ArrayForEach(each, jsonMember(body.get(), "words")) {
    command.emplace_back(cJSON_IsString(each) != 0
                             ? each->valuestring
                             : throw Failure(kExitUsage, R"("words" are texts)"));
  }
  const std::string name = command.empty() ? "" : command.front();
  if (name != "device" && name != "set" && name != "fault") {
    refuse(R"("words" are those of `switchsim device`, `set` or `fault`)");
  }
  carryOut(command);
  return {200, kJson, "{\"ok\":true}\n"};
}

// To the daemon and back, as it is.
Answer callDaemon(const Lab& lab, const Request& request) {
  const std::string method = textIn(jsonParse(request.body.c_str()).get(), "method");
  SocketDaemon daemon(lab.socketPath(), kAskTimeoutMs, {});
  return {200, kJson, daemon.exchange(method, request.body) + "\n"};
}

// What quorin_poectl prints for the arguments.
Answer askClient(const std::string& arguments) {
  if (const char* path = getenv(kClient); access(path, X_OK) != 0) {
    return words(501, std::string("only quorin_poectl can tell this, and there is no ") + path);
  }
  FILE* program = popen((kAskClient + arguments + " 2>&1").c_str(), "re");
  std::string text;
  char chunk[kReadBytes];
  for (size_t n = 0; program != nullptr && (n = fread(chunk, 1, sizeof chunk, program)) > 0;) {
    text.append(chunk, n);
  }
  const int status = program != nullptr ? pclose(program) : -1;
  const int exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return exit == kExitDone ? Answer{200, kJson, text}
         : exit == kOverTime
             ? words(504, "no answer within 5 s: the daemon is busy or hangs")
             : failed(exit, textIn(jsonMember(jsonParse(text.c_str()).get(), "error"), "text"));
}

// The port that is asked about reaches the client as a number.
Answer askWhy(const Request& request) {
  char port[64];
  const int size =
      mg_get_var(request.query.data(), request.query.size(), "port", port, sizeof port);
  return askClient("why " + std::to_string(findPort(escaped(size > 0 ? port : ""))));
}

struct Bench {
  Lab& lab;
  const Zone zone;
  const Command carryOut;
  bool (*const isStopping)();
  std::mutex moving;                  // for the request that moves the clock
  std::atomic<int64_t> followers{0};  // that ever came
};

std::string clockJson(const Bench& bench) {
  const Lab& lab = bench.lab;
  return printedJson(jsonObject({{"time", rfc3339(lab.nowMs() / kMsPerSec, bench.zone)},
                                 {"zone", lab.zone()},
                                 {"speed", lab.speed()},
                                 {"running", lab.isRunning()},
                                 {"folder", lab.folder()}}));
}

// {"at": TIME}, {"jump": TIME} or {"speed": N}.
Answer moveClock(Bench& bench, const Request& request) {
  const std::lock_guard<std::mutex> alone(bench.moving);
  const std::shared_ptr<Lab> claim(&bench.lab, [](Lab* lab) { lab->release(); });
  const JsonPtr body = objectOf(request);
  const std::optional<int64_t> speed = numberIn(body.get(), "speed");
  if (const std::string at = textIn(body.get(), "at"); !at.empty()) {
    goTo(bench.lab, at, [&bench] {
      if (bench.isStopping()) {
        throw Failure(kExitInterrupted, "interrupted on the way");
      }
    });
  } else if (const std::string jump = textIn(body.get(), "jump"); !jump.empty()) {
    jumpTo(bench.lab, jump);
  } else if (speed && *speed >= 0 && *speed <= kMaxLabSpeed) {
    setSpeed(bench.lab, static_cast<int32_t>(*speed));
  } else {
    refuse(R"(it takes a time "at" or "jump", or a "speed" from 0 to 1000)");
  }
  return {200, kJson, clockJson(bench)};
}

// The journal as it goes on, and the clock, once a second. A switch that is made anew counts from
// the start again. A new page takes the place of the oldest, which asks again if it is not gone.
Answer follow(Bench& bench, const Request& request, const Write& write) {
  const int64_t after = wholeNumber(request.lastEventId);
  if (after < 0 && !request.lastEventId.empty()) {
    refuse("Last-Event-ID is the number of an entry of the journal");
  }
  const int64_t place = ++bench.followers;
  uint64_t seq = after < 0 ? lastSeq() : static_cast<uint64_t>(after);
  // The page has its place in the journal even if it is gone before the next entry.
  std::string events = "id: " + std::to_string(seq) + "\ndata: {}\n\n";
  for (int64_t toldMs = 0;
       (events.empty() || write(events)) && bench.followers < place + kMaxFollowers;
       sleepMilliseconds(kLookMs)) {
    events.clear();
    seq = lastSeq() < seq ? 0 : seq;
    for (const JournalEntry& entry : journalSince(seq)) {
      seq = entry.seq;
      events += "id: " + std::to_string(seq) + "\ndata: " + journalEntryJson(entry) + "\n";
    }
    if (!events.empty() || monotonicMs() - toldMs >= kClockMs) {
      toldMs = monotonicMs();
      events += "event: clock\ndata: " + clockJson(bench) + "\n";
    }
  }
  return {};
}

}  // namespace

std::vector<Route> benchRoutes(Lab& lab, const Command& carryOut, bool (*isStopping)()) {
  const std::shared_ptr<Bench> bench(new Bench{lab, zoneOf(lab), carryOut, isStopping, {}, {}});
  clockJson(*bench);  // sets up what threads share from now on: TZ and the lab's page
  const auto self = std::filesystem::read_symlink("/proc/self/exe");
  setenv(kClient, (self.parent_path() / "quorin_poectl").c_str(), 1);
  using In = const Request&;
  using Out = const Write&;
  const auto file = [](const char* type, const char* text) {
    return [type, text](In, Out) { return Answer{200, type, text}; };
  };
  return {{"GET", "/", file("text/html; charset=utf-8", kPageHtml)},
          {"GET", "/page.css", file("text/css; charset=utf-8", kPageCss)},
          {"GET", "/page.js", file("text/javascript; charset=utf-8", kPageJs)},
          {"POST", "/rpc", [bench](In request, Out) { return callDaemon(bench->lab, request); }},
          {"GET", "/switch",
           [](In, Out) {
             return Answer{200, kJson, viewJson(viewSwitch(), false)};
           }},
          {"POST", "/switch",
           [bench](In request, Out) { return changeSwitch(request, bench->carryOut); }},
          {"POST", "/lab", [bench](In request, Out) { return moveClock(*bench, request); }},
          {"GET", "/week", [](In, Out) { return askClient("week"); }},
          {"GET", "/why", [](In request, Out) { return askWhy(request); }},
          {"GET", "/events", [bench](In in, Out out) { return follow(*bench, in, out); }}};
}

}  // namespace switchsim
