// Requests over the socket, of one client and of 16: to the daemon, and to their floor.
//
// A client is a thread that asks again as soon as it is answered; each request is a connection. For
// what reads, the floor is a server (floor_server.cpp) that is asked by the same clients with the
// same bytes; for what changes schedules, it is the bare transaction without any socket
// (schedule_writes.h), in as many threads.
#include <benchmark/benchmark.h>

#include <algorithm>

#include "bench/daemon_world.h"
#include "bench/floors.h"
#include "bench/sample_data.h"
#include "bench/schedule_writes.h"
#include "daemon/paths.h"

namespace {

using benchmark::State;

constexpr int kManyClients = 16;
constexpr int64_t kListed = 20;
constexpr int64_t kPageRuns = 50;
constexpr int64_t kToRemove = 100000;

struct ReadFigure {
  std::string name;
  std::string request;
  std::string floorWork;  // empty: no floor
  Fill fill;
};

struct WriteFigure {
  std::string name;
  std::string (*request)(int64_t number);
  void (*floor)(ScheduleWritesFloor& floor, int64_t number);
  Fill fill;
};

// What the figure that is being measured needs; made when the first of its benchmarks runs.
struct World {
  std::string figure;
  std::unique_ptr<ChildProcess> daemon;
  std::unique_ptr<ChildProcess> floorServer;
  std::unique_ptr<ScheduleWritesFloor> floorWrites;
  size_t answerBytes = 0;
  std::atomic<int64_t> oursNumber{0};
  std::atomic<int64_t> floorNumber{0};
};
World world;

std::string floorSocket() {
  return inRoot("floor.sock");
}

void startWorld(const std::string& figure, Fill fill) {
  world.figure = figure;
  world.floorServer.reset();
  world.floorWrites.reset();
  world.daemon.reset();
  world.daemon = startDaemon(fill);
  copyDatabase(kScheduleDbPath, inRoot("floor_schedule.db"));
  copyDatabase(kHistoryDbPath, inRoot("floor_history.db"));
  world.oursNumber = world.floorNumber = 0;
}

void enter(const ReadFigure& figure) {
  if (world.figure == figure.name) {
    return;
  }
  startWorld(figure.name, figure.fill);
  std::string answer;
  world.answerBytes = BenchClient(kSocketPath).ask(figure.request, &answer);
  must(answer.rfind("{\"ok\":", 0) == 0, "the first request");
  if (!figure.floorWork.empty()) {
    world.floorServer = std::make_unique<ChildProcess>(
        "bench_floor",
        std::vector<std::string>{floorSocket(), figure.floorWork, std::to_string(world.answerBytes),
                                 inRoot("floor_schedule.db"), inRoot("floor_history.db")});
    BenchClient(floorSocket()).askPatiently(figure.request);
  }
}

void enter(const WriteFigure& figure) {
  if (world.figure == figure.name) {
    return;
  }
  startWorld(figure.name, figure.fill);
  world.floorWrites = std::make_unique<ScheduleWritesFloor>(inRoot("floor_schedule.db"));
}

// The other threads wait in the loop's beginning until the first one gets there.
template <typename Figure>
void enterOnce(const State& state, const Figure& figure) {
  if (state.thread_index() == 0) {
    enter(figure);
  }
}

void ask(State& state, const ReadFigure& figure, const std::string& socketPath) {
  enterOnce(state, figure);
  const BenchClient client(socketPath);
  const bool anySize = figure.floorWork.empty();
  for (auto _ : state) {
    const size_t bytes = client.ask(figure.request);
    if (bytes != world.answerBytes && (bytes == 0 || !anySize)) {
      state.SkipWithError("a wrong answer");
      break;
    }
  }
}

void writeOurs(State& state, const WriteFigure& figure) {
  enterOnce(state, figure);
  const BenchClient client(kSocketPath);
  std::string answer;
  for (auto _ : state) {
    answer.clear();
    client.ask(figure.request(++world.oursNumber), &answer);
    if (answer.rfind(R"({"ok":true)", 0) != 0) {
      state.SkipWithError("a refusal");
      break;
    }
  }
}

void writeFloor(State& state, const WriteFigure& figure) {
  enterOnce(state, figure);
  for (auto _ : state) {
    figure.floor(*world.floorWrites, ++world.floorNumber);
  }
}

std::string scheduleOf(int64_t number) {
  return R"("schedule":{"name":"New )" + std::to_string(number) +
         R"(","scheduleType":"power_off","startDate":"2026-01-01","endDate":"2036-12-31",)"
         R"("recurrence":"weekly","recurrenceDays":[1,2,3,4,5],"startTime":"08:00",)"
         R"("endTime":"12:00","ifNums":[1,2,3,4]}})";
}

// A request of about so many bytes, of which nearly all are numbers of ports, as the ports of a
// schedule are. It is refused as soon as it is parsed, for its unit.
std::string requestOfBytes(size_t bytes) {
  std::string ports = "1";
  for (int port = 2; ports.size() + 64 < bytes; port = port % kWidePorts + 1) {
    ports += "," + std::to_string(port);
  }
  return requestLine("bootdelay.get", R"({"unit":0,"ifNums":[)" + ports + "]}");
}

std::string updateRequest(int64_t number) {
  return requestLine("schedule.update", R"({"unit":1,"scheduleId":)" +
                                            std::to_string(number % kListed + 1) + "," +
                                            scheduleOf(number));
}

void fillNothing(sqlite3*, sqlite3*) {}

void fillOneOfEach(sqlite3* schedules, sqlite3* history) {
  fillSchedules(schedules, 1);
  fillHistory(history, 1, 0);
}

void fillAPage(sqlite3* schedules, sqlite3* history) {
  fillSchedules(schedules, kListed);
  fillHistory(history, kPageRuns, kPageRuns);
}

void fillToRemove(sqlite3* schedules, sqlite3*) {
  fillSchedules(schedules, kToRemove);
}

const ReadFigure kReads[] = {
    {"unknown method", requestLine("no.method", R"({"unit":1})"), "none", fillNothing},
    {"bootdelay.get", requestLine("bootdelay.get", R"({"unit":1})"), "none", fillNothing},
    {"schedule.get", requestLine("schedule.get", R"({"unit":1,"scheduleId":1})"), "schedule.get",
     fillOneOfEach},
    {"schedule.list of 20", requestLine("schedule.list", R"({"unit":1})"), "schedule.list",
     fillAPage},
    {"history.list, empty store", requestLine("history.list", R"({"unit":1})"), "history.list",
     fillNothing},
    {"history.list, 50 x 48 ports", requestLine("history.list", R"({"unit":1})"), "history.list",
     fillAPage},
    {"history.detail, 4 ports", requestLine("history.detail", R"({"unit":1,"runId":1})"),
     "history.detail", fillOneOfEach},
    {"sensors.all of 48 ports", requestLine("sensors.all", R"({"unit":1})"), "", fillNothing},
    {"request of 100 B", requestOfBytes(100), "parse", fillNothing},
    {"request of 10 kB", requestOfBytes(10000), "parse", fillNothing},
    {"request of 100 kB", requestOfBytes(100000), "parse", fillNothing}};

const WriteFigure kWrites[] = {
    {"schedule.create", createRequest,
     [](ScheduleWritesFloor& floor, int64_t number) { floor.create(number); }, fillAPage},
    {"schedule.update", updateRequest,
     [](ScheduleWritesFloor& floor, int64_t number) { floor.update(number % kListed + 1, number); },
     fillAPage},
    {"schedule.delete", deleteRequest,
     [](ScheduleWritesFloor& floor, int64_t number) { floor.remove(number); }, fillToRemove}};

template <typename Function>
void registerOne(const std::string& name, int clients, Function function) {
  benchmark::RegisterBenchmark(name.c_str(), function)
      ->Threads(clients)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
}

void registerClients(int clients) {
  const std::string suffix = clients == 1 ? ", 1 client" : ", 16 clients";
  for (const ReadFigure& figure : kReads) {
    registerOne(figure.name + suffix + "/ours", clients,
                [&figure](State& state) { ask(state, figure, kSocketPath); });
    if (!figure.floorWork.empty()) {
      registerOne(figure.name + suffix + "/floor", clients,
                  [&figure](State& state) { ask(state, figure, floorSocket()); });
    }
  }
  for (const WriteFigure& figure : kWrites) {
    registerOne(figure.name + suffix + "/ours", clients,
                [&figure](State& state) { writeOurs(state, figure); });
    registerOne(figure.name + suffix + "/floor", clients,
                [&figure](State& state) { writeFloor(state, figure); });
  }
}

}  // namespace

std::string createRequest(int64_t number) {
  return requestLine("schedule.create", R"({"unit":1,)" + scheduleOf(number));
}

std::string deleteRequest(int64_t scheduleId) {
  return requestLine("schedule.delete",
                     R"({"unit":1,"scheduleId":)" + std::to_string(scheduleId) + "}");
}

void registerSocketFigures() {
  registerClients(1);
  registerClients(kManyClients);
}
