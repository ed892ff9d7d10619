// The control interface's Unix-domain socket.
#ifndef QUORIN_IPC_IPC_SERVER_H
#define QUORIN_IPC_IPC_SERVER_H

// Thread body: listens on the socket (mode 0660, so owner and group may connect; there is no other
// access control) and hands every connection to a detached worker, until a stop is asked for, which
// it notices within half a second. Ends early, with an error in the log, when the socket can't be
// set up. Takes no argument, returns null.
void* ipcServerThread(void* unused);

#endif
