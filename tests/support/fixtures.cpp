#include "tests/support/fixtures.h"

#include <cjson/cJSON.h>
#include <sqlite3.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "base/database.h"
#include "config/schedule_store.h"
#include "daemon/daemon_context.h"
#include "daemon/paths.h"
#include "history/history_store.h"
#include "log/log.h"
#include "poe/port_locks.h"
#include "switchos/session.h"

namespace fs = std::filesystem;

namespace {

fs::path testRoot() {
  return fs::path(kLogFilePath).parent_path().parent_path();
}

void closeHistory() {
  DaemonContext* context = daemonContext();
  const MutexLock lock(context->historyDbMutex);
  sqlite3_close(context->historyDb);
  context->historyDb = nullptr;
}

void closeSchedules() {
  DaemonContext* context = daemonContext();
  const MutexLock lock(context->scheduleDbMutex);
  sqlite3_close(context->scheduleDb);
  context->scheduleDb = nullptr;
}

}  // namespace

bool waitUntil(const std::function<bool()>& condition, std::chrono::seconds deadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::string readFile(const std::string& path) {
  const std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

int countOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
    ++count;
  }
  return count;
}

int runCommand(const std::string& command, std::string* output) {
  FILE* pipe = popen(command.c_str(), "r");
  std::array<char, 4096> chunk{};
  output->clear();
  for (size_t n = 0; (n = fread(chunk.data(), 1, chunk.size(), pipe)) > 0;) {
    output->append(chunk.data(), n);
  }
  const int status = pclose(pipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int environmentNumber(const char* name, int fallback) {
  const char* text = getenv(name);
  return text != nullptr && *text != '\0' ? atoi(text) : fallback;
}

std::string queryValue(const char* databasePath, const std::string& sql) {
  DatabasePtr db;
  if (!openDatabase(databasePath, &db)) {
    return "no database";
  }
  const StatementPtr statement = prepareStatement(db.get(), sql.c_str());
  if (statement == nullptr) {
    return sqlite3_errmsg(db.get());
  }
  if (sqlite3_step(statement.get()) != SQLITE_ROW) {
    return "";
  }
  const char* text = columnText(statement.get(), 0);
  return text != nullptr ? text : "NULL";
}

void executeOn(const char* databasePath, const std::string& sql) {
  DatabasePtr db;
  ASSERT_TRUE(openDatabase(databasePath, &db) && executeSql(db.get(), sql.c_str())) << sql << sqlite3_errmsg(db.get());
}

std::string acts(uint64_t since) {
  std::string text;
  for (const switchsim::JournalEntry& entry : switchsim::journalSince(since)) {
    const char* act = entry.op == operationName(switchsim::Operation::portReset) ? "r" : entry.value != 0 ? "+" : "-";
    text += (text.empty() ? "" : " ") + std::to_string(entry.ifNum) + act + (entry.result != 0 ? "!" : "");
  }
  return text;
}

void failCalls(switchsim::Operation operation, uint32_t ifNum, int32_t result, uint32_t times) {
  ASSERT_EQ(switchsim::addFault({operation, ifNum, result, 0, times}), "");
}

void RootTest::SetUp() {
  logSetPaths(kLogPaths);
  fs::remove_all(testRoot());
  for (const char* folder : {"tmp", "var/run", "mnt/fastpath"}) {
    fs::create_directories(testRoot() / folder);
  }
  setenv("SWITCHSIM_STATE", (testRoot() / "switch.state").c_str(), 1);
  switchsim::SwitchOptions options;
  options.units = 2;
  makeSwitch(options);
}

void RootTest::makeSwitch(const switchsim::SwitchOptions& options) {
  ASSERT_EQ(switchsim::createSwitch(options, true), "");
}

std::string RootTest::logText() {
  return readFile(kLogFilePath);
}

void StoreTest::SetUp() {
  RootTest::SetUp();
  logOpen(LOG_TO_FILE, LOG_DAEMON, "quorin_poed");
  logMessage(LOG_INFO, "test starts");
  fs::create_directories(kDataDirPath);
  ASSERT_TRUE(daemonContext() != nullptr || contextCreate());
  ASSERT_EQ(initHandler("test", &openApiClient), 0);
  ASSERT_EQ(scheduleStoreInit(), 0);
  ASSERT_EQ(historyStoreInit(), 0);
  ASSERT_EQ(portLockInit(), 0);
}

void StoreTest::TearDown() {
  closeSchedules();
  closeHistory();
  openapiClientTearDown(&openApiClient);
  logClose();
}

void StoreTest::reopenHistory() {
  closeHistory();
  ASSERT_EQ(historyStoreInit(), 0) << logText();
}

std::string StoreTest::query(const std::string& sql) {
  return queryValue(kHistoryDbPath, sql);
}

std::string printJson(const cJSON* tree) {
  const JsonTextPtr text(tree != nullptr ? cJSON_PrintUnformatted(tree) : nullptr);
  return text != nullptr ? text.get() : "";
}

std::string jsonText(const JsonPtr& tree, const char* key) {
  const cJSON* member = jsonMember(tree.get(), key);
  return cJSON_IsString(member) ? member->valuestring : printJson(member);
}
