// record and replay: what passes between a daemon and its clients.
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "switchsim/commands/command.h"
#include "switchsim/commands/recorder.h"
#include "switchsim/commands/replayer.h"
#include "switchsim/lab/socket_server.h"

namespace switchsim {
namespace {

struct RecordOptions {
  std::string file;
  std::string daemonPath;
  std::string listenPath;
  bool isSlow = false;
};

ExitCode runRecord(const RecordOptions& given) {
  if (given.daemonPath == given.listenPath) {
    return fail("--to and --listen are the same socket", kWrongUsage);
  }

  RecordingFile file;
  SocketServer server;
  const std::string noFile = file.open(given.file);
  const std::string error = noFile.empty() ? server.listenAt(given.listenPath) : noFile;
  if (!error.empty()) {
    return fail(error);
  }

  server.run([&](int connection, int stopFd) {
    recordConnection(connection, given.daemonPath, stopFd, &file);
  });
  if (file.count() < 0) {
    return kFailed;
  }
  print(std::to_string(file.count()) + " recorded in " + given.file + "\n");
  return kDone;
}

ExitCode runReplay(const RecordOptions& given) {
  std::ifstream file(given.file);
  if (!file) {
    return fail("cannot read " + given.file + ": " + strerror(errno), kWrongUsage);
  }

  std::vector<size_t> bad;
  Replayer replayer(readExchanges({std::istreambuf_iterator<char>(file), {}}, &bad));
  for (const size_t line : bad) {
    fail(given.file + ":" + std::to_string(line) + ": no line of a recording");
  }
  if (!bad.empty()) {
    return kWrongUsage;
  }

  SocketServer server;
  const std::string error = server.listenAt(given.listenPath);
  if (!error.empty()) {
    return fail(error);
  }
  server.run([&](int connection, int stopFd) { replayer.serve(connection, stopFd, given.isSlow); });
  return replayer.wasAskedUnknown() ? kFailed : kDone;
}

}  // namespace

Action defineRecord(Arguments& app) {
  const auto given = std::make_shared<RecordOptions>();
  app.footer(
      "Goes on until SIGINT or SIGTERM. FILE is for its owner alone: answers tell much about "
      "a site.");
  app.add("FILE", given->file, "The recording that is appended to, an exchange a line").required();
  app.add("--to", given->daemonPath, "The socket that the daemon listens at").required();
  app.add("--listen", given->listenPath, "The socket for the clients, made here").required();
  return [given] { return runRecord(*given); };
}

Action defineReplay(Arguments& app) {
  const auto given = std::make_shared<RecordOptions>();
  app.footer(
      "Goes on until SIGINT or SIGTERM. A request that is not in FILE is told, and answered "
      "with an error;\nthe exit status is 1 then.");
  app.add("FILE", given->file, "A recording").required();
  app.add("--listen", given->listenPath, "The socket for the clients, made here").required();
  app.flag("--delay", given->isSlow, "Answer as late as the daemon did");
  return [given] { return runReplay(*given); };
}

}  // namespace switchsim
