#include "tests/support/fixtures.h"

#include <cjson/cJSON.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/database.h"
#include "config/schedule_store.h"
#include "daemon/daemon_context.h"
#include "history/history_store.h"
#include "log/log.h"
#include "scheduler/scheduler_thread.h"
#include "switchos/session.h"
#include "tests/support/in_process.h"

namespace {

constexpr std::chrono::seconds kDeadline(90);

void closeDatabase(Mutex DaemonContext::*mutex,
                   sqlite3* DaemonContext::*handle) NO_THREAD_SAFETY_ANALYSIS {
  const MutexLock lock(daemonContext()->*mutex);
  sqlite3_close(std::exchange(daemonContext()->*handle, nullptr));
}

std::string actsOf(const std::vector<switchsim::JournalEntry>& entries) {
  std::string text;
  for (const switchsim::JournalEntry& entry : entries) {
    const bool isReset = entry.op == operationName(switchsim::Operation::portReset);
    text += fill("%%%%", text.empty() ? "" : " ", entry.ifNum,
                 isReset ? 'r' : "-+"[entry.value != 0 ? 1 : 0], entry.result != 0 ? "!" : "");
  }
  return text;
}

}  // namespace

bool waitUntil(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + kDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::string readFile(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

int statusOf(pid_t pid, const std::string& key) {
  const std::string status = readFile(fill("/proc/%/status", pid));
  return atoi(status.c_str() + status.find(key) + key.size());
}

void writeFile(const std::string& path, const std::string& content) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path) << content;
}

int countOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (size_t at = 0; (at = text.find(part, at)) < text.size();
       at += std::max(part.size(), size_t{1})) {
    ++count;
  }
  return count;
}

std::string replaced(std::string text, const std::string& part, const std::string& with) {
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += with.size()) {
    text.replace(at, part.size(), with);
  }
  return text;
}

std::vector<std::pair<std::string, std::string>> rowsOf(const std::string& table) {
  std::istringstream lines(replaced(replaced(table, "\\\n", ""), "; ", "\n"));
  std::vector<std::pair<std::string, std::string>> rows;
  for (std::string line; std::getline(lines, line);) {
    const size_t arrow = std::min(line.find(" ->"), line.size());
    rows.emplace_back(line.substr(0, arrow), line.substr(std::min(arrow + 4, line.size())));
  }
  return rows;
}

std::string programPath(const std::string& name) {
  return fs::read_symlink("/proc/self/exe").replace_filename(name);
}

std::string programCommand(const std::string& name) {
  return "$SWITCHSIM_EMULATOR " + programPath(name);
}

int runCommand(const std::string& command, std::string* output) {
  const std::string path = fs::path(kLogFilePath).replace_filename("output");
  const int status = system(("{ " + command + "; } >" + path).c_str());
  *output = readFile(path);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void expectCommands(const std::string& program, const std::string& table) {
  std::string output;
  for (const auto& [arguments, want] : rowsOf(table)) {
    const int status =
        runCommand(fill("{ % %; } 2>&1", programCommand(program), arguments), &output);
    EXPECT_EQ(status, std::stoi(want)) << arguments << "\n" << output;
    const size_t found = output.find(want.substr(std::min(want.size(), size_t{2})));
    EXPECT_NE(found, std::string::npos) << arguments << "\n" << output;
  }
}

int environmentNumber(const char* name, int fallback) {
  const char* text = getenv(name);
  return text != nullptr && *text != '\0' ? atoi(text) : fallback;
}

unsigned environmentSeed(const char* name) {
  const int seed = environmentNumber(name, static_cast<int>(std::random_device{}() >> 1U));
  std::cout << "seed " << seed << std::endl;
  return static_cast<unsigned>(seed);
}

int pick(std::mt19937* random, int from, int to) {
  return std::uniform_int_distribution<int>(from, to)(*random);
}

std::string scheduleJson(const std::string& members) {
  return fill(R"({%%"name":"N","scheduleType":"restart","recurrence":"daily",)"
              R"("restartTime":"07:30","offTimeSec":1,"ifNums":[1]})",
              members, members.empty() ? "" : ",");
}

std::string scheduleParams(const std::string& members, const std::string& others) {
  return fill(R"({%,"schedule":%})", others, scheduleJson(members));
}

std::string requestText(const std::string& method, const std::string& params) {
  return fill(R"({"method":"%","params":%})", method, params);
}

std::string queryValue(const char* databasePath, const std::string& sql) {
  DatabasePtr db;
  if (!openDatabase(databasePath, &db)) {
    return "no database";
  }
  std::string value;
  const auto takeFirst = [](void* into, int, char** columns, char**) {
    *static_cast<std::string*>(into) = columns[0] != nullptr ? columns[0] : "NULL";
    return 1;  // no more rows
  };
  const int result = sqlite3_exec(db.get(), sql.c_str(), takeFirst, &value, nullptr);
  return result == SQLITE_OK || result == SQLITE_ABORT ? value : sqlite3_errmsg(db.get());
}

std::string query(const std::string& sql) {
  return queryValue(kHistoryDbPath, sql);
}

void executeOn(const char* databasePath, const std::string& sql) {
  ASSERT_EQ(queryValue(databasePath, sql), "") << sql;
}

std::string runs(const std::string& which, const std::string& title) {
  return query("SELECT GROUP_CONCAT(line, '; ') FROM (SELECT " + title + R"sql(
      || COALESCE(overall_result, status) || COALESCE(' ' || error_message, '')
      || COALESCE(':' ||
           (SELECT GROUP_CONCAT(' ' || if_num || ' ' || status || COALESCE(' ' || error_msg, ''))
            FROM (SELECT * FROM poe_history_port ORDER BY if_num) p WHERE p.run_id=h.run_id), '')
      AS line FROM poe_history h WHERE )sql" +
               which + " ORDER BY run_id);");
}

int runCount(const std::string& which) {
  return std::stoi(query("SELECT COUNT(*) FROM poe_history WHERE " + which));
}

std::string acts(uint64_t since) {
  return actsOf(switchsim::journalSince(since));
}

std::string actsByPort(uint64_t since) {
  std::vector<switchsim::JournalEntry> entries = switchsim::journalSince(since);
  // In place: a stable sort would borrow memory in ways that a test of lack of it does not expect.
  std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
    return std::pair(a.ifNum, a.seq) < std::pair(b.ifNum, b.seq);
  });
  return actsOf(entries);
}

void failCalls(switchsim::Operation operation, uint32_t ifNum, int32_t result, uint32_t times) {
  switchsim::addFault({operation, ifNum, result, 0, times});
}

void RootTest::SetUp() {
  showLogOfFailure();
  logSetPaths(kLogPaths);
  makeRoot(options_);
}

void RootTest::showLogOfFailure() {
  if (HasFailure()) {
    std::cout << logText();
  }
}

void StoreTest::SetUp() {
  RootTest::SetUp();
  ASSERT_TRUE(openStores());
  std::thread([] {}).join();  // a sanitizer has a thread of its own from the first one on
}

void StoreTest::TearDown() {
  closeDatabase(&DaemonContext::scheduleDbMutex, &DaemonContext::scheduleDb);
  closeDatabase(&DaemonContext::historyDbMutex, &DaemonContext::historyDb);
  openapiClientTearDown(&openApiClient);
  logClose();
  EXPECT_EQ(switchsim::misuseCount(), 0U) << switchsim::viewSwitch().lastMisuse;
  RootTest::TearDown();
}

void StoreTest::reopenHistory() {
  closeDatabase(&DaemonContext::historyDbMutex, &DaemonContext::historyDb);
  ASSERT_EQ(historyStoreInit(), 0);
}

int64_t TickTest::create(const std::string& members, int32_t unit) {
  static int created = 0;
  const std::string schedule = scheduleJson(fill(R"(%,"name":"s%")", members, ++created));
  JsonPtr answer;
  EXPECT_EQ(scheduleCreate(unit, jsonParse(schedule.c_str()).get(), &answer), 0) << members;
  return jsonInt64Member(answer.get(), "scheduleId", 0);
}

int64_t TickTest::createWindow(const std::string& type, const std::string& start,
                               const std::string& end, const std::string& members) {
  return create(
      fill(R"("scheduleType":"%","startTime":"%","endTime":"%",%)", type, start, end, members));
}

std::string TickTest::tickAt(const std::string& time) {
  switchsim::setClock(switchsim::ClockMode::frozen, time + ":00");
  return tick();
}

std::string TickTest::tick() {
  const uint64_t before = switchsim::lastSeq();
  const int threads = statusOf(getpid(), "Threads:");
  tickOnce();
  // An executor gives its last port's lock back after it has recorded it; the next tick may need
  // that port.
  EXPECT_TRUE(waitUntil([&] { return statusOf(getpid(), "Threads:") <= threads; }));
  return actsByPort(before);
}

std::string printJson(const cJSON* tree) {
  const JsonTextPtr text(tree != nullptr ? cJSON_PrintUnformatted(tree) : nullptr);
  return text != nullptr ? text.get() : "";
}

std::string jsonText(const JsonPtr& tree, const char* key) {
  const cJSON* member = jsonMember(tree.get(), key);
  return cJSON_IsString(member) ? member->valuestring : printJson(member);
}
