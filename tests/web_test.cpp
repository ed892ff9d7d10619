// The page's server: who is let in, what comes of odd requests, and what the daemon's bad days look
// like through it. The page itself is tried in a browser, by scripts/test-web.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/unique_fd.h"
#include "cli/json.h"
#include "tests/support/test_lab.h"

namespace {

constexpr time_t kTuesday = 1772546400;  // 2026-03-03 14:00 UTC
constexpr int kAnswerMs = 60000;
constexpr auto kPromptly = std::chrono::seconds(4);  // less than what a silent connection may take
constexpr int kMaxDripSec = 30;

// A connection that sends what it is told.
class Caller {
 public:
  explicit Caller(const std::string& port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(std::stoi(port)));
    inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
    EXPECT_EQ(connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }
  void say(const std::string& bytes) const {
    for (size_t sent = 0; sent < bytes.size();) {
      const ssize_t n = send(socket_.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) {
        return;  // the other end has heard enough
      }
      sent += static_cast<size_t>(n);
    }
  }
  // Whether the other end has closed it; what it said is thrown away.
  bool isClosed() const {
    char chunk[4096];
    const ssize_t n = recv(socket_.get(), chunk, sizeof chunk, MSG_DONTWAIT);
    return n == 0 || (n < 0 && errno != EAGAIN);
  }
  void end() const { shutdown(socket_.get(), SHUT_WR); }
  // All until the end, or until the text is in it.
  std::string hear(const std::string& text = "\r\n\r\n\r\n") {
    char chunk[4096];
    pollfd ready{socket_.get(), POLLIN, 0};
    while (heard_.find(text) == std::string::npos && poll(&ready, 1, kAnswerMs) == 1) {
      const ssize_t n = recv(socket_.get(), chunk, sizeof chunk, 0);
      if (n <= 0) {
        break;
      }
      heard_.append(chunk, static_cast<size_t>(n));
    }
    return heard_;
  }

 private:
  UniqueFd socket_;
  std::string heard_;
};

// `switchsim web`, of the lab that the environment names.
class WebProcess {
 public:
  explicit WebProcess(const std::string& program = programPath("switchsim")) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    pid_ = fork();
    if (pid_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      execl(program.c_str(), program.c_str(), "web", "--port", "0", nullptr);
      _exit(127);
    }
    close(ends[1]);
    std::string line;
    for (char each = 0; read(ends[0], &each, 1) == 1 && each != '\n';) {
      line += each;
    }
    close(ends[0]);
    host_ = line.substr(line.find("127"), line.find("/?") - line.find("127"));
    token_ = line.substr(line.find('=') + 1);
  }
  ~WebProcess() { EXPECT_EQ(stop(), 0); }
  WebProcess(const WebProcess&) = delete;
  WebProcess& operator=(const WebProcess&) = delete;

  // As ^C does; its exit status.
  int stop() {
    int status = 0;
    if (pid_ > 0) {
      kill(pid_, SIGINT);
      waitpid(std::exchange(pid_, -1), &status, 0);
    }
    return status;
  }
  std::string port() const { return host_.substr(host_.find(':') + 1); }
  std::string cookie() const { return "Cookie: bench" + port() + "=" + token_; }
  // Where it has them, $HOST, $PORT, $TOKEN and $COOKIE are its own.
  std::string filled(const std::string& text) const {
    return replaced(
        replaced(replaced(replaced(text, "$HOST", host_), "$PORT", port()), "$COOKIE", cookie()),
        "$TOKEN", token_);
  }
  Caller ask(const std::string& first, const std::string& headers = "",
             const std::string& body = "") const {
    Caller caller(port());
    const std::string length = body.empty() ? "" : fill("Content-Length: %\r\n", body.size());
    caller.say(filled(first + " HTTP/1.1\r\nHost: $HOST\r\n$COOKIE\r\n" + headers + length +
                      "\r\n" + body));
    return caller;
  }
  // Status and text.
  std::string told(const std::string& first, const std::string& body = "") const {
    const std::string answer = ask(first, "", body).hear();
    return answer.substr(std::min(answer.size(), size_t{9}), 3) + " " +
           answer.substr(std::min(answer.size(), answer.find("\r\n\r\n") + 4));
  }

 private:
  pid_t pid_ = -1;
  std::string host_;
  std::string token_;
};

}  // namespace

class WebTest : public ::testing::Test {
 protected:
  TestLab lab_{"CET-1CEST,M3.5.0,M10.5.0/3", kTuesday, 1};
  WebProcess web_;
};

TEST_F(WebTest, LetsNobodyInWithoutItsTokenFromItsOwnPlace) {
  const std::string own = "Host: $HOST\r\n", refusal = "\r\n\r\nopen the address that";
  const std::tuple<const char*, std::string, const char*> rows[] = {
      {"GET /switch", own + "$COOKIE", "200 OK"},
      {"GET /switch", "Host: localhost:$PORT\r\n$COOKIE", "200 OK"},
      {"GET /switch", own + "Cookie: a=b; bench$PORT=$TOKEN; c=d", "200 OK"},
      {"GET /switch", own + "$COOKIE\r\nOrigin: http://$HOST", "200 OK"},
      {"GET /?token=$TOKEN", own, "200 OK"},
      {"GET /", own, "403"},
      {"GET /?token=$TOKEN0", own, "403"},
      {"GET /?token=", own, "403"},
      {"GET /switch?token=$TOKEN", own, "403"},
      {"GET /nowhere", own, "403"},
      {"DELETE /", own, "403"},
      {"GET /switch", own + "Cookie: bench$PORT=0$TOKEN", "403"},
      {"GET /switch", own + "Cookie: bench$PORT=", "403"},
      {"GET /switch", own + "Cookie: bench$PORT=0123456789abcdef0123456789abcdef", "403"},
      {"GET /switch", "$COOKIE", "403"},
      {"GET /switch", "Host: elsewhere.example:$PORT\r\n$COOKIE", "403"},
      {"GET /switch", "Host: 127.0.0.1\r\n$COOKIE", "403"},
      {"GET /switch", own + "$COOKIE\r\nOrigin: http://elsewhere.example", "403"},
      {"GET /switch", own + "$COOKIE\r\nOrigin: http://127.0.0.1:1", "403"},
      {"GET /switch", own + "$COOKIE\r\nOrigin: null", "403"}};
  for (const auto& [first, headers, want] : rows) {
    Caller caller(web_.port());
    caller.say(web_.filled(std::string(first) + " HTTP/1.1\r\n" + headers + "\r\n\r\n"));
    const std::string answer = caller.hear();
    EXPECT_EQ(answer.rfind(std::string("HTTP/1.1 ") + want, 0), 0U) << headers << "\n" << answer;
    EXPECT_EQ(answer.find(refusal) != std::string::npos, want == std::string("403")) << answer;
  }
}

TEST_F(WebTest, HandsTheTokenOverInACookieAndThePageWithoutOutsideParts) {
  const std::string page = Caller(web_.ask("GET /?token=$TOKEN")).hear();
  for (const char* part :
       {"Set-Cookie: bench$PORT=$TOKEN; Path=/; HttpOnly; SameSite=Strict\r\n",
        "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; ",
        "frame-ancestors 'none'", "X-Content-Type-Options: nosniff\r\n",
        "Cache-Control: no-store\r\n"}) {
    EXPECT_NE(page.find(web_.filled(part)), std::string::npos) << part << "\n" << page;
  }
  EXPECT_EQ(countOf(page, "http://") + countOf(page, "https://"), 0) << page;
  EXPECT_EQ(web_.ask("GET /page.js").hear().find("Set-Cookie"), std::string::npos);
}

TEST_F(WebTest, AnswersOddRequestsWithAStatusAndWords) {
  const std::string big(1 << 20, ' '), deep(900, '['), deepest(1 << 20, '[');
  const std::tuple<const char*, std::string, const char*> rows[] = {
      {"GET /nowhere", "", "404 there is no /nowhere"},
      {"GET /../switch", "", "404 there is no /../switch"},
      {"DELETE /rpc", "", "405 /rpc has no DELETE"},
      {"HEAD /", "", "405"},
      {"GET /lab", "", "405 /lab has no GET"},
      {"POST /rpc", "", "411 a request must tell its length"},
      {"POST /rpc", big + " ", "413 a request has 1 MiB at most"},
      {"POST /rpc", big.substr(4), R"(200 {"ok":false,"error":10003})"},
      {"POST /rpc", "\n", R"(200 {"ok":false,"error":10003})"},
      {"POST /rpc", deep, R"(200 {"ok":false,"error":10003})"},
      {"POST /rpc", deepest, R"(200 {"ok":false,"error":10003})"},
      {"POST /switch", deep, "400 a request is one JSON object"},
      {"POST /switch", deepest, "400 a request is one JSON object"},
      {"POST /lab", deep, "400 a request is one JSON object"},
      {"POST /lab", deepest, "400 a request is one JSON object"},
      {"POST /nowhere", big, "404 there is no /nowhere"},
      {"POST /switch", "[1]", "400 a request is one JSON object"},
      {"POST /switch", R"({"words":["set",5,"on"]})", "400 \"words\" are texts"},
      {"POST /switch", R"({"words":["lab","down"]})", "400 \"words\" are those of"},
      {"POST /switch", R"({"words":["device","1/0/99","none"]})", "409 no port is called"},
      {"POST /switch", R"({"words":["device","1","cow"]})", "400 \"cow\" is no device"},
      {"POST /switch", R"({"words":["set","1/0/5","off"]})", R"(200 {"ok":true})"},
      {"POST /lab", "{", "400 a request is one JSON object"},
      {"POST /lab", R"({"speed":1001})", "400 it takes a time"},
      {"POST /lab", R"({"at":"soon"})", "400 no such time"},
      {"POST /lab", R"({"at":"13:00:00 yesterday"})", "400 no such time"},
      {"POST /lab", R"({"jump":"12:00"})", R"(200 {"time":"2026-03-04T12:00:00+01:00")"},
      {"POST /lab", R"({"at":"2026-03-04 11:00"})", "400 in the lab it is"},
      {"GET /why?port=1;reboot", "", "409 no port is called"},
      {"GET /why", "", "409 no port is called"},
      {"GET /why?port=28", "", "404 no PoE port"}};
  for (const auto& [first, body, want] : rows) {
    const std::string told = web_.told(first, body);
    EXPECT_EQ(told.rfind(want, 0), 0U) << first << "\n" << body.substr(0, 99) << "\n" << told;
  }
  EXPECT_EQ(web_.ask("POST /lab", "Transfer-Encoding: chunked\r\n").hear().find("HTTP/1.1 411"),
            0U);
}

TEST_F(WebTest, PassesOnWhatTheDaemonAndTheClientSay) {
  const std::string request =
      requestText("schedule.create", scheduleParams(R"("name":"a\u2028<")"));
  EXPECT_EQ(countOf(web_.told("POST /rpc", request), R"("ok":true)"), 1);
  const std::string list = requestText("schedule.list", R"({"unit":1})");
  EXPECT_EQ(web_.told("POST /rpc", list),
            "200 " + lab_.daemon().exchange("schedule.list", list) + "\n");
  EXPECT_EQ(web_.told("GET /week"), "200 " + lab_.client("week --json"));
  EXPECT_EQ(web_.told("GET /why?port=1%2F0%2F5"), "200 " + lab_.client("why 5 --json"));
  EXPECT_EQ(web_.told("GET /switch"), "200 " + lab_.command("show --json"));
}

TEST_F(WebTest, SaysWhereTheDaemonHangsOrIsGoneAndGoesOnWhenItIsBack) {
  const std::string list = requestText("schedule.list", R"({"unit":1})");
  const pid_t daemon =
      jsonInt32Member(jsonParse(lab_.command("lab show --json").c_str()).get(), "daemonPid", -1);
  ASSERT_GT(daemon, 1);
  kill(daemon, SIGSTOP);
  auto why = std::async(std::launch::async, [this] { return web_.told("GET /why?port=5"); });
  EXPECT_EQ(web_.told("POST /rpc", list).rfind("504 ", 0), 0U);
  EXPECT_EQ(why.get(), "504 no answer within 5 s: the daemon is busy or hangs\n");
  kill(daemon, SIGCONT);
  lab_.killDaemon();
  EXPECT_EQ(web_.told("POST /rpc", list).rfind("502 no daemon answers at", 0), 0U);
  EXPECT_EQ(web_.told("GET /week").rfind("502 no daemon answers at", 0), 0U);
  EXPECT_EQ(web_.told("POST /lab", R"({"at":"+1h"})").rfind("409 the lab's daemon has ended", 0),
            0U);
  lab_.startDaemon(kTuesday);
  EXPECT_EQ(web_.told("POST /rpc", list), "200 {\"ok\":true,\"result\":{\"schedules\":[]}}\n");
}

TEST_F(WebTest, WithoutTheClientSaysWhatIsMissing) {
  const std::string alone = fill("/tmp/web_test.%", getpid());
  fs::create_directory(alone);
  fs::copy_file(programPath("switchsim"), alone + "/switchsim");
  {
    const WebProcess web(alone + "/switchsim");
    EXPECT_EQ(web.told("GET /week").rfind("501 only quorin_poectl can tell this", 0), 0U);
    EXPECT_EQ(web.told("GET /switch").substr(0, 3), "200");
  }
  fs::remove_all(alone);
}

TEST_F(WebTest, EventsGoOnWhereAPageLeftOff) {
  Caller first = web_.ask("GET /events");
  first.hear("id: 0\ndata: {}\n\n");
  for (const char* mode : {"off", "on", "off"}) {
    lab_.command(std::string("set 1/0/5 ") + mode);
  }
  const std::string third = first.hear("\"seq\":3");
  EXPECT_EQ(countOf(third, "id: 2\ndata: {\"seq\":2"), 1) << third;
  EXPECT_LT(third.find("id: 1\ndata: {\"seq\":1"), third.find("id: 2\ndata: {\"seq\":2"));
  EXPECT_NE(third.find("event: clock\ndata: {\"time\":\"2026-03-03T15:00:00+01:00\","
                       "\"zone\":\"CET-1CEST,M3.5.0,M10.5.0/3\",\"speed\":0,\"running\":true"),
            std::string::npos);
  const std::string missed = web_.ask("GET /events", "Last-Event-ID: 1\r\n").hear("\"seq\":3");
  EXPECT_EQ(countOf(missed, "\"seq\":1"), 0);
  EXPECT_EQ(countOf(missed, "\"seq\":2"), 1);
  EXPECT_EQ(web_.ask("GET /events", "Last-Event-ID: x\r\n").hear().find("HTTP/1.1 400"), 0U);

  std::deque<Caller> others;
  for (int i = 0; i < 9; ++i) {  // more than have a place: the oldest ones give up theirs
    others.push_back(web_.ask("GET /events"));
    EXPECT_EQ(others.back().hear("event: clock").find("HTTP/1.1 200"), 0U) << i;
  }
  first.hear();  // returns when it is closed
  EXPECT_TRUE(others[4].hear().size() > 0 && !others[5].isClosed());
  EXPECT_EQ(web_.told("GET /switch").substr(0, 3), "200");
  EXPECT_EQ(web_.stop(), 0);  // though some still listen
}

TEST_F(WebTest, SlowConnectionsCostTheOthersNothingAndAreClosed) {
  std::deque<Caller> slow;
  for (int i = 0; i < 7; ++i) {
    slow.emplace_back(web_.port());
    slow.back().say(i % 2 == 0 ? "GET / HT"
                               : web_.filled("POST /rpc HTTP/1.1\r\nHost: $HOST\r\n$COOKIE\r\n"
                                             "Content-Length: 9\r\n\r\n{"));
  }
  for (int i = 0; i < 20; ++i) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(web_.told("GET /switch").substr(0, 3), "200");
    EXPECT_LT(std::chrono::steady_clock::now() - start, kPromptly);
  }
  for (Caller& each : slow) {
    EXPECT_EQ(each.hear().find("HTTP/1.1 2"), std::string::npos);
  }
}

TEST_F(WebTest, AConnectionThatDripsIsClosed) {
  const std::string post = "POST /rpc HTTP/1.1\r\nHost: $HOST\r\n", head = post + "$COOKIE\r\n";
  std::deque<Caller> dripping;
  for (const std::string& start :
       {std::string("GET / HTTP/1.1\r\nHost: "), post + "Content-Length: 99\r\n\r\n",
        head + "Content-Length: 99\r\n\r\n", head + "Content-Length: 9999999\r\n\r\n"}) {
    dripping.emplace_back(web_.port());
    dripping.back().say(web_.filled(start));
  }
  for (int sec = 0; sec < kMaxDripSec && !dripping.empty(); ++sec) {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    for (auto each = dripping.begin(); each != dripping.end();) {
      each->say("x");
      each = each->isClosed() ? dripping.erase(each) : each + 1;
    }
  }
  EXPECT_EQ(dripping.size(), 0U);
}

TEST_F(WebTest, OthersMayMoveTheClockOfALabOfItsOwn) {
  const std::string named = getenv("QUORIN_POED_LAB");
  unsetenv("QUORIN_POED_LAB");
  {
    const WebProcess web;
    const JsonPtr shown = jsonParse(web.told("POST /lab", R"({"speed":0})").substr(4).c_str());
    const std::string folder = textIn(shown.get(), "folder");
    EXPECT_NE(folder, named);
    lab_.command("lab at +1h --dir " + folder);
  }
  setenv("QUORIN_POED_LAB", named.c_str(), 1);
}

TEST_F(WebTest, FuzzedRequestsGetNoAnswerWithoutTheTokenAndEndNothing) {
  std::mt19937 random(environmentSeed("WEB_FUZZ_SEED"));
  const auto of = [&random](const std::vector<std::string>& choices) {
    return choices[static_cast<size_t>(pick(&random, 0, static_cast<int>(choices.size()) - 1))];
  };
  const auto some = [&](int most, const std::vector<std::string>& choices) {
    std::string text;
    for (int n = pick(&random, 0, most); n > 0; --n) {
      text += pick(&random, 0, 19) > 0 ? of(choices) : std::string(1U << pick(&random, 0, 14), 'a');
    }
    return text;
  };
  const std::vector<std::string> signs{"%2e", "..",   "/",      "?",    "port=", "%",
                                       "=",   "\xff", "switch", "why",  ":",     "&",
                                       "#",   "%00",  " ",      "\r\n", "1",     "token="};
  const std::vector<std::string> heads{"Host: $HOST\r\n",
                                       "Origin: ",
                                       "Cookie: a=b;",
                                       "Last-Event-ID: ",
                                       "9",
                                       "-",
                                       "Content-Length: 7",
                                       "bench$PORT=",
                                       "\r\n",
                                       ":",
                                       "Range: bytes=0",
                                       "Upgrade: websocket\r\n",
                                       "Expect: 100-",
                                       "\xff",
                                       "Transfer-Encoding: chunked\r\n"};
  const std::vector<std::string> parts{
      "{",       "}",       "[",      "]",         "\"",  ",",         ":",     "words",
      "speed",   "\"at\":", "device", "\"fault\"", "+1h", "\"set\"",   "1e999", "null",
      "\\u0000", "method",  "\xc3",   "1/0/5",     "--x", "schedule.", "0",     "\n"};
  std::map<std::string, int> answers;
  for (int i = environmentNumber("WEB_FUZZ", 300); i > 0; --i) {
    const bool isKnown = pick(&random, 0, 3) > 0;
    const std::string body = some(40, parts);
    const std::string length = fill("Content-Length: %\r\n", body.size());
    const std::string path = of({"/rpc", "/rpc", "/switch", "/switch", "/lab", "/lab",
                                 "/why?port=1", "/" + some(9, signs)});
    Caller caller(web_.port());
    caller.say(web_.filled(of({"POST", "POST", "POST", "POST", "GET", some(2, signs)}) + " " +
                           path + " HTTP/1." + of({"1", "1", "1", "1", "1", "1", "0", "9"}) +
                           "\r\n" + (pick(&random, 0, 9) > 0 ? "Host: $HOST\r\n" : "") +
                           (isKnown ? "$COOKIE\r\n" : "") + of({"", "", some(8, heads) + "\r\n"}) +
                           of({length, length, length, ""}) + "\r\n" + body));
    caller.end();
    const std::string answer = caller.hear("\r\n\r\n");
    const bool isRefused = answer.find("HTTP/1.1 403") == 0;  // else it is the library's own
    EXPECT_TRUE(isKnown || isRefused || answer.find("Content-Security") == std::string::npos)
        << answer;
    ++answers[answer.rfind("HTTP/1.", 0) == 0 ? answer.substr(0, 12) : "answers of the library"];
  }
  for (const auto& [status, count] : answers) {
    std::cout << count << " x " << status << "\n";
  }
  EXPECT_EQ(web_.told("GET /switch").substr(0, 3), "200");
}
