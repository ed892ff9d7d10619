// What tests share: a fresh root with a simulated switch, the stores opened in this process, and
// waiting for what can be observed; with what most of them use.
#ifndef QUORIN_TESTS_SUPPORT_FIXTURES_H
#define QUORIN_TESTS_SUPPORT_FIXTURES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "base/json.h"
#include "daemon/paths.h"
#include "switchsim/switch/switch_state.h"

namespace fs = std::filesystem;

// Polls until the condition holds; false when it does not in a minute and a half.
bool waitUntil(const std::function<bool()>& condition);

// The whole content of a file; empty when it can't be read.
std::string readFile(const std::string& path);

// A number that /proc says of a process, such as its "Threads:".
int statusOf(pid_t pid, const std::string& key);

void writeFile(const std::string& path, const std::string& content);

// How often a text occurs in another.
int countOf(const std::string& text, const std::string& part);
std::string replaced(std::string text, const std::string& part, const std::string& with);

// A table written as "GIVEN -> WANTED; GIVEN -> WANTED", where a line's end also ends a row unless
// a backslash is before it.
std::vector<std::pair<std::string, std::string>> rowsOf(const std::string& table);

// The text with a value in place of each %.
template <typename... Values>
std::string fill(const std::string& text, const Values&... values) {
  std::istringstream parts(text);
  std::ostringstream filled;
  std::string part;
  (..., (std::getline(parts, part, '%'), filled << part << values));
  return filled.str() + std::string(std::istreambuf_iterator<char>(parts), {});
}

// The path of another program of this build, which all stand in one folder.
std::string programPath(const std::string& name);
// How a shell starts it.
std::string programCommand(const std::string& name);

// Runs a shell command; returns its exit status and what it printed (both streams if it says 2>&1).
int runCommand(const std::string& command, std::string* output);

// Runs another program of this build with the arguments of each row "ARGUMENTS -> STATUS TEXT": it
// must end with the status and print the text, among others, on either stream.
void expectCommands(const std::string& program, const std::string& table);

// A number from the environment, for longer runs of a test; the fallback when it is not set.
int environmentNumber(const char* name, int fallback);
// A seed from there, else a random one; printed.
unsigned environmentSeed(const char* name);

int pick(std::mt19937* random, int from, int to);

// A schedule as clients send it: the members, and before them in vain those of a daily restart of
// port 1 at 07:30, for of equal keys the first counts.
std::string scheduleJson(const std::string& members);
// It in a request's params, behind others.
std::string scheduleParams(const std::string& members, const std::string& others = R"("unit":1)");
// A request without its newline.
std::string requestText(const std::string& method, const std::string& params);

// The first value of a query's first row, over a connection of its own; "NULL" for NULL, "" for no
// row, SQLite's message when it fails.
std::string queryValue(const char* databasePath, const std::string& sql);

// The same of the history database.
std::string query(const std::string& sql);

// Executes a script on a database, over a connection of its own; a failure fails the test.
void executeOn(const char* databasePath, const std::string& sql);

// Runs as "TITLE result message: port outcome message, ...; ...", newest last; a run that is not
// over has its status for a result. The title is an SQL expression.
std::string runs(const std::string& which = "1", const std::string& title = "schedule_type || ' '");

// How many runs there are of which this is true.
int runCount(const std::string& which);

// What was done to ports since a place in the journal: "5+ 5- 5r 6+!" is port 5 on, off and reset,
// and port 6 refusing to go on.
std::string acts(uint64_t since = 0);
// The same with all of a port together, from the first port on.
std::string actsByPort(uint64_t since);

// Makes the switch refuse calls of an operation: about one port or, for 0, any; so many times or,
// for 0, from now on.
void failCalls(switchsim::Operation operation, uint32_t ifNum = 0, int32_t result = -1,
               uint32_t times = 0);

// A root without files of an earlier test, and a switch of its own (2 units of 28 ports, 24 of them
// PoE, all idle: every port with a device). SetUp may be called again, for a fresh one. The log is
// shown after a failure.
class RootTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override { showLogOfFailure(); }
  switchsim::SwitchOptions options_{2};
  // A new switch in place of the present one.
  static void makeSwitch(const switchsim::SwitchOptions& options) {
    switchsim::createSwitch(options, true);
  }
  // The log so far; how often it holds a text; waiting until it does.
  static std::string logText() { return readFile(kLogFilePath); }
  static int logged(const std::string& text) { return countOf(logText(), text); }
  static bool waitForLog(const std::string& text) {
    return waitUntil([&] { return logged(text) > 0; });
  }

 private:
  static void showLogOfFailure();
};

// Also: the daemon's context, both stores, port locks and switch session live in this process, the
// log goes to its file, and the switch is used as one may.
class StoreTest : public RootTest {
 protected:
  void SetUp() override;
  void TearDown() override;
  // Closes the history database and opens it again.
  static void reopenHistory();
};

// Also: schedules, and one tick of the scheduler at a time. Process-wide the daemon remembers what
// has fired, so every test has a year of its own.
class TickTest : public StoreTest {
 protected:
  // A schedule of the members, with a name of its own if they have none; its id.
  static int64_t create(const std::string& members, int32_t unit = 1);
  static int64_t createWindow(const std::string& type, const std::string& start,
                              const std::string& end, const std::string& members);
  // One tick at the switch's time, "2031-01-01 08:00", and all that it starts. What was done to the
  // ports, in their order.
  static std::string tickAt(const std::string& time);
  static std::string tick();
};

// A member of a JSON tree as text: a string's content, else as printed without blanks; "" when
// missing.
std::string jsonText(const JsonPtr& tree, const char* key);
std::string printJson(const cJSON* tree);

#endif
