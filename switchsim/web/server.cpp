#include "switchsim/web/server.h"

#include <civetweb.h>
#include <sys/random.h>

#include <algorithm>
#include <future>

#include "base/sleep.h"
#include "cli/failure.h"
#include "cli/text.h"

namespace switchsim {
namespace {

constexpr size_t kTokenBytes = 16;
constexpr long long kMaxBody = 1 << 20;
constexpr int64_t kBodyMs = 5000;           // for a whole body, and for what nobody wants of one
constexpr const char* kSilenceMs = "5000";  // of a connection
constexpr const char* kConnections = "8";   // at a time; the next ones wait for their turn
constexpr const char* kHeaders =
    "Cache-Control: no-store\r\n"
    "Connection: close\r\n"
    "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; "
    "connect-src 'self'; img-src data:; base-uri 'none'; form-action 'none'; "
    "frame-ancestors 'none'; require-trusted-types-for 'script'\r\n"
    "Cross-Origin-Resource-Policy: same-origin\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "X-Content-Type-Options: nosniff\r\n";

std::string newToken() {
  unsigned char bytes[kTokenBytes];
  if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes) {
    fail("this system has no random numbers for a token");
  }
  std::string hex;
  for (const unsigned char byte : bytes) {
    hex += {"0123456789abcdef"[byte >> 4U], "0123456789abcdef"[byte & 15U]};
  }
  return hex;
}

// In a time that tells nothing of where they differ.
bool isSecret(const std::string& given, const std::string& secret) {
  volatile size_t differences = given.size() ^ secret.size();
  for (size_t i = 0; i < secret.size(); ++i) {
    differences = differences + ((i < given.size() ? given[i] : '\0') != secret[i] ? 1U : 0U);
  }
  return differences == 0;
}

std::string header(mg_connection* connection, const char* name) {
  const char* value = mg_get_header(connection, name);
  return value != nullptr ? value : "";
}

Request requestOf(mg_connection* connection) {
  const mg_request_info& info = *mg_get_request_info(connection);
  return {info.request_method, info.request_uri != nullptr ? info.request_uri : "",
          info.query_string != nullptr ? info.query_string : "", "",
          header(connection, "Last-Event-ID")};
}

// A few at a time: the library takes its time anew for each byte, until it has what it was asked.
bool readBytes(mg_connection* connection, long long size, std::string* bytes) {
  const int64_t endMs = monotonicMs() + kBodyMs;
  char few[4];
  for (int n = 1; n > 0 && size > 0 && monotonicMs() < endMs; size -= std::max(n, 0)) {
    n = mg_read(connection, few, std::min(static_cast<size_t>(size), sizeof few));
    bytes->append(few, static_cast<size_t>(std::max(n, 0)));
  }
  return size <= 0;
}

// 0, or the status of what is wrong with it.
int readBody(mg_connection* connection, std::string* body) {
  const long long size = mg_get_request_info(connection)->content_length;
  return size < 0 ? 411 : size > kMaxBody ? 413 : readBytes(connection, size, body) ? 0 : 408;
}

bool send(mg_connection* connection, int status, const std::string& headers,
          const std::string& text) {
  const std::string bytes = "HTTP/1.1 " + std::to_string(status) + " " +
                            mg_get_response_code_text(connection, status) + "\r\n" + kHeaders +
                            headers + "\r\n" + text;
  return mg_write(connection, bytes.data(), bytes.size()) == static_cast<int>(bytes.size());
}

// What is left unread would reset the connection, and the answer could be lost with it.
int endBody(mg_connection* connection, const Request& request, int status) {
  const long long size = std::min(mg_get_request_info(connection)->content_length, 2 * kMaxBody);
  std::string left;
  readBytes(connection, size - static_cast<long long>(request.body.size()), &left);
  return status;
}

}  // namespace

Answer words(int status, const std::string& text) {
  return {status, "text/plain; charset=utf-8", text + "\n"};
}

Answer failed(int exit, const std::string& text) {
  return words(exit == kExitUsage                                   ? 400
               : exit == kExitNoSuch                                ? 404
               : exit == kExitNoDaemon || exit == kExitNotPermitted ? 502
               : exit == kExitInterrupted                           ? 503
               : exit == kExitTimedOut                              ? 504
                                                                    : 409,
               text);
}

Server::Server(uint16_t port, std::vector<Route> routes)
    : routes_(std::move(routes)), query_("token=" + newToken()) {
  mg_init_library(MG_FEATURES_DEFAULT);
  mg_callbacks callbacks{};
  callbacks.begin_request = begin;
  callbacks.log_message = [](const mg_connection*, const char*) { return 1; };
  const std::string listening = "127.0.0.1:" + std::to_string(port);
  const char* options[] = {"listening_ports",    listening.c_str(), "num_threads", kConnections,
                           "request_timeout_ms", kSilenceMs,        nullptr};
  const std::lock_guard<std::mutex> starting(starting_);
  context_ = mg_start(&callbacks, this, options);
  mg_server_port listened{};
  if (context_ == nullptr || mg_get_server_ports(context_, 1, &listened) != 1) {
    fail("cannot listen on " + listening + ": another program may; --port names another one");
  }
  host_ = "127.0.0.1:" + std::to_string(listened.port);
  cookie_ = "bench" + std::to_string(listened.port) + query_.substr(query_.find('='));
}

Server::~Server() {
  isStopping_ = true;
  mg_stop(context_);
  mg_exit_library();
}

// A page elsewhere could have this machine's browser ask, by a name of its own for this address
// (Host), or from its own place (Origin).
bool Server::isAdmitted(mg_connection* connection, const Request& request) const {
  const std::string host = header(connection, "Host");
  const std::string origin = header(connection, "Origin");
  const std::string localhost = "localhost" + host_.substr(host_.find(':'));
  bool isKnown = request.path == "/" && isSecret(request.query, query_);
  for (const std::string& each : splitAt(header(connection, "Cookie"), ';')) {
    isKnown |= isSecret(each.substr(std::min(each.find_first_not_of(' '), each.size())), cookie_);
  }
  return isKnown && (host == host_ || host == localhost) &&
         (origin.empty() || origin == "http://" + host);
}

// A handler has a thread of its own: the stack of the library's is too small for deep JSON.
Answer Server::answer(mg_connection* connection, Request* request, const Write& write) const try {
  bool isPath = false;
  for (const Route& route : routes_) {
    isPath |= route.path == request->path;
    if (route.path == request->path && route.method == request->method) {
      const int fault = route.method == "POST" ? readBody(connection, &request->body) : 0;
      return fault == 411   ? words(fault, "a request must tell its length")
             : fault == 413 ? words(fault, "a request has 1 MiB at most")
             : fault == 408 ? words(fault, "the request did not come in time")
                            : std::async(std::launch::async, route.handler, *request, write).get();
    }
  }
  return isPath ? words(405, escaped(request->path) + " has no " + escaped(request->method))
                : words(404, "there is no " + escaped(request->path));
} catch (const Failure& failure) {
  return failed(failure.status(), failure.what());
}

int Server::begin(mg_connection* connection) try {
  auto* self = static_cast<Server*>(mg_get_user_data(mg_get_context(connection)));
  { const std::lock_guard<std::mutex> started(self->starting_); }
  mg_disable_connection_keep_alive(connection);  // else it waits for the rest of a body
  Request request = requestOf(connection);
  if (!self->isAdmitted(connection, request)) {
    send(connection, 403, "Content-Type: text/plain\r\n",
         "open the address that `switchsim web` prints\n");
    return endBody(connection, request, 403);
  }
  bool isWritten = false;
  const auto write = [&](const std::string& events) {
    const bool isTaken = isWritten
                             ? mg_write(connection, events.data(), events.size()) > 0
                             : send(connection, 200, "Content-Type: text/event-stream\r\n", events);
    isWritten = true;
    return isTaken && !self->isStopping_;
  };
  const Answer answer = self->answer(connection, &request, write);
  if (!isWritten) {
    const bool isNew = isSecret(request.query, self->query_);  // the token came in the address
    send(connection, answer.status,
         "Content-Type: " + answer.type +
             "\r\nContent-Length: " + std::to_string(answer.text.size()) + "\r\n" +
             (isNew ? "Set-Cookie: " + self->cookie_ + "; Path=/; HttpOnly; SameSite=Strict\r\n"
                    : ""),
         answer.text);
  }
  return answer.status == 408 ? 408 : endBody(connection, request, answer.status);
} catch (const std::exception& error) {  // nothing may leave to the library, which is C
  mg_send_http_error(connection, 500, "%s", error.what());
  return 500;
}

}  // namespace switchsim
