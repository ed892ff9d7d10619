#include "ipc/request_reader.h"
#include "tests/support/client_load.h"

namespace {

constexpr int kClients = 32;
const std::string kInvalid = "{\"ok\":false,\"error\":10003}\n";
const std::string kUnknown = "{\"ok\":false,\"error\":17002}\n";

const std::string kEmptyList =
    R"({"ok":true,"result":{"runs":[],"page":1,"pageSize":50,"total":0}})"
    "\n";
const std::string kListRequest = requestText("history.list", R"({"unit":1})");

using IpcTest = RunningDaemonTest;

std::string nested(size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

}  // namespace

TEST_F(IpcTest, answersEveryRequestLineWithOneAnswerLine) {
  const std::tuple<const char*, std::string, bool, std::string> cases[] = {
      // whether it is half-closed then
      {"a request", kListRequest + "\n", false, kEmptyList},
      {"no newline but the end of the stream", kListRequest, true, kEmptyList},
      {"keys in capitals", "{\"METHOD\":\"history.list\",\"PARAMS\":{\"UNIT\":1}}\n", false,
       kEmptyList},
      {"what follows the newline", kListRequest + "\n{\"method\":\"nope\"}\n", false, kEmptyList},
      {"blanks around", " \t" + kListRequest + " \r\n", false, kEmptyList},
      {"a zero byte ends the text", kListRequest + std::string(1, '\0') + "junk\xFF\n", false,
       kEmptyList},
      {"the largest request",
       std::string(kMaxRequestBytes - kListRequest.size(), ' ') + kListRequest + "\n", false,
       kEmptyList},
      {"the deepest request", nested(1000) + "\n", false, kUnknown},
      {"bytes that are no UTF-8", "{\"method\":\"\xFF\xFE\"}\n", false, kInvalid},
      {"a surrogate in UTF-8", "{\"method\":\"\xED\xA0\x80\"}\n", false, kInvalid},
      {"an overlong character", "{\"method\":\"\xC0\xAF\"}\n", false, kInvalid},
      {"control characters", "{\"method\":\"é\\n\\u009b31m€\"}\n", false, kUnknown},
      {"an endless method", "{\"method\":\"" + std::string(127, 'm') + "éa\"}\n", false, kUnknown},
      {"two objects on one line", kListRequest + kListRequest + "\n", false, kInvalid},
      {"no JSON", "hello\n", false, kInvalid},
      {"an empty line", "\n", false, kInvalid},
      {"half a request", kListRequest.substr(0, 20), true, kInvalid},
      {"nesting without end", nested(1001) + "\n", false, kInvalid},
      {"no params", "{\"method\":\"history.list\"}\n", false, kInvalid},
      {"params of another type", "{\"method\":\"history.list\",\"params\":[1]}\n", false, kInvalid},
      {"a method in capitals", "{\"method\":\"HISTORY.LIST\",\"params\":{\"unit\":1}}\n", false,
       kUnknown},
      {"a method that is no string", "{\"method\":7}\n", false, kUnknown},
      {"no object", "[{\"method\":\"history.list\"}]\n", false, kUnknown},
      {"no method", "{}\n", false, kUnknown},
      {"nothing", "", true, ""},
      {"a request without end", std::string(kMaxRequestBytes + 1, ' '), false, ""},
  };

  for (const auto& [what, bytes, halfClose, answer] : cases) {
    EXPECT_EQ(exchange(bytes, halfClose), answer) << what << "\n";
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

TEST_F(IpcTest, theConnectionThatWasSilentLongestMakesRoom) {
  constexpr size_t kConnections = 256;
  std::deque<SocketClient> clients(kConnections);
  ASSERT_TRUE(waitUntil([&] { return daemon_.threads() == kThreadsAtRest + int(kConnections); }));
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
    const auto hasEnded = [](const SocketClient& client) { return client.hasEnded(); };
    refused = static_cast<size_t>(std::count_if(clients.begin(), clients.end(), hasEnded));
    return refused >= clients.size() - kRequests;
  })) << refused;
  EXPECT_LT(refused, kRequests);
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
