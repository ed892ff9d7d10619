#include "base/sleep.h"
#include "daemon/daemon_context.h"
#include "ipc/ipc_server.h"
#include "ipc/request_reader.h"
#include "tests/support/client_load.h"

namespace {

constexpr int kClients = 32;
const std::string kInvalid = "{\"ok\":false,\"error\":10003}\n";
const std::string kBusy = "{\"ok\":false,\"error\":10000}\n";
const std::string kUnknown = "{\"ok\":false,\"error\":17002}\n";

const std::string kEmptyList =
    R"({"ok":true,"result":{"runs":[],"page":1,"pageSize":50,"total":0}})"
    "\n";
const std::string kListRequest = requestText("history.list", R"({"unit":1})");

using IpcTest = RunningDaemonTest;

// The server in this process, so that the test can hold the databases as sweeps and runs do.
class IpcServerTest : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    server_ = std::thread([] { ipcServerThread(nullptr); });
    ASSERT_TRUE(waitUntil([] { return SocketClient().connected(); }));
    ASSERT_TRUE(areAtWork(0));
  }
  void TearDown() override {
    daemonContext()->stopRequested = 1;
    server_.join();
    EXPECT_TRUE(waitUntil([] { return threads() == kAlone; }));
    daemonContext()->stopRequested = 0;
    StoreTest::TearDown();
  }
  static int threads() { return statusOf(getpid(), "Threads:"); }
  static bool areAtWork(int workers) {
    return waitUntil([=] { return threads() == kAlone + 1 + workers; });
  }

 private:
  inline static const int kAlone = threads() + kSanitizerThreads;  // before the first test
  std::thread server_;
};

std::string nested(size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

}  // namespace

TEST_F(IpcTest, answersEveryRequestLineWithOneAnswerLine) {
  const auto named = [](const std::string& method) { return "{\"method\":\"" + method + "\"}\n"; };
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {kEmptyList,
       {kListRequest + "\n", kListRequest, " \t" + kListRequest + " \r\n",
        "{\"METHOD\":\"history.list\",\"PARAMS\":{\"UNIT\":1}}\n",
        kListRequest + "\n" + named("what follows is not read"),
        kListRequest + std::string(1, '\0') + "junk\xFF\n",
        std::string(kMaxRequestBytes - kListRequest.size(), ' ') + kListRequest + "\n"}},
      {kUnknown,
       {nested(1000) + "\n", named("é\\n\\u009b31m€"), named(std::string(127, 'm') + "éa"),
        "{\"method\":\"HISTORY.LIST\",\"params\":{\"unit\":1}}\n", "{\"method\":7}\n",
        "[{\"method\":\"history.list\"}]\n", "{}\n"}},
      {kInvalid,
       {nested(1001) + "\n", kListRequest.substr(0, 20), kListRequest + kListRequest + "\n",
        "hello\n", "\n", named("history.list"), "{\"method\":\"history.list\",\"params\":[1]}\n",
        // no UTF-8: never a byte of it, a surrogate, an overlong character
        named("\xFF\xFE"), named("\xED\xA0\x80"), named("\xC0\xAF")}},
      {"", {"", std::string(kMaxRequestBytes + 1, ' ')}}};

  for (const auto& [answer, requests] : cases) {
    for (const std::string& request : requests) {
      EXPECT_EQ(exchange(request), answer) << request.substr(0, 99);
    }
  }

  EXPECT_EQ(logged("unknown RPC method: HISTORY.LIST"), 1);
  EXPECT_EQ(logged("unknown RPC method: (null)"), 4);
  EXPECT_EQ(logged(R"(unknown RPC method: é\x0a\x9b31m€)"), 1);
  EXPECT_EQ(logged(std::string(127, 'm')) - logged("mé"), 1);
  EXPECT_EQ(logged("(ERROR)"), 0);
}

TEST_F(IpcTest, checksParametersBeforeAnyWork) {
  for (const auto& [request, answer] : rowsOf(R"(history.list {"unit":"1"} -> false,"error":10003
history.list {"unit":0} -> false,"error":10003
history.list {"unit":-1e300} -> false,"error":10003
history.list {"unit":1.9,"page":"2","pageSize":null} -> \
true,"result":{"runs":[],"page":1,"pageSize":50,"total":0}
history.list {"unit":1,"page":1e300,"pageSize":-1e300} -> \
true,"result":{"runs":[],"page":2147483647,"pageSize":-2147483648,"total":0}
history.detail {"unit":1,"runId":"1"} -> false,"error":10003
history.detail {"unit":1,"runId":4294967297} -> false,"error":10023
history.detail {"unit":1,"runId":1e300} -> false,"error":10023
sensors.all {"unit":3} -> true,"result":{"ports":[]})")) {
    const size_t blank = request.find(' ');
    EXPECT_EQ(rpc(request.substr(0, blank), request.substr(blank)), R"({"ok":)" + answer + "}")
        << request;
  }
}

TEST_F(IpcTest, answersManyClientsAndKeepsNothingOfPastRequests) {
  const int requestsWanted = environmentNumber("QUORIN_LEAK_REQUESTS", 5000);
  const std::atomic<bool> ending{false};

  std::deque<LoadClient> clients;
  for (int i = 0; i < kClients; ++i) {
    clients.emplace_back(i, i, &ending);
  }

  const auto load = [&](int each) {
    std::vector<std::future<int>> answered;
    for (LoadClient& client : clients) {
      answered.push_back(std::async(std::launch::async, &LoadClient::work, &client, each));
    }
    for (std::future<int>& count : answered) {
      EXPECT_EQ(count.get(), each);
    }
  };
  const auto isQuiet = [&](int descriptors) {
    return waitUntil([&] {
      return daemon_.openDescriptors() <= descriptors && daemon_.threads() == kThreadsAtRest;
    });
  };

  load((2000 + requestsWanted / 2) / kClients);  // also fills the databases' caches
  ASSERT_TRUE(isQuiet(20)) << daemon_.openDescriptors() << " " << daemon_.threads();
  const int descriptors = daemon_.openDescriptors();
  // Without the mapped file of the simulated switch, whose journal fills up.
  const auto residentKb = [&] { return statusOf(daemon_.pid(), "RssAnon:"); };
  const int kb = residentKb();
  load(requestsWanted / kClients);
  EXPECT_TRUE(isQuiet(descriptors)) << daemon_.openDescriptors() << " " << daemon_.threads();
  std::cout << "memory: " << kb << " kB, then " << residentKb() << " kB" << std::endl;
  // Sanitizers keep freed memory aside, and find by themselves what leaks.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(residentKb() - kb, 4000);
#endif
}

TEST_F(IpcTest, whatClientsLeaveUnfinishedIsBounded) {
  constexpr size_t kRequests = 32;  // of the largest size
  std::deque<SocketClient> clients(kRequests + 8);
  for (SocketClient& client : clients) {
    client.sendBytes(largestRequest().substr(0, kMaxRequestBytes - 100));
  }
  size_t refused = 0;
  ASSERT_TRUE(waitUntil([&] {
    const auto hasEnded = [](const SocketClient& client) { return client.hasEnded(); };
    refused = static_cast<size_t>(std::count_if(clients.begin(), clients.end(), hasEnded));
    return refused >= clients.size() - kRequests;
  })) << refused;
  EXPECT_LT(refused, kRequests);
  EXPECT_TRUE(waitUntil([] { return exchange(largestRequest()) == kInvalid; }))
      << "those who are silent keep the memory";
  clients.clear();
  EXPECT_TRUE(waitUntil([] { return exchange(kListRequest + "\n") == kEmptyList; }));
}

TEST_F(IpcTest, whatClientsDoNotReadIsBoundedAndDroppedInTheEnd) {
  query(R"sql(
      WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<40)
      INSERT INTO poe_history (unit, trigger_source, schedule_name, execution_mode, started_at,
          status)
        SELECT 1, 'manual', hex(zeroblob(500000)), 'sequential', strftime('%s'), 'completed'
        FROM n)sql");
  const auto list = [](int runs) {
    return requestText("history.list", fill(R"({"unit":1,"pageSize":%})", runs)) + "\n";
  };

  EXPECT_EQ(exchange(list(40)), "") << "40 MB";
  EXPECT_EQ(exchange(list(10)).size() / 1000000, 10U);

  SocketClient silent;
  silent.sendBytes(list(10));
  ASSERT_TRUE(waitUntil([&] { return silent.isAnswered(); }));
  EXPECT_TRUE(waitUntil([&] { return daemon_.threads() == kThreadsAtRest; })) << daemon_.threads();
  EXPECT_LT(silent.readAll().size(), 1000000U);
}

TEST_F(IpcServerTest, onlyTheOneThatWasSilentLongestMakesRoomAndAllOthersAreAnswered) {
  auto history = std::make_unique<HistoryAccess>();
  std::deque<SocketClient> atWork(254), others;  // two places are left
  for (SocketClient& client : atWork) {
    client.sendBytes(kListRequest + "\n");
  }
  for (int i = 0; i < 100; ++i) {
    others.emplace_back().sendBytes("{}\n");
  }
  for (SocketClient& client : others) {
    EXPECT_EQ(client.readAll(), kUnknown);
  }

  ASSERT_TRUE(areAtWork(254));
  const int64_t beginMs = monotonicMs();
  SocketClient spoke;
  const SocketClient silent;
  ASSERT_TRUE(areAtWork(256));
  const int64_t acceptedMs = monotonicMs();
  ASSERT_TRUE(waitUntil([&] { return monotonicMs() > acceptedMs; }));
  spoke.sendBytes(kListRequest);
  ASSERT_TRUE(waitUntil([&] { return spoke.isHeard(); }));
  EXPECT_EQ(exchange("{}\n"), kUnknown);
  EXPECT_TRUE(silent.hasEnded());
  EXPECT_GE(monotonicMs() - beginMs, 500);
  EXPECT_TRUE(waitForLog(": 1 silent connection(s) made room, "));

  history.reset();
  spoke.sendBytes("\n");
  EXPECT_EQ(spoke.readAll(), kEmptyList);
  for (SocketClient& client : atWork) {
    EXPECT_EQ(client.readAll(), kEmptyList);
  }
}

TEST_F(IpcServerTest, inASweepOnlySoManyRequestsWaitAndReadersGoWithTheirClients) {
  constexpr int kRequests = 200, kMayWait = 192;
  const std::string list = requestText("schedule.list", R"({"unit":1})") + "\n";
  const std::string blanks(3000, ' ');  // for the gate
  auto sweep = std::make_unique<ScheduleAccess>();
  {
    SocketClient reader;
    reader.sendBytes(list);
    ASSERT_TRUE(waitUntil([&] { return reader.isHeard(); }));
  }
  EXPECT_TRUE(areAtWork(0)) << "the first in line does not wait for a client that is gone";

  SocketClient halfClosed;
  halfClosed.sendBytes(list.substr(0, list.size() - 1));
  halfClosed.endOfRequest();
  ASSERT_TRUE(waitUntil([&] { return halfClosed.isHeard(); }));
  std::deque<SocketClient> readers(kRequests / 2 - 1), writers(kRequests / 2);
  for (size_t i = 0; i < writers.size(); ++i) {
    const std::string members = fill(R"("name":"%","restartTime":"never","ifNums":[1])", i);
    writers[i].sendBytes(blanks + requestText("schedule.create", scheduleParams(members)) + "\n");
  }
  for (SocketClient& reader : readers) {
    reader.sendBytes(list);
  }
  const auto waitingOf = [](const std::deque<SocketClient>& clients) {
    return static_cast<int>(std::count_if(clients.begin(), clients.end(),
                                          [](const auto& client) { return !client.isAnswered(); }));
  };
  ASSERT_TRUE(waitUntil([&] { return waitingOf(readers) + waitingOf(writers) == kMayWait - 1; }));
  EXPECT_EQ(exchange(list), kBusy);
  EXPECT_EQ(exchange(blanks + kListRequest + "\n"), kBusy) << "at the gate";
  EXPECT_EQ(exchange(kListRequest + "\n"), kEmptyList);

  const int created = waitingOf(writers);
  readers.clear();
  writers.clear();
  EXPECT_TRUE(areAtWork(1 + created));
  sweep.reset();
  EXPECT_EQ(halfClosed.readAll().rfind(R"({"ok":true,"result":{"schedules":[)", 0), 0U);
  EXPECT_TRUE(waitUntil([&] { return countOf(exchange(list), "\"name\"") == created; }));
}
