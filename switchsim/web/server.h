// A small web server for one person on this machine: it listens on 127.0.0.1 alone, and whoever
// does not have its token gets 403, whatever was asked for.
#ifndef QUORIN_SWITCHSIM_WEB_SERVER_H
#define QUORIN_SWITCHSIM_WEB_SERVER_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

struct mg_connection;
struct mg_context;

namespace switchsim {

struct Request {
  std::string method;
  std::string path;
  std::string query;  // as it was sent, without the question mark
  std::string body;
  std::string lastEventId;
};

struct Answer {
  int status = 200;
  std::string type;
  std::string text;
};

Answer words(int status, const std::string& text);  // without a line end
// The words of a Failure, and its exit status as one of HTTP.
Answer failed(int exit, const std::string& text);

// Sends events. False when nobody takes them, or the server is about to end.
using Write = std::function<bool(const std::string& events)>;

struct Route {
  std::string method;
  std::string path;
  // Called on a thread of the server's, several at a time. It may throw Failure. Once it has called
  // write, its answer is sent to nobody.
  std::function<Answer(const Request&, const Write& write)> handler;
};

class Server {
 public:
  // port: 0 is any that is free. Throws Failure where it cannot listen.
  Server(uint16_t port, std::vector<Route> routes);
  ~Server();  // returns when every request has its answer
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // With the token, which the browser keeps in a cookie from then on.
  std::string address() const { return "http://" + host_ + "/?" + query_; }

 private:
  static int begin(mg_connection* connection);
  bool isAdmitted(mg_connection* connection, const Request& request) const;
  Answer answer(mg_connection* connection, Request* request, const Write& write) const;

  const std::vector<Route> routes_;
  const std::string query_;  // "token=..."
  mg_context* context_ = nullptr;
  std::mutex starting_;  // a request may come before the constructor knows the port: it waits
  std::string host_;     // "127.0.0.1:8900"
  std::string cookie_;   // "bench8900=..."
  std::atomic<bool> isStopping_{false};
};

}  // namespace switchsim

#endif
