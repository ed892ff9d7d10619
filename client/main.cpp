// quorin_poectl: talks to the daemon from a shell.
#include <cjson/cJSON.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "base/json.h"
#include "base/result_codes.h"
#include "client/rpc_client.h"
#include "daemon/paths.h"

namespace {

enum ExitCode { kExitOk = 0, kExitUsage = 2, kExitDaemonError = 4, kExitNoDaemon = 8 };

struct CallOptions {
  std::string socketPath = kSocketPath;
  std::string method;
  std::string params;
};

// The request line, or an empty text when the parameters are not JSON.
std::string buildRequest(const CallOptions& options) {
  const JsonPtr request(cJSON_CreateObject());
  bool built = request != nullptr &&
               cJSON_AddStringToObject(request.get(), "method", options.method.c_str()) != nullptr;
  if (!options.params.empty()) {
    built = built && jsonAdd(request.get(), "params", jsonParse(options.params.c_str()));
  }
  const JsonTextPtr text(built ? cJSON_PrintUnformatted(request.get()) : nullptr);
  return text != nullptr ? text.get() : "";
}

void printAnswer(const std::string& received, const cJSON* answer) {
  const JsonTextPtr indented(isatty(STDOUT_FILENO) != 0 ? cJSON_Print(answer) : nullptr);
  puts(indented != nullptr ? indented.get() : received.c_str());
}

int noDaemon(const CallOptions& options, const std::string& why) {
  fprintf(stderr,
          "quorin_poectl: no daemon answers at %s: %s\n"
          "Is quorin_poed running? Start it, or name its socket with --socket PATH.\n",
          options.socketPath.c_str(), why.c_str());
  return kExitNoDaemon;
}

int call(const CallOptions& options) {
  const std::string request = buildRequest(options);
  if (request.empty()) {
    fprintf(stderr, "quorin_poectl: PARAMS-JSON is not a JSON document: %s\n",
            options.params.c_str());
    return kExitUsage;
  }

  std::string received;
  std::string error;
  if (!rpcExchange(options.socketPath, request, &received, &error)) {
    return noDaemon(options, error);
  }

  const JsonPtr answer = jsonParse(received.c_str());
  if (answer == nullptr) {
    return noDaemon(options, "what answered is no quorin_poed");
  }

  printAnswer(received, answer.get());
  if (cJSON_IsTrue(jsonMember(answer.get(), "ok"))) {
    return kExitOk;
  }

  const int32_t code = jsonInt32Member(answer.get(), "error", ERR_GENERAL);
  fprintf(stderr, "quorin_poectl: error %d (%s)\n", static_cast<int>(code), resultCodeName(code));
  return kExitDaemonError;
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app{"Talks to quorin_poed, the daemon that schedules and carries out PoE actions."};
  app.footer(
      "Exit status: 0 done, 2 wrong usage, 4 the daemon answered with an error, 8 no daemon "
      "answered.\n"
      "Example: quorin_poectl call history.list '{\"unit\":1}'");
  app.set_version_flag("--version", "quorin_poectl " QUORIN_POED_VERSION);
  app.require_subcommand(1);
  CallOptions options;
  app.add_option("--socket", options.socketPath, "socket of the daemon")
      ->capture_default_str()
      ->take_last();
  CLI::App* callCommand = app.add_subcommand("call", "send one request and print the answer");
  callCommand->add_option("METHOD", options.method, "method, for example manual.reset")->required();
  callCommand->add_option("PARAMS-JSON", options.params, "its parameters, a JSON object");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitOk : kExitUsage;
  }

  return call(options);
} catch (const std::exception& error) {
  fprintf(stderr, "quorin_poectl: %s\n", error.what());
  return kExitUsage;
}
