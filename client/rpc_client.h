// One request to the daemon's socket.
#ifndef QUORIN_CLIENT_RPC_CLIENT_H
#define QUORIN_CLIENT_RPC_CLIENT_H

#include <string>

// Sends one request line (without its newline) to the socket at socketPath and reads the answer up
// to the end of the stream, without its newline. False with *error set, a phrase for a person, when
// no complete answer comes. Waits without limit: a request may have to wait for the daemon's own
// work.
bool rpcExchange(const std::string& socketPath, const std::string& request, std::string* answer,
                 std::string* error);

#endif
