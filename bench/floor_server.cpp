// The floor of a request over the socket: a server that does nothing but what it must.
//
// It accepts one connection after the other and starts a detached thread for each, with a stack of
// the daemon's size. The thread reads in bulk, 64 KiB at a time, up to a newline at the end of what
// was read; does the figure's work, if it has any; answers as many bytes as the daemon does, ready
// made, with one send(2); and closes. It looks at nothing that it reads: no framing, no UTF-8, no
// limits, no JSON.
//
// The work is "none"; "parse", which parses the text with cJSON and frees the tree, with no lock;
// or the statements of a method that reads a database (floors.h), prepared, run and finalised
// for each request, under one mutex, for there is one connection as in the daemon. They read a copy
// of the daemon's databases.
//
// usage: bench_floor SOCKET WORK BYTES SCHEDULE_DB HISTORY_DB
#include <cjson/cJSON.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "bench/floors.h"

namespace {

constexpr int kListenBacklog = 32;
constexpr size_t kStackBytes = size_t{1024} * 1024;
constexpr size_t kChunkBytes = size_t{64} * 1024;
constexpr int64_t kUnit = 1;
constexpr int64_t kNewestId = 1;

std::mutex databaseMutex;
DatabasePtr schedules;
DatabasePtr history;
std::atomic<int64_t> sum{0};  // keeps what is read from being left out
std::function<void(const std::string&)> work;
std::string answer;

void parse(const std::string& request) {
  cJSON_Delete(cJSON_ParseWithLength(request.data(), request.size()));
}

// What a method reads, added to sum.
template <typename Read>
std::function<void(const std::string&)> reading(Read read) {
  return [read](const auto&) {
    const std::lock_guard<std::mutex> lock(databaseMutex);
    sum += read();
  };
}

const std::map<std::string, std::function<void(const std::string&)>> kWorks{
    {"none", [](const auto&) {}},
    {"parse", parse},
    {"schedule.get", reading([] { return scheduleGetFloor(schedules, kUnit, kNewestId); })},
    {"schedule.list", reading([] { return scheduleListFloor(schedules, kUnit); })},
    {"history.list", reading([] { return historyPageFloor(history, kUnit); })},
    {"history.detail", reading([] { return historyDetailFloor(history, kUnit, kNewestId); })}};

bool readToNewline(int connection, std::string* request) {
  char chunk[kChunkBytes];
  do {
    const ssize_t received = recv(connection, chunk, sizeof chunk, 0);
    if (received <= 0) {
      return false;
    }
    request->append(chunk, static_cast<size_t>(received));
  } while (request->back() != '\n');
  return true;
}

void sendAnswer(int connection) {
  for (size_t sent = 0; sent < answer.size();) {
    const ssize_t n = send(connection, &answer[sent], answer.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) {
      return;
    }
    sent += static_cast<size_t>(n);
  }
}

void* serve(void* descriptor) {
  const int connection = static_cast<int>(reinterpret_cast<intptr_t>(descriptor));
  std::string request;
  if (readToNewline(connection, &request)) {
    work(request);
    sendAnswer(connection);
  }
  close(connection);
  return nullptr;
}

int openListener(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  strncpy(address.sun_path, path, sizeof address.sun_path - 1);
  unlink(path);
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  must(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
           listen(listener, kListenBacklog) == 0,
       "the floor's socket");
  return listener;
}

}  // namespace

int main(int argc, char** argv) {
  must(argc == 6 && kWorks.count(argv[2]) == 1, "reading the floor's arguments");
  work = kWorks.at(argv[2]);
  answer = std::string(strtoul(argv[3], nullptr, 10), '\n');
  schedules = openFloorDatabase(argv[4]);
  history = openFloorDatabase(argv[5]);
  const int listener = openListener(argv[1]);

  pthread_attr_t detached;
  pthread_attr_init(&detached);
  pthread_attr_setdetachstate(&detached, PTHREAD_CREATE_DETACHED);
  pthread_attr_setstacksize(&detached, kStackBytes);
  for (;;) {
    const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    pthread_t thread{};
    must(connection >= 0 && pthread_create(&thread, &detached, serve,
                                           reinterpret_cast<void*>(intptr_t{connection})) == 0,
         "the floor's accepting");
  }
}
