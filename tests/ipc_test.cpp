#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iostream>
#include <thread>
#include <utility>
#include <vector>

#include "daemon/paths.h"
#include "ipc/request_reader.h"
#include "tests/support/daemon_process.h"
#include "tests/support/fixtures.h"
#include "tests/support/socket_client.h"

namespace {

constexpr int kClockSpeed = 20;
const std::string kInvalid = "{\"ok\":false,\"error\":10003}\n";
const std::string kUnknown = "{\"ok\":false,\"error\":17002}\n";
const std::string kNotFound = "{\"ok\":false,\"error\":10023}\n";
const std::string kEmptyList = "{\"ok\":true,\"result\":{\"runs\":[],\"page\":1,\"pageSize\":50,\"total\":0}}\n";
const std::string kListRequest = R"({"method":"history.list","params":{"unit":1}})";

// The daemon on this test's root, ready to answer.
class IpcTest : public RootTest {
 protected:
  void SetUp() override {
    RootTest::SetUp();
    ASSERT_TRUE(daemon_.startReady()) << logText();
  }
  void TearDown() override { EXPECT_EQ(daemon_.stop(), 0) << logText(); }

  DaemonProcess daemon_{TEST_DAEMON, kClockSpeed};
};

// Without the mapped file of the simulated switch, whose journal fills up.
long residentKb(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("RssAnon:", 0) == 0) {
      return atol(line.c_str() + 8);
    }
  }
  return 0;
}

// Does it for every number below count, from so many clients at once; returns how often it went wrong.
int inParallel(int clients, int count, const std::function<bool(int)>& isDone) {
  std::atomic<int> next{0};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int c = 0; c < clients; ++c) {
    threads.emplace_back([&] {
      for (int i = next++; i < count; i = next++) {
        wrong += isDone(i) ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  return wrong;
}

std::string nested(size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

// As large as a request may be, and of the largest tree that this can have.
std::string largestRequest() {
  std::string request = R"({"method":"schedule.create","params":{"unit":1,"schedule":{"ifNums":[1)";
  while (request.size() < kMaxRequestBytes - 10) {
    request += ",1";
  }
  return request + "]}}}\n";
}

constexpr int kMixedRequests = 13;

// One request of each method, with a schedule from its creation to its deletion, and two that are refused. True when
// each is answered as it must be.
bool mixedRequests(int number) {
  const std::string schedule =
      R"("schedule":{"name":"s)" + std::to_string(number) +
      R"(","scheduleType":"power_on","recurrence":"daily","allDay":true,"recurrenceDays":[1,2],"ifNums":[3]}})";
  const JsonPtr created = jsonParse(rpc("schedule.create", R"({"unit":1,)" + schedule).c_str());
  const JsonPtr reset = jsonParse(rpc("manual.reset", R"({"unit":1,"request":{"ifNums":[1,2]}})").c_str());
  const auto idOf = [](const JsonPtr& answer, const char* key) {
    return std::to_string(jsonInt64Member(jsonMember(answer.get(), "result"), key, 0));
  };
  const std::string one = R"({"unit":1,"scheduleId":)" + idOf(created, "scheduleId");
  const std::string run = R"({"unit":1,"runId":)" + idOf(reset, "runId") + "}";
  bool right = true;
  for (const auto& [method, params] :
       std::initializer_list<std::pair<const char*, std::string>>{{"schedule.get", one + "}"},
                                                                  {"schedule.update", one + "," + schedule},
                                                                  {"schedule.list", R"({"unit":1})"},
                                                                  {"schedule.delete", one + "}"},
                                                                  {"history.list", R"({"unit":1})"},
                                                                  {"history.detail", run},
                                                                  {"sensors.all", R"({"unit":1})"},
                                                                  {"bootdelay.set", R"({"unit":1,"delaySec":5})"},
                                                                  {"bootdelay.get", R"({"unit":1})"}}) {
    right = rpc(method, params).rfind(R"({"ok":true)", 0) == 0 && right;
  }
  right = exchange(number % 50 == 0 ? largestRequest() : "no JSON\n") == kInvalid && right;
  return rpc("schedule.get", one + "}") + "\n" == kNotFound && right;
}

}  // namespace

TEST_F(IpcTest, answersEveryRequestLineWithOneAnswerLine) {
  const std::string padding(100000, ' ');
  const struct {
    const char* what;
    std::string bytes;
    bool halfClose;
    std::string answer;
  } cases[] = {
      {"a request", kListRequest + "\n", false, kEmptyList},
      {"no newline but the end of the stream", kListRequest, true, kEmptyList},
      {"keys in capitals", "{\"METHOD\":\"history.list\",\"PARAMS\":{\"UNIT\":1}}\n", false, kEmptyList},
      {"a request of 100 kB", padding + kListRequest + "\n", false, kEmptyList},
      {"what follows the newline", kListRequest + "\n{\"method\":\"nope\"}\n", false, kEmptyList},
      {"blanks around", " \t" + kListRequest + " \r\n", false, kEmptyList},
      {"a zero byte ends the text", kListRequest + std::string(1, '\0') + "junk\xFF\n", false, kEmptyList},
      {"the largest request", std::string(kMaxRequestBytes - kListRequest.size(), ' ') + kListRequest + "\n", false,
       kEmptyList},
      {"the deepest request", nested(1000) + "\n", false, kUnknown},
      {"bytes that are no UTF-8", "{\"method\":\"\xFF\xFE\"}\n", false, kInvalid},
      {"a surrogate in UTF-8", "{\"method\":\"\xED\xA0\x80\"}\n", false, kInvalid},
      {"an overlong character", "{\"method\":\"\xC0\xAF\"}\n", false, kInvalid},
      {"control characters in the method", "{\"method\":\"é\\n\\u009b31m€\"}\n", false, kUnknown},
      {"an endless method", "{\"method\":\"" + std::string(127, 'm') + "éa\"}\n", false, kUnknown},
      {"two objects on one line", kListRequest + kListRequest + "\n", false, kInvalid},
      {"no JSON", "hello\n", false, kInvalid},
      {"an empty line", "\n", false, kInvalid},
      {"half a request", kListRequest.substr(0, 20), true, kInvalid},
      {"nesting without end", nested(1001) + "\n", false, kInvalid},
      {"no params", "{\"method\":\"history.list\"}\n", false, kInvalid},
      {"params of another type", "{\"method\":\"history.list\",\"params\":[1]}\n", false, kInvalid},
      {"a method in capitals", "{\"method\":\"HISTORY.LIST\",\"params\":{\"unit\":1}}\n", false, kUnknown},
      {"a method that is no string", "{\"method\":7}\n", false, kUnknown},
      {"no object", "[{\"method\":\"history.list\"}]\n", false, kUnknown},
      {"no method", "{}\n", false, kUnknown},
      {"nothing", "", true, ""},
      {"a request without end", std::string(kMaxRequestBytes + 1, ' '), false, ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(exchange(c.bytes, c.halfClose), c.answer) << c.what << "\n" << logText();
  }
  EXPECT_EQ(countOf(logText(), "unknown RPC method: HISTORY.LIST"), 1) << logText();
  EXPECT_EQ(countOf(logText(), "unknown RPC method: (null)"), 4) << logText();
  EXPECT_EQ(countOf(logText(), R"(unknown RPC method: é\x0a\x9b31m€)"), 1) << logText();
  EXPECT_EQ(countOf(logText(), std::string(127, 'm')) - countOf(logText(), "mé"), 1) << logText();
  EXPECT_EQ(countOf(logText(), "(ERROR)"), 0) << logText();
}

TEST_F(IpcTest, checksParametersBeforeAnyWork) {
  const struct {
    const char* method;
    const char* params;
    std::string answer;
  } cases[] = {
      {"history.list", R"({"unit":"1"})", kInvalid},
      {"history.list", R"({"unit":0})", kInvalid},
      {"history.list", R"({"unit":-1e300})", kInvalid},
      {"history.list", R"({"unit":1.9,"page":"2","pageSize":null})", kEmptyList},
      {"history.list", R"({"unit":1,"page":1e300,"pageSize":-1e300})",
       "{\"ok\":true,\"result\":{\"runs\":[],\"page\":2147483647,\"pageSize\":-2147483648,\"total\":0}}\n"},
      {"history.detail", R"({"unit":1,"runId":"1"})", kInvalid},
      {"history.detail", R"({"unit":1,"runId":4294967297})", kNotFound},
      {"history.detail", R"({"unit":1,"runId":1e300})", kNotFound},
      {"sensors.all", R"({"unit":3})", "{\"ok\":true,\"result\":{\"ports\":[]}}\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(rpc(c.method, c.params) + "\n", c.answer) << c.method << c.params;
  }
}

TEST_F(IpcTest, takesRequestsInPiecesAndFromManyClients) {
  SocketClient slow;
  for (const char byte : kListRequest + "\n") {
    ASSERT_TRUE(slow.sendBytes(std::string(1, byte)));
  }
  EXPECT_EQ(slow.readAll(), kEmptyList);
  const auto isAnswered = [](int) { return exchange(kListRequest + "\n") == kEmptyList; };
  EXPECT_EQ(inParallel(32, 10000, isAnswered), 0) << logText();
}

TEST_F(IpcTest, keepsNothingOfPastRequests) {
  const int requestsWanted = environmentNumber("QUORIN_LEAK_REQUESTS", 5000);
  const auto load = [](int count) { EXPECT_EQ(inParallel(8, count / kMixedRequests, mixedRequests), 0) << logText(); };
  const auto isQuiet = [&](int descriptors) {
    return waitUntil(
        [&] { return daemon_.openDescriptors() <= descriptors && daemon_.threads() == DaemonProcess::kThreadsAtRest; });
  };
  load(2000 + requestsWanted / 2);  // also fills the databases' caches
  ASSERT_TRUE(isQuiet(20)) << daemon_.openDescriptors() << " " << daemon_.threads();
  const int descriptors = daemon_.openDescriptors();
  [[maybe_unused]] const long kb = residentKb(daemon_.pid());
  load(requestsWanted);
  EXPECT_TRUE(isQuiet(descriptors)) << daemon_.openDescriptors() << " " << daemon_.threads();
  // Sanitizers keep freed memory aside, and find by themselves what leaks.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(residentKb(daemon_.pid()) - kb, 4000) << "from " << kb << " kB";
#endif
  std::cout << "memory: " << kb << " kB, then " << residentKb(daemon_.pid()) << " kB" << std::endl;
}

TEST_F(IpcTest, theConnectionThatWasSilentLongestMakesRoom) {
  constexpr size_t kConnections = 256;
  std::deque<SocketClient> clients(kConnections);
  ASSERT_TRUE(waitUntil([&] { return daemon_.threads() == DaemonProcess::kThreadsAtRest + int(kConnections); }));
  clients[0].sendBytes(kListRequest);
  ASSERT_TRUE(waitUntil([&] { return clients[0].isHeard(); }));  // the second is silent longest now
  EXPECT_EQ(exchange(kListRequest + "\n"), kEmptyList);
  EXPECT_EQ(clients[1].readAll(), "");
  for (const size_t stays : {size_t{0}, size_t{2}, kConnections - 1}) {
    clients[stays].sendBytes(stays == 0 ? "\n" : kListRequest + "\n");
    EXPECT_EQ(clients[stays].readAll(), kEmptyList) << stays;
  }
}

TEST_F(IpcTest, whatClientsLeaveUnfinishedIsBounded) {
  constexpr size_t kRequests = 32;  // of the largest size
  std::deque<SocketClient> clients(kRequests + 8);
  for (SocketClient& client : clients) {
    client.sendBytes(largestRequest().substr(0, kMaxRequestBytes - 100));
  }
  size_t refused = 0;
  ASSERT_TRUE(waitUntil([&] {
    refused = static_cast<size_t>(
        std::count_if(clients.begin(), clients.end(), [](SocketClient& c) { return c.hasEnded(); }));
    return refused >= clients.size() - kRequests;
  })) << refused;
  EXPECT_LT(refused, kRequests);
  clients.clear();
  EXPECT_TRUE(waitUntil([] { return exchange(kListRequest + "\n") == kEmptyList; })) << "all of it is given back";
}

TEST_F(IpcTest, whatClientsDoNotReadIsBoundedAndDroppedInTheEnd) {
  executeOn(kHistoryDbPath,
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<40) INSERT INTO poe_history (unit, "
            "trigger_source, schedule_name, execution_mode, started_at, status) SELECT 1, 'manual', "
            "hex(zeroblob(500000)), 'sequential', strftime('%s'), 'completed' FROM n;");
  const auto list = [](int runs) {
    return R"({"method":"history.list","params":{"unit":1,"pageSize":)" + std::to_string(runs) + "}}\n";
  };
  EXPECT_EQ(exchange(list(40)), "") << "40 MB";
  EXPECT_EQ(exchange(list(10)).size() / 1000000, 10U);
  SocketClient silent;
  silent.sendBytes(list(10));
  ASSERT_TRUE(waitUntil([&] { return silent.isAnswered(); }));
  EXPECT_TRUE(waitUntil([&] { return daemon_.threads() == DaemonProcess::kThreadsAtRest; })) << daemon_.threads();
  EXPECT_LT(silent.readAll().size(), 1000000U);
}

TEST_F(RootTest, runningOutOfDescriptorsIsSurvivedAndDoesNotFloodTheLog) {
  constexpr rlim_t kDescriptors = 24;
  DaemonProcess daemon(TEST_DAEMON, 4);
  ASSERT_TRUE(daemon.startReady([] {
    const rlimit limit{kDescriptors, kDescriptors};
    setrlimit(RLIMIT_NOFILE, &limit);
  })) << logText();
  std::deque<SocketClient> silent;
  for (rlim_t i = 0; i < kDescriptors; ++i) {
    silent.emplace_back();
  }
  ASSERT_TRUE(waitUntil([] { return countOf(logText(), "accept failed: Too many open files") >= 2; })) << logText();
  EXPECT_LT(logText().size(), 20000U);
  silent.clear();
  EXPECT_EQ(exchange(kListRequest + "\n"), kEmptyList) << logText();
  EXPECT_EQ(daemon.stop(), 0);
}

TEST_F(IpcTest, theClientTellsHowItWentByItsExitStatus) {
  const std::string client = std::string(TEST_CLIENT) + " --socket " + kSocketPath + " ";
  const struct {
    const char* arguments;
    int status;
    const char* printed;
  } cases[] = {
      {R"(call history.list '{"unit":1}')", 0, "{\"ok\":true,\"result\":{\"runs\":[]"},
      {R"(call history.detail '{"unit":1,"runId":9}')", 4, "error 10023 (ERR_NOT_FOUND)"},
      {"call history.list", 4, "error 10003 (ERR_INVALID_ARG)"},
      {"call no.such", 4, "{\"ok\":false,\"error\":17002}\n"},
      {"--socket /no/such.sock call history.list", 8, "no daemon answers at /no/such.sock"},
      {"call history.list '{unit'", 2, "not a JSON document"},
      {"call", 2, "METHOD is required"},
      {"--help", 0, "Exit status"},
  };
  for (const auto& c : cases) {
    std::string output;
    EXPECT_EQ(runCommand(client + c.arguments + " 2>&1", &output), c.status) << c.arguments << "\n" << output;
    EXPECT_NE(output.find(c.printed), std::string::npos) << c.arguments << "\n" << output;
  }
}
