#include "tests/support/socket_client.h"

#include <cjson/cJSON.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include "base/send_all.h"
#include "daemon/paths.h"
#include "tests/support/fixtures.h"

SocketClient::SocketClient() : connection_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const timeval deadline{60, 0};
  setsockopt(connection_.get(), SOL_SOCKET, SO_RCVTIMEO, &deadline, sizeof deadline);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  strncpy(address.sun_path, kSocketPath, sizeof address.sun_path - 1);
  if (connect(connection_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
      0) {
    connection_.reset(-1);
  }
}

bool SocketClient::sendBytes(const std::string& bytes) {
  return sendAll(connection_.get(), {bytes});
}

bool SocketClient::isHeard() const {
  int unread = -1;
  return ioctl(connection_.get(), SIOCOUTQ, &unread) == 0 && unread == 0;
}

void SocketClient::endOfRequest() {
  shutdown(connection_.get(), SHUT_WR);
}

bool SocketClient::isAnswered() const {
  char byte = 0;
  return recv(connection_.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 1;
}

bool SocketClient::hasEnded() const {
  char byte = 0;
  return recv(connection_.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0 || errno == ECONNRESET ||
         errno == EPIPE;
}

std::string SocketClient::readAll() {
  std::string text;
  char chunk[65536];
  for (ssize_t n = 0; (n = recv(connection_.get(), chunk, sizeof chunk, 0)) > 0;) {
    text.append(chunk, static_cast<size_t>(n));
  }
  return text;
}

std::string exchange(const std::string& bytes, bool halfClose) {
  SocketClient client;
  if (!client.connected()) {
    return "not connected";
  }
  client.sendBytes(bytes);
  if (halfClose) {
    client.endOfRequest();
  }
  return client.readAll();
}

std::string rpc(const std::string& method, const std::string& params) {
  const std::string answer = exchange(requestText(method, params) + "\n");
  return answer.substr(0, answer.find_last_not_of('\n') + 1);
}

JsonPtr rpcResult(const std::string& method, const std::string& params) {
  const std::string answer = rpc(method, params);
  const JsonPtr envelope = jsonParse(answer.c_str());
  JsonPtr result(cJSON_DetachItemFromObject(envelope.get(), "result"));
  EXPECT_NE(result, nullptr) << method << " " << params << " answered " << answer;
  return result;
}
