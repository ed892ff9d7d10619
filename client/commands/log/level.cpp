// log level: how much the daemon logs, now.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "base/plain_file.h"
#include "cli/files.h"
#include "client/command.h"
#include "client/commands/log/records.h"

namespace {

constexpr int32_t kDefaultLevel = 6;  // the daemon's, where its file is missing or unreadable

[[noreturn]] void fail(const std::string& path, const char* what) {
  failFile(path, what, errno, ". The daemon makes it when it starts");
}

// What the daemon makes of its file's first byte.
int32_t readLevel(const std::string& path) {
  const UniqueFd file = openPlainFile(path.c_str(), O_RDONLY, FileOwner::anybody);
  if (!file && errno != ENOENT) {
    fail(path, "read");
  }
  char digit = 0;
  const bool isRead = file && pread(file.get(), &digit, 1, 0) == 1;
  return isRead && digit >= '0' && digit <= '9' ? digit - '0' : kDefaultLevel;
}

// The daemon has the file mapped: one byte changes in place, and the file is never cut.
void writeLevel(const std::string& path, int32_t level) {
  const UniqueFd file = openPlainFile(path.c_str(), O_WRONLY, FileOwner::anybody);
  const char digit = static_cast<char>('0' + level);
  if (!file || pwrite(file.get(), &digit, 1, 0) != 1) {
    fail(path, "written");
  }
}

std::string levelText(int32_t level) {
  const std::string name = logLevelName(level);
  return !name.empty() ? name : level < 3 ? "nothing is logged" : "debug";
}

int runLogLevel(const std::string& word, Session& session) {
  session.refuseJson("log level");
  const std::string& path = session.options().logLevelPath;
  if (!word.empty()) {
    writeLevel(path, levelOfWord(word));
  }
  session.output().print(levelText(readLevel(path)) + "\n");
  return kExitDone;
}

}  // namespace

SessionAction defineLogLevel(Arguments& app, Options&) {
  const auto level = std::make_shared<std::string>();
  app.add("LEVEL", *level, "set it to this").named(kLevelChoices);
  return [level](Session& session) { return runLogLevel(*level, session); };
}
